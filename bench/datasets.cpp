#include "datasets.hpp"

#include <map>
#include <memory>

namespace bench {
namespace {

using Index = Velum::MultiIndex<3>;

// The data of one edge length, dropped when another one is asked for.
template <class Data>
class OneSizeCache {
public:
    template <class Make>
    Data& get(std::uint64_t n, std::uint64_t variant, Make&& make) {
        if (n != size_) {
            entries_.clear();
            size_ = n;
        }
        auto& entry = entries_[variant];
        if (!entry) {
            entry = std::make_unique<Data>(make());
        }
        return *entry;
    }

private:
    std::uint64_t size_ = 0;
    std::map<std::uint64_t, std::unique_ptr<Data>> entries_;
};

Velum::UniformGridBuilder builderFor(Index const& points, std::uint64_t fragment) {
    Index const perFragment = fragment == 0 ? points
                                            : Index(fragment, fragment, points[2] == 1 ? std::uint64_t{1} : fragment);
    return Velum::UniformGridBuilder(
        {.points = points, .pointsPerFragment = perFragment, .overlap = {}, .origin = {}, .spacing = {1, 1, 1}});
}

Velum::UniformGridBuilder surveyGrid(Survey const& survey, std::uint64_t fragment) {
    auto builder = builderFor(Index(survey.n, survey.n, 1u), fragment);
    auto const at = [n = survey.n](Index const& p) { return p[0] + n * p[1]; };
    builder.addField<float>("Height", [&](Index const& p) { return survey.height[at(p)]; });
    builder.addField<unsigned char>("CellType", [&](Index const& p) { return survey.codes[at(p)]; });
    return builder;
}

} // namespace

SurveyPair const& surveys(std::uint64_t n) {
    static OneSizeCache<SurveyPair> cache;
    return cache.get(n, 0, [n] { return SurveyPair{generateSurvey(n, 0), generateSurvey(n, 1)}; });
}

SurveyGrids const& surveyGrids(std::uint64_t n, std::uint64_t fragment) {
    static OneSizeCache<SurveyGrids> cache;
    return cache.get(n, fragment, [n, fragment] {
        auto const& pair = surveys(n);
        SurveyGrids grids{surveyGrid(pair.earlier, fragment), surveyGrid(pair.later, fragment),
                          Velum::BundlePtr::create()};
        grids.later.addField<unsigned char>("Mask", [](Index const&) -> unsigned char { return 0; });
        (*grids.bundle)[0.0]->setGrid("dem", grids.later.grid());
        return grids;
    });
}

std::vector<unsigned short> const& markers(std::uint64_t n) {
    static OneSizeCache<std::vector<unsigned short>> cache;
    return cache.get(n, 0, [n] { return generateMarkers(n); });
}

Velum::BundlePtr const& markerBundle(std::uint64_t n, std::uint64_t fragment) {
    static OneSizeCache<Velum::BundlePtr> cache;
    return cache.get(n, fragment, [n, fragment] {
        auto const& raw = markers(n);
        auto const builder = builderFor(Index(n, n, n), fragment);
        builder.addField<unsigned short>("Markers",
                                         [&](Index const& p) { return raw[p[0] + n * (p[1] + n * p[2])]; });
        auto bundle = Velum::BundlePtr::create();
        (*bundle)[0.0]->setGrid("volume", builder.grid());
        return bundle;
    });
}

Tensa::MultiRange<double> heightBands() {
    Tensa::MultiRange<double> bands;
    bands.add(120.0, 150.0);
    bands.add(200.0, 250.0);
    return bands;
}

} // namespace bench

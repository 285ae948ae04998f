#include <iostream>
#include <string>

#include "Lumen/Console.hpp"
#include "Rastrum.hpp"
#include "Velum/FragmentIterator.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/RegularlyFragmentedField.hpp"
#include "Velum/UniformCartesianArray.hpp"
#include "overwrite/range_mask.hpp"

namespace Rastrum {
namespace {

using FieldPtr = Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>;
using Index = Velum::MultiIndex<3>;

bool complain(char const* problem, std::string const& name = "") {
    Lumen::Console() << "overwriteFieldValuesViaOtherField: " << problem << name;
    return false;
}

// The tested values of a fragment as doubles: double data as they are, the
// other handled types copied. Empty for other types or other extents.
template <class T, class... Others>
Lumen::StrongPtr<Velum::MemArray<3, double>> valuesAsDouble(Lumen::StrongPtr<Velum::MemBase> const& data,
                                                           Index const& size) {
    if (Lumen::StrongPtr<Velum::MemArray<3, T>> const typed = data) {
        if (typed->Size() != size) {
            return {};
        }
        auto copy = Lumen::makeStrong<Velum::MemArray<3, double>>(size);
        std::copy(typed->values().begin(), typed->values().end(), copy->values().begin());
        return copy;
    }
    if constexpr (sizeof...(Others) > 0) {
        return valuesAsDouble<Others...>(data, size);
    } else {
        Lumen::StrongPtr<Velum::MemArray<3, double>> const doubles = data;
        return doubles && doubles->Size() == size ? doubles : nullptr;
    }
}

class OverwriteFragments : public Velum::FragmentIterator {
public:
    OverwriteFragments(Tensa::MultiRange<double> const& range, int value, bool invert, int* counter,
                       FieldPtr const& positions, FieldPtr const& tested)
        : range_(range), value_(value), invert_(invert), counter_(counter), positions_(positions), tested_(tested) {}

    bool apply(Lumen::StrongPtr<Velum::FragmentID> const& fragment,
               Lumen::StrongPtr<Velum::CreativeArrayBase> const& creator) override {
        auto const positions = positions_.lock();
        auto const tested = tested_.lock();
        std::cout << "computing fragment " << (*counter_)++ << " / "
                  << (positions ? positions->getFragmentCounts().product() : 0) << "       \r" << std::flush;
        Lumen::StrongPtr<Velum::UniformCartesianArray> const raster =
            positions ? positions->getData(fragment) : nullptr;
        if (!raster) {
            return complain("ERROR: no raster");
        }
        auto const& size = raster->Size();
        Lumen::StrongPtr<Velum::MemArray<3, unsigned char>> const target = creator->create(false);
        if (!target || target->Size() != size) {
            return complain("ERROR: no m_target");
        }
        auto const values = tested ? valuesAsDouble<unsigned char, float, unsigned short, unsigned int>(
                                         tested->getData(fragment), size)
                                   : nullptr;
        if (!values) {
            return complain("ERROR: no m_data");
        }
        overwriteByRanges(values->data(), target->data(), target->count(), range_, invert_,
                          static_cast<unsigned char>(value_));
        creator->touch();
        return true;
    }

private:
    Tensa::MultiRange<double> range_;
    int value_;
    bool invert_;
    int* counter_;
    Lumen::WeakPtr<Velum::RegularlyFragmentedField<3>> positions_;
    Lumen::WeakPtr<Velum::RegularlyFragmentedField<3>> tested_;
};

} // namespace

bool overwriteFieldValuesViaOtherField(Lumen::StrongPtr<Velum::Grid> const& grid, bool invert,
                                       std::string const& fieldName, Tensa::MultiRange<double> const& range,
                                       std::string const& targetName, int value) {
    FieldPtr const positions = grid ? grid->CartesianPositions() : nullptr;
    if (!positions) {
        return complain("ERROR: no f_raster found");
    }
    FieldPtr const tested = (*grid)(fieldName);
    if (!tested) {
        return complain("ERROR: no f_field found with name ", fieldName);
    }
    FieldPtr const target = (*grid)(targetName);
    if (!target) {
        return complain("ERROR: no f_target found with name ", targetName);
    }
    int counter = 1;
    OverwriteFragments overwrite(range, value, invert, &counter, positions, tested);
    target->iterate(overwrite);
    return true;
}

} // namespace Rastrum

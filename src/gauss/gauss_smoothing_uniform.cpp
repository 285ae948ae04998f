#include <cstdint>
#include <string>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Lumen/Console.hpp"
#include "Rastrum.hpp"
#include "Velum/EvolutionIterator.hpp"
#include "Velum/FragmentedUniformGrid3D.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/UniformCartesianArray.hpp"
#include "frame/bundle_walk.hpp"
#include "frame/fragment_loop.hpp"
#include "gauss/marker_density.hpp"

namespace Rastrum {
namespace {

struct SmoothingSettings {
    std::string fieldName;
    std::int32_t kernelSize;
    Tensa::PhysicalSpace::vector spacing;
};

// Takes the first matching name that is not a Sobel output; false when no
// field matches at all.
bool adoptMatchingFieldName(Lumen::StrongPtr<Velum::Representation> const& representation, std::string& fieldName) {
    std::vector<std::string> matches;
    if (!testIfFieldNameExists(representation, fieldName, matches)) {
        return false;
    }
    for (auto const& name : matches) {
        if (name.find("Sobel") == std::string::npos) {
            fieldName = name;
            return true;
        }
    }
    return false;
}

// Runs on any thread of the fragment loop: every framework call under the
// framework lock.
void densityOfFragment(SmoothingSettings& settings, Velum::Field const& positions, Velum::Field const& markers,
                       Velum::Field& density, Lumen::StrongPtr<Velum::FragmentID> const& fragment) {
    Lumen::StrongPtr<Velum::MemArray<3, unsigned short>> const data = frame::underFrameworkLock([&] {
        auto const creator = fragment ? markers.getCreator(fragment) : nullptr;
        Lumen::StrongPtr<Velum::MemArray<3, unsigned short>> const found = creator ? creator->getData() : nullptr;
        if (found) {
            if (Lumen::StrongPtr<Velum::UniformCartesianArray> const placement = positions.getData(fragment)) {
                settings.spacing = placement->spacing();
            }
        }
        return found;
    });
    if (!data) {
        return;
    }
    auto const& size = data->Size();
    auto const smallest = static_cast<std::uint64_t>(settings.kernelSize);
    if (size[0] < smallest || size[1] < smallest || size[2] < smallest) {
        return;
    }
    auto const out = Lumen::makeStrong<Velum::MemArray<3, float>>(size, Velum::uninitialised);
    markerDensity(data->data(), size[0], size[1], size[2], out->data());
    frame::underFrameworkLock([&] {
        density.setPersistentData(out, fragment, Lumen::Cache::MemCache());
        return true;
    });
}

// Ends the bundle's iteration when the fragment loop stopped.
struct FragmentsUnfinished {};

class SliceIterator : public Velum::EvolutionIterator<Velum::Slice> {
public:
    SliceIterator(Velum::BundlePtr* bundle, SmoothingSettings* settings, std::string* message,
                  Lumen::StrongPtr<Lumen::LoaderProgress> const* progress)
        : bundle_(bundle), settings_(settings), message_(message), progress_(progress) {}

    bool apply(double, Lumen::StrongPtr<Velum::Slice> const& slice, Velum::ParameterList const&) override {
        for (auto const& [name, grid] : slice->grids()) {
            if (grid && !smoothGrid(grid)) {
                return false;
            }
        }
        return true;
    }

private:
    // False ends the slice: the output field could not be made, or the input
    // is missing.
    bool smoothGrid(Lumen::StrongPtr<Velum::Grid> const& grid) {
        Velum::FragmentedUniformGrid3D view;
        if (!view.assign(grid)) {
            return true;
        }
        auto const representation = grid->getCartesianRepresentation("");
        if (!representation || !adoptMatchingFieldName(representation, settings_->fieldName)) {
            return true;
        }
        auto const density = view.newVertexField(settings_->fieldName + "_" + "Iso");
        if (!density) {
            Lumen::Console() << "Can not create or find field";
            return false;
        }
        Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const markers = view.getVertexField(settings_->fieldName);
        if (!markers) {
            Lumen::Console() << "Can not find field:" << settings_->fieldName;
            return false;
        }
        auto const& positions = *representation->Positions();
        auto const fragments = frame::fragmentList(markers->getFragmentCounts());
        auto const count = static_cast<std::uint32_t>(fragments.size());
        auto const report = [&](std::uint32_t counter) {
            if (*progress_) {
                (*progress_)->report("Applying Sobel to current Fragment # ", counter, count);
            }
        };
        bool const finished = frame::forEachFragmentInOrder(count, report, [&](std::uint32_t i) {
            auto const fragment = frame::underFrameworkLock([&] { return view.getFragmentID(fragments[i]); });
            densityOfFragment(*settings_, positions, *markers, *density, fragment);
        });
        if (!finished) {
            throw FragmentsUnfinished{};
        }
        return true;
    }

    Velum::BundlePtr* bundle_;
    SmoothingSettings* settings_;
    std::string* message_;
    Lumen::StrongPtr<Lumen::LoaderProgress> const* progress_;
};

} // namespace

std::string gausSmoothingUniform3D(Velum::BundlePtr& bundle, std::string& fieldName,
                                   Lumen::StrongPtr<Lumen::LoaderProgress> const& progress) {
    if (!bundle.isBound()) {
        return frame::BUNDLE_REFUSED;
    }
    SmoothingSettings settings{fieldName, MARKER_KERNEL_SIZE, {0.0, 0.0, 0.0}};
    std::string message;
    SliceIterator iterator(&bundle, &settings, &message, &progress);
    try {
        if (!bundle->iterate(iterator, Velum::ParameterList())) {
            return "\nBroken Slice-Iterator";
        }
    } catch (...) {
        // A progress sink that throws (a cancelled run), or a fragment that
        // failed, ends the walk; finished fragments stay.
        return "Fragments left unfinished";
    }
    return "";
}

} // namespace Rastrum

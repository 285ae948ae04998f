#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

#include "Lumen/Cache.hpp"
#include "Lumen/Console.hpp"
#include "Rastrum.hpp"
#include "Velum/FragmentedUniformGrid3D.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/RegularlyFragmentedField.hpp"
#include "Velum/UniformCartesianArray.hpp"
#include "frame/bundle_walk.hpp"
#include "frame/cell_types.hpp"
#include "frame/fragment_loop.hpp"
#include "sobel/sobel_kernel.hpp"

namespace Rastrum {
namespace {

CellTypeTables const cellTypes;

using FieldPtr = Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>;

// What the fragments of one grid share.
struct SobelGrid {
    Velum::FragmentedUniformGrid3D const& view;
    FieldPtr positions;
    FieldPtr height;
    FieldPtr cellTypes;
    FieldPtr result;
};

struct FragmentInputs {
    Lumen::StrongPtr<Velum::FragmentID> fragment;
    Lumen::StrongPtr<Velum::MemArray<3, float>> height;
    Lumen::StrongPtr<Velum::MemArray<3, unsigned char>> cellTypes;
    Lumen::StrongPtr<Velum::UniformCartesianArray> positions;
};

std::string sixDecimals(float value) {
    char text[64];
    std::snprintf(text, sizeof text, "%f", static_cast<double>(value));
    return text;
}

void sobelFragment(SobelGrid const& grid, Velum::MultiIndex<3> const& index, double slopeDegrees) {
    auto const counts = grid.height->getFragmentCounts();
    auto const inputs = frame::underFrameworkLock([&] {
        auto const linear = index.linear(counts);
        auto const& identities = grid.view.fragmentIDs();
        auto const fragment = identities && linear < identities->count() ? identities->values()[linear] : nullptr;
        return FragmentInputs{fragment, grid.height->getData(fragment), grid.cellTypes->getData(fragment),
                              grid.positions->getData(fragment)};
    });
    if (!inputs.height || !inputs.cellTypes || !inputs.positions) {
        return;
    }
    auto const& spacing = inputs.positions->spacing();
    if (spacing[0] * spacing[0] + spacing[1] * spacing[1] + spacing[2] * spacing[2] == 0.0) {
        return;
    }
    Lumen::Console() << "Threshold value for : " << slopeDegrees << " degree is: "
                     << sixDecimals(sobelSlopeThreshold(slopeDegrees, spacing[0]));

    auto const size = inputs.height->Size();
    // A fragment narrower than two points has no interior to speak of.
    if (size[0] < 2 || size[1] < 2 || inputs.cellTypes->Size() != size) {
        return;
    }
    auto const magnitude =
        frame::underFrameworkLock([&] { return Lumen::makeStrong<Velum::MemArray<3, float>>(size, Velum::uninitialised); });
    sobelMagnitude(inputs.height->data(), inputs.cellTypes->data(), size[0], size[1], size[2],
                   cellTypes.HOLE_CELL_TYPES, magnitude->data());
    grid.result->setPersistentData(magnitude, inputs.fragment, Lumen::Cache::MemCache());
}

} // namespace

std::string sobelOperator(Velum::BundlePtr& bundle, std::string& heightFieldName,
                          Lumen::StrongPtr<Lumen::LoaderProgress> const& progress, std::string gridName, double time,
                          double slopeDegrees, std::string cellTypeFieldName) {
    if (!bundle.isBound()) {
        return frame::BUNDLE_REFUSED;
    }
    std::string message;
    auto const nanMatchesAll = frame::TimeMatch::NanMatchesAll;
    frame::forEachSliceAt(*bundle, time, nanMatchesAll, frame::SliceLog::Times, [&](Velum::Slice const& slice) {
        frame::forEachGrid(slice, gridName, [&](std::string const& name, Lumen::StrongPtr<Velum::Grid> const& grid) {
            if (!grid->baseSpace()) {
                return true;
            }
            Velum::FragmentedUniformGrid3D view;
            if (!view.assign(grid)) {
                message = "This is not a uniform grid: " + name + " ...Skipping";
                return false;
            }
            auto const representation = grid->getCartesianRepresentation();
            if (!representation) {
                message = "No representation";
                return false;
            }
            FieldPtr const positions = grid->CartesianPositions();
            if (!positions) {
                message = "No positions";
                return false;
            }
            FieldPtr const height = view.getVertexField(heightFieldName);
            if (!height) {
                message = "Can not find height field: " + heightFieldName;
                return false;
            }
            FieldPtr const codes = representation->findField(cellTypeFieldName);
            if (!codes) {
                message = "Found no cell type field:" + cellTypeFieldName;
                return false;
            }
            FieldPtr const result = view.newVertexField(heightFieldName + "_" + "Sobel");
            if (!result) {
                message = "Can not create sobel field";
                return false;
            }
            auto const fragments = frame::fragmentList(height->getFragmentCounts());
            auto const count = static_cast<std::uint32_t>(fragments.size());
            SobelGrid const shared{view, positions, height, codes, result};
            std::atomic<std::uint32_t> counter{0};
            bool const finished = frame::forEachFragment(count, [&](std::uint32_t i) {
                auto const number = counter.fetch_add(1, std::memory_order_relaxed);
                if (progress) {
                    progress->report("Applying Sobel to current Fragment # ", number, count);
                }
                sobelFragment(shared, fragments[i], slopeDegrees);
            });
            if (!finished) {
                message = frame::FRAGMENTS_UNFINISHED + name;
            }
            return finished;
        });
    });
    return message;
}

} // namespace Rastrum

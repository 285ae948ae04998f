#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>
#include <string>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Rastrum.hpp"
#include "Velum/MemArray.hpp"
#include "bilateral/smoothing_filters.hpp"
#include "frame/cell_types.hpp"
#include "frame/fragment_loop.hpp"

namespace Rastrum {
namespace {

CellTypeTables const cellTypes;

struct SmoothingRequest {
    Velum::Field const& input;
    Velum::Field const& codes;
    Velum::Field& output;
    std::vector<Lumen::StrongPtr<Velum::FragmentID>> const& fragments;
    unsigned windowSize;
    double sigmaSpatial;
    double sigmaRange;
    bool gaussianOnly;
    Lumen::StrongPtr<Lumen::LoaderProgress> const& progress;
};

// A window wider than 2 max(nx, ny) + 1 gives the same result as that one: the
// bilateral window already covers the whole fragment, and the Gaussian filter
// copies a fragment narrower than its window. Capping it keeps the window's
// tables as small as the fragment allows, whatever size is asked for.
unsigned windowWithin(unsigned requested, FragmentShape const& shape) {
    std::uint64_t const covering = 2 * std::max(shape.nx, shape.ny) + 1;
    return static_cast<unsigned>(std::min<std::uint64_t>(effectiveWindowSize(requested), covering));
}

// One pass over all fragments for element type T: whole fragments go to the
// threads, one at a time, so that the team starts once per pass rather than
// once per fragment; the kernels share a fragment's rows among the team only
// when there are fewer fragments than threads. Reports come in fragment order.
template <class T>
void smoothPass(SmoothingRequest const& request) {
    auto const total = static_cast<std::uint32_t>(request.fragments.size());
    auto const report = [&](std::uint32_t counter) {
        if (request.progress) {
            request.progress->report("Smoothing #", counter, total);
        }
    };
    bool const finished = frame::forEachFragmentInOrder(total, report, [&](std::uint32_t i) {
        auto const& fragment = request.fragments[i];
        auto const [input, codes] = frame::underFrameworkLock([&] {
            auto const inputCreator = request.input.getCreator(fragment);
            auto const codesCreator = request.codes.getCreator(fragment);
            return std::pair(inputCreator ? Lumen::StrongPtr<Velum::MemArray<3, T>>(inputCreator->getData()) : nullptr,
                             codesCreator ? Lumen::StrongPtr<Velum::MemArray<3, unsigned char>>(codesCreator->getData())
                                          : nullptr);
        });
        if (!input || !codes || codes->Size() != input->Size()) {
            return;
        }
        auto const& size = input->Size();
        FragmentShape const shape{size[0], size[1], size[2]};
        auto const window = windowWithin(request.windowSize, shape);
        auto const result = frame::underFrameworkLock(
            [&] { return Lumen::makeStrong<Velum::MemArray<3, T>>(size, Velum::uninitialised); });
        if (request.gaussianOnly) {
            gaussianFilter(input->data(), codes->data(), shape, window, request.sigmaSpatial,
                           cellTypes.HOLE_CELL_TYPES, result->data());
        } else {
            bilateralFilter(input->data(), codes->data(), shape, window, request.sigmaSpatial,
                            request.sigmaRange, cellTypes.HOLE_CELL_TYPES, result->data());
        }
        frame::underFrameworkLock([&] {
            request.output.setPersistentData(result, fragment, Lumen::Cache::MemCache());
            return true;
        });
    });
    if (!finished) {
        throw std::runtime_error("fragments left unfinished");
    }
}

template <class... T>
void smoothEveryMatchingType(Velum::MemBase const* sample, SmoothingRequest const& request) {
    ((dynamic_cast<Velum::MemArray<3, T> const*>(sample) ? smoothPass<T>(request) : void()), ...);
}

} // namespace

std::string bilateralSmoothing(Velum::Grid& grid, std::string const& inputFieldName,
                               std::string const& outputFieldName, unsigned const& windowSize,
                               double const& sigmaSpatial, double const& sigmaRange, unsigned const&,
                               bool const& gaussianOnly, Lumen::StrongPtr<Lumen::LoaderProgress> const& progress) {
    auto const positions = grid("Positions", "");
    if (!positions) {
        return "gaussSmoothingOfUniform: no Positions";
    }
    auto const codes = grid("CellType", "");
    if (!codes) {
        return "gaussSmoothingOfUniform: no CellType";
    }
    auto const input = grid(inputFieldName, "");
    if (!input) {
        return "gaussSmoothingOfUniform: no HeightF";
    }
    Lumen::StrongPtr<Velum::Field> const output = grid[outputFieldName];
    auto const fragments = positions->getFragmentIDs();
    auto const first = input->getFirstCreator();
    auto const sample = first ? first->getData() : nullptr;
    if (!sample) {
        return "";
    }
    SmoothingRequest const request{*input,     *codes,       *output,    fragments,   windowSize,
                                   sigmaSpatial, sigmaRange, gaussianOnly, progress};
    // Operations do not throw: a progress sink that throws or memory that runs
    // out ends the pass, and the fragments stored so far stay.
    try {
        smoothEveryMatchingType<float, double, unsigned char, unsigned short, unsigned int, unsigned long long, int>(
            sample.getPointer(), request);
    } catch (...) {
        return "gaussSmoothingOfUniform: fragments left unfinished";
    }
    return "";
}

} // namespace Rastrum

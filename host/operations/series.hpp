#pragma once

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "core/errors.hpp"
#include "operations/operations.hpp"
#include "tiling/operation_support.hpp"

// The steps of a series, each cut into fragments like a single raster.
namespace rastrum_host {

// InputError when the steps differ in size: a bundle's slices share one grid layout.
template <class T>
std::vector<TiledGrid> tileSeries(std::span<HeightView<T> const> steps, Tiling const& tiling,
                                  std::uint64_t defaultOverlap, Fields fields = Fields::HeightsAndTypes) {
    std::vector<TiledGrid> tiled;
    tiled.reserve(steps.size());
    for (auto const& step : steps) {
        if (step.width != steps.front().width || step.height != steps.front().height) {
            throw InputError(std::string(step.source) + ": the steps of a series differ in size");
        }
        tiled.push_back(tileHeights(step, tiling, defaultOverlap, fields));
    }
    return tiled;
}

// The indices of the steps a run covers: `step` alone, or every one.
inline std::vector<std::size_t> stepsRun(std::size_t count, SeriesStep step) {
    if (step) {
        if (*step >= count) {
            throw InputError("time step " + std::to_string(*step) + " is past the series' " + std::to_string(count) +
                             " steps");
        }
        return {*step};
    }
    std::vector<std::size_t> all(count);
    std::iota(all.begin(), all.end(), std::size_t{0});
    return all;
}

} // namespace rastrum_host

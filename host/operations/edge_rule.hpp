#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>

#include "core/raster.hpp"

// The host's one rule for stencils that run out of data: a cell whose window
// of (2 radius + 1)^2 cells reaches past the raster's edge gets no value
// (NaN), and so does, for the gradient, a cell whose window holds a hole. The
// library's own values there (0 at the edge, sums over a cut stencil beside a
// hole) look like real gradients and are kept only on request (--keep-partial).
namespace rastrum_host {

// NaN in the band of `radius` cells along the raster's four edges, every band.
template <class Float>
void blankRasterEdge(Raster<Float>& result, std::uint32_t radius) {
    Float constexpr none = std::numeric_limits<Float>::quiet_NaN();
    for (std::uint32_t band = 0; band < result.bands; ++band) {
        for (std::uint32_t row = 0; row < result.height; ++row) {
            bool const edgeRow = row < radius || row >= result.height - std::min(radius, result.height);
            // Only the edge columns of an inner row.
            std::uint32_t const left = edgeRow ? result.width : std::min(radius, result.width);
            auto* const first = result.values.data() + result.index(0, row, band);
            std::fill(first, first + left, none);
            std::fill(first + std::max(left, result.width - std::min(radius, result.width)), first + result.width, none);
        }
    }
}

// NaN at every cell within `radius` cells (a square window) of a hole code.
void blankAroundHoles(Raster<float>& result, std::span<std::uint8_t const> cellTypes, std::uint32_t radius);

} // namespace rastrum_host

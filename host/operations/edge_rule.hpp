#pragma once

#include <cstdint>
#include <vector>

#include "core/raster.hpp"

// The host's one rule for stencils that run out of data: a cell whose window
// of (2 radius + 1)^2 cells reaches past the raster's edge gets no value
// (NaN), and so does, for the gradient, a cell whose window holds a hole. The
// library's own values there (0 at the edge, sums over a cut stencil beside a
// hole) look like real gradients and are kept only on request (--keep-partial).
namespace rastrum_host {

// NaN in the band of `radius` cells along the raster's four edges, every band.
void blankRasterEdge(Raster<float>& result, std::uint32_t radius);

// NaN at every cell within `radius` cells (a square window) of a hole code.
void blankAroundHoles(Raster<float>& result, std::vector<std::uint8_t> const& cellTypes, std::uint32_t radius);

} // namespace rastrum_host

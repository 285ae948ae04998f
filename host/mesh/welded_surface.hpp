#pragma once

#include <cstdint>

#include "core/raster.hpp"
#include "mesh/mesh_sink.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {

struct SurfaceCounts {
    std::uint64_t vertices = 0;
    std::uint64_t triangles = 0;
};

// The full-resolution surface: the library's triangulation of one row of
// fragments at a time, its per-fragment vertex lists welded where fragments
// overlap, so that every data cell that is a corner of a triangle is one
// vertex. Vertices are numbered row by row from the south and handed on as
// soon as no later row of fragments can add to their area-weighted normals,
// so memory stays at a few rows of fragments. InputError when the raster has
// no square of four data cells (nothing reaches the sink before that is known
// only for the last row; callers discard a failed output).
SurfaceCounts streamWeldedSurface(HeightInput const& input, Tiling const& tiling, RunContext const& context,
                                  MeshSink& sink);

} // namespace rastrum_host

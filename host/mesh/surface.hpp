#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "mesh/simplified_surface.hpp"
#include "mesh/welded_surface.hpp"

namespace rastrum_host {

// A whole surface in memory, in georeferenced coordinates (z is the height),
// for callers that want one rather than a stream.
struct SurfaceMesh {
    std::vector<MeshPoint> vertices;
    std::vector<MeshPoint> normals; // unit, area-weighted over the vertex's triangles
    std::vector<std::array<std::uint32_t, 3>> triangles; // counter-clockwise seen from above
};

// The welded full-resolution surface (see streamWeldedSurface).
SurfaceMesh computeSurface(HeightInput const& input, Tiling const& tiling, RunContext const& context);
// The surface within maxError of every data cell (see streamSimplifiedSurface).
SurfaceMesh computeSimplifiedSurface(HeightInput const& input, double maxError);

} // namespace rastrum_host

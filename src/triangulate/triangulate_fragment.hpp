#pragma once

#include <cstdint>
#include <vector>

#include "Tensa/PhysicalSpace.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/TriangularSurface.hpp"
#include "frame/cell_types.hpp"

namespace Rastrum {

// Where a fragment's points lie in x and y: point (i, j) is at
// (i dx + cornerX, j dy + cornerY).
struct FragmentPlacement {
    double cornerX;
    double cornerY;
    double dx;
    double dy;
};

// Appends one vertex per point of a fragment of extents (nx, ny, nz) whose
// cell type is not a hole (z from the height), then two triangles for every
// square of four such vertices: (i,j), (i,j+1), (i+1,j+1) and (i,j),
// (i+1,j+1), (i+1,j). Vertex indices continue the list. The lists grow by at
// most the fragment's points and twice its squares; reserving that much
// beforehand spares every reallocation.
void triangulateFragment(float const* height, unsigned char const* cellTypes, std::uint64_t nx, std::uint64_t ny,
                         std::uint64_t nz, FragmentPlacement const& placement, CellTypeTable const& hole,
                         Velum::ArrayStorage<Tensa::PhysicalSpace::point>& vertices,
                         Velum::ArrayStorage<Velum::Triangle>& triangles);

} // namespace Rastrum

#pragma once

#include <array>
#include <cstdint>
#include <span>

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

// One fragment of extents (nx, ny, nz): heights, cell types, placement. Its
// rows of points (j, k) are numbered k ny + j.
struct SurfaceFragment {
    float const* height;
    unsigned char const* cellTypes;
    std::uint64_t nx;
    std::uint64_t ny;
    std::uint64_t nz;
    FragmentPlacement placement;
};

// What a row of points adds to the lists: a vertex per point whose cell type
// is not a hole, two triangles per square it spans with the next row of its
// layer. Turned into the place where the row starts in both lists.
struct RowShare {
    std::uint64_t vertices;
    std::uint64_t triangles;
};

// One flag per byte value: 1 where a cell type carries a vertex.
using VertexFlags = std::array<unsigned char, 256>;
VertexFlags vertexFlags(CellTypeTable const& hole);

// The share of every row of a fragment (ny nz entries), the team sharing rows.
void countRows(SurfaceFragment const& fragment, VertexFlags const& flags, std::span<RowShare> rows);

// Turns shares into starts, counting on from `from`; returns the end.
RowShare startsFrom(RowShare from, std::span<RowShare> rows);

// Whether lists of that end are written past the caches: lists far beyond
// what the caches hold go to memory anyway, and ordinary stores would first
// read every line of them; smaller ones stay in the cache for their reader.
bool listsPastCaches(RowShare end);

// Writes every row at its start, the team sharing rows: the vertices of a row
// in point order, then for each of its squares of four vertices, (i,j),
// (i,j+1), (i+1,j+1) and (i,j), (i+1,j+1), (i+1,j). A list of rows laid one
// after another in point order thus holds what a walk over the points makes.
void fillRows(SurfaceFragment const& fragment, VertexFlags const& flags, std::span<RowShare const> starts,
              Tensa::PhysicalSpace::point* vertices, Velum::Triangle* triangles, bool pastCaches);

// Appends one fragment's vertices and triangles to the lists.
void triangulateFragment(float const* height, unsigned char const* cellTypes, std::uint64_t nx, std::uint64_t ny,
                         std::uint64_t nz, FragmentPlacement const& placement, CellTypeTable const& hole,
                         Velum::ArrayStorage<Tensa::PhysicalSpace::point>& vertices,
                         Velum::ArrayStorage<Velum::Triangle>& triangles);

} // namespace Rastrum

#pragma once

#include <utility>

#include "Lumen/InterfaceBase.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Tensa/PhysicalSpace.hpp"
#include "Velum/Grid.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/SimplexCell.hpp"

namespace Velum {

using Triangle = SimplexCell<2, unsigned, IJ_CellNamingConvention>;
using VertexArray = MemArray<1, Tensa::PhysicalSpace::point>;
using TriangleArray = MemArray<1, Triangle>;

// The base space of a triangle surface: its triangles, as indices into the
// vertex list.
class TriangleCells : public Lumen::InterfaceBase {
public:
    explicit TriangleCells(Lumen::StrongPtr<TriangleArray> triangles) : triangles_(std::move(triangles)) {}
    Lumen::StrongPtr<TriangleArray> const& triangles() const { return triangles_; }

private:
    Lumen::StrongPtr<TriangleArray> triangles_;
};

// Vouches that every index of a connectivity lies below its vertex count, as
// it does by construction for a caller that numbered the vertices itself.
struct IndicesInRange {};
inline constexpr IndicesInRange indicesInRange{};

// View of a grid as a surface of triangles: the vertices are the whole-field
// "Positions" of its Cartesian representation, the triangles its base space.
class TriangularSurface {
public:
    // Makes `grid` a triangle surface, replacing what it held. False when an
    // array is missing or a triangle refers past the vertex list.
    static bool addVerticesAndConnectivity(Grid& grid, Lumen::StrongPtr<VertexArray> const& vertices,
                                           Lumen::StrongPtr<TriangleArray> const& connectivity);
    // The same without reading every triangle again: for lists of millions
    // built with their indices in range.
    static bool addVerticesAndConnectivity(Grid& grid, Lumen::StrongPtr<VertexArray> const& vertices,
                                           Lumen::StrongPtr<TriangleArray> const& connectivity, IndicesInRange);

    bool assign(Lumen::StrongPtr<Grid> const& grid);
    Lumen::StrongPtr<VertexArray> const& vertices() const { return vertices_; }
    Lumen::StrongPtr<TriangleArray> const& triangles() const { return triangles_; }

private:
    Lumen::StrongPtr<VertexArray> vertices_;
    Lumen::StrongPtr<TriangleArray> triangles_;
};

} // namespace Velum

#include "Velum/TriangularSurface.hpp"

#include <algorithm>

#include "Lumen/Cache.hpp"

namespace Velum {

bool TriangularSurface::addVerticesAndConnectivity(Grid& grid, Lumen::StrongPtr<VertexArray> const& vertices,
                                                   Lumen::StrongPtr<TriangleArray> const& connectivity) {
    if (!vertices || !connectivity) {
        return false;
    }
    auto const count = vertices->count();
    bool const indicesValid = std::ranges::all_of(connectivity->values(), [count](Triangle const& t) {
        return std::ranges::all_of(t.vertices, [count](unsigned v) { return v < count; });
    });
    return indicesValid && addVerticesAndConnectivity(grid, vertices, connectivity, indicesInRange);
}

bool TriangularSurface::addVerticesAndConnectivity(Grid& grid, Lumen::StrongPtr<VertexArray> const& vertices,
                                                   Lumen::StrongPtr<TriangleArray> const& connectivity, IndicesInRange) {
    if (!vertices || !connectivity) {
        return false;
    }
    auto const positions = Lumen::makeStrong<Field>();
    positions->setPersistentData(vertices, nullptr, Lumen::Cache::MemCache());
    grid.makeCartesianRepresentation(3)->setField("Positions", positions);
    grid.setBaseSpace(Lumen::makeStrong<TriangleCells>(connectivity));
    return true;
}

bool TriangularSurface::assign(Lumen::StrongPtr<Grid> const& grid) {
    Lumen::StrongPtr<TriangleCells> const cells = grid ? grid->baseSpace() : nullptr;
    auto const positions = grid ? grid->CartesianPositions() : nullptr;
    vertices_ = positions ? Lumen::StrongPtr<VertexArray>(positions->getData()) : nullptr;
    triangles_ = cells ? cells->triangles() : nullptr;
    if (!vertices_ || !triangles_) {
        vertices_.reset();
        triangles_.reset();
        return false;
    }
    return true;
}

} // namespace Velum

#include <gtest/gtest.h>

#include <vector>

#include "Velum/TriangularSurface.hpp"

using Point = Tensa::PhysicalSpace::point;
using Velum::Triangle;

TEST(TriangularSurface, StoresVerticesAndTrianglesOnAGridAndRefusesBadIndices) {
    auto const vertices = Lumen::makeStrong<Velum::VertexArray>(
        Velum::MultiIndex<1>(3u), std::vector<Point>{{0, 0, 1}, {1, 0, 2}, {0, 1, 3}});
    auto const triangles =
        Lumen::makeStrong<Velum::TriangleArray>(Velum::MultiIndex<1>(1u), std::vector<Triangle>{{{0, 2, 1}}});
    auto const grid = Lumen::makeStrong<Velum::Grid>();
    ASSERT_TRUE(Velum::TriangularSurface::addVerticesAndConnectivity(*grid, vertices, triangles));

    Velum::TriangularSurface surface;
    ASSERT_TRUE(surface.assign(grid));
    EXPECT_EQ(surface.vertices().getPointer(), vertices.getPointer());
    EXPECT_EQ(surface.triangles()->values()[0], (Triangle{{0, 2, 1}}));

    auto const beyond =
        Lumen::makeStrong<Velum::TriangleArray>(Velum::MultiIndex<1>(1u), std::vector<Triangle>{{{0, 3, 1}}});
    auto const other = Lumen::makeStrong<Velum::Grid>();
    EXPECT_FALSE(Velum::TriangularSurface::addVerticesAndConnectivity(*other, vertices, beyond));
    EXPECT_FALSE(surface.assign(other));
    EXPECT_FALSE(surface.vertices());
}

#include <gtest/gtest.h>

#include <vector>

#include "Lumen/Cache.hpp"
#include "Velum/FragmentBBox.hpp"
#include "Velum/TriangularSurface.hpp"
#include "Velum/UniformCartesianArray.hpp"

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

TEST(FragmentBBox, SpansTheFirstAndLastPointsWhateverTheSpacingSign) {
    Velum::Field positions;
    auto const fragment = Lumen::makeStrong<Velum::FragmentID>("f");
    positions.setPersistentData(Lumen::makeStrong<Velum::UniformCartesianArray>(
                                    Point{100, 50, 0}, Tensa::PhysicalSpace::vector{2, -0.5, 1},
                                    Velum::MultiIndex<3>(4u, 3u, 1u)),
                                fragment, Lumen::Cache::MemCache());
    auto const box = Velum::getFragmentBBox(positions, fragment);
    EXPECT_EQ(box.min(), (Point{100, 49, 0}));
    EXPECT_EQ(box.max(), (Point{106, 50, 0}));
    EXPECT_TRUE(Velum::getFragmentBBox(positions, Lumen::makeStrong<Velum::FragmentID>("g")).empty());
}

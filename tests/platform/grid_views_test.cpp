#include <gtest/gtest.h>

#include "Lumen/Cache.hpp"
#include "Velum/FragmentedUniformGrid3D.hpp"
#include "Velum/Grid.hpp"
#include "Velum/RegularlyFragmentedGrid.hpp"
#include "Velum/UniformGridBuilder.hpp"

using Index = Velum::MultiIndex<3>;

namespace {

Velum::UniformGridBuilder sixByFour() {
    return Velum::UniformGridBuilder({.points = {6u, 4u, 1u},
                                      .pointsPerFragment = {3u, 2u, 1u},
                                      .overlap = {},
                                      .origin = {100.0, 200.0, 0.0},
                                      .spacing = {2.0, 0.5, 1.0}});
}

} // namespace

TEST(FragmentedUniformGrid3D, AssignCachesUniformPositionsAndFragmentIdentities) {
    auto const builder = sixByFour();
    Velum::FragmentedUniformGrid3D view;
    ASSERT_TRUE(view.assign(builder.grid()));

    auto const& positions = view.uniformPositions();
    ASSERT_TRUE(positions);
    EXPECT_EQ(positions->origin(), Tensa::PhysicalSpace::point(100.0, 200.0, 0.0));
    EXPECT_EQ(positions->spacing(), Tensa::PhysicalSpace::vector(2.0, 0.5, 1.0));
    EXPECT_EQ(positions->Size(), Index(6u, 4u, 1u));

    ASSERT_TRUE(view.fragmentIDs());
    EXPECT_EQ(view.fragmentIDs()->Size(), Index(2u, 2u, 1u));
    Index const at(1u, 1u, 0u);
    EXPECT_EQ(view.getFragmentID(at).getPointer(), builder.positions()->getFragmentID(at).getPointer());

    auto const field = view.newVertexField("Result");
    ASSERT_TRUE(field);
    EXPECT_EQ(view.getVertexField("Result").getPointer(), field.getPointer());
    EXPECT_EQ(field->getFragmentID(at).getPointer(), view.getFragmentID(at).getPointer());
}

TEST(FragmentedUniformGrid3D, FailedAssignClearsCachesButAFragmentedGridStillTakesNewFields) {
    auto const builder = sixByFour();
    Velum::FragmentedUniformGrid3D view;
    ASSERT_TRUE(view.assign(builder.grid()));

    // Positions without the whole grid's uniform description: not uniform.
    builder.positions()->setPersistentData(nullptr, nullptr, Lumen::Cache::MemCache());
    EXPECT_FALSE(view.assign(builder.grid()));
    EXPECT_FALSE(view.uniformPositions());
    EXPECT_FALSE(view.fragmentIDs());
    EXPECT_FALSE(view.getFragmentID(Index(0u, 0u, 0u)));
    EXPECT_TRUE(view.newVertexField("Result"));
}

TEST(FragmentedUniformGrid3D, GridsWithoutFragmentationOrRepresentationFail) {
    auto const builder = sixByFour();
    auto const unfragmented = Lumen::makeStrong<Velum::Grid>();
    unfragmented->makeCartesianRepresentation(3)->setField("Positions", builder.positions());
    Velum::FragmentedUniformGrid3D view;
    EXPECT_FALSE(view.assign(unfragmented));
    EXPECT_FALSE(view.newVertexField("Result")) << "no fragmentation to cut a vertex field by";

    auto const bare = Lumen::makeStrong<Velum::Grid>();
    Velum::RegularlyFragmentedGrid<3>::create(*bare, builder.positions());
    EXPECT_FALSE(view.assign(bare));
    EXPECT_FALSE(view.newVertexField("Result")) << "no Cartesian representation to hold it";

    EXPECT_FALSE(view.assign(nullptr));
}

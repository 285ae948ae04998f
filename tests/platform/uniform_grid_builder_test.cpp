#include <gtest/gtest.h>

#include "Velum/MemArray.hpp"
#include "Velum/UniformCartesianArray.hpp"
#include "Velum/UniformGridBuilder.hpp"

using Index = Velum::MultiIndex<3>;

TEST(UniformGridBuilder, OverlappingFragmentsCoverTheGridWithAShorterLastOne) {
    Velum::UniformGridBuilder const builder({.points = {11u, 4u, 1u},
                                             .pointsPerFragment = {4u, 4u, 1u},
                                             .overlap = {1u, 0u, 0u},
                                             .origin = {10.0, 20.0, 0.0},
                                             .spacing = {0.5, 2.0, 1.0}});
    EXPECT_EQ(builder.fragmentCounts(), Index(4u, 1u, 1u));
    for (unsigned f = 0; f < 4; ++f) {
        EXPECT_EQ(builder.fragmentStart(Index(f, 0u, 0u)), Index(3u * f, 0u, 0u));
    }
    EXPECT_EQ(builder.fragmentSize(Index(2u, 0u, 0u)), Index(4u, 4u, 1u));
    EXPECT_EQ(builder.fragmentSize(Index(3u, 0u, 0u)), Index(2u, 4u, 1u));

    Index const last(3u, 0u, 0u);
    Lumen::StrongPtr<Velum::UniformCartesianArray> const positions =
        builder.positions()->getData(builder.positions()->getFragmentID(last));
    ASSERT_TRUE(positions);
    EXPECT_EQ(positions->origin(), Tensa::PhysicalSpace::point(14.5, 20.0, 0.0));
    EXPECT_EQ(positions->Size(), Index(2u, 4u, 1u));

    auto const field = builder.addField<int>("Id", [](Index const& p) { return static_cast<int>(p[0] + 100 * p[1]); });
    Lumen::StrongPtr<Velum::MemArray<3, int>> const values = field->getData(field->getFragmentID(last));
    ASSERT_TRUE(values);
    EXPECT_EQ((*values)[Index(0u, 0u, 0u)], 9);
    EXPECT_EQ((*values)[Index(1u, 3u, 0u)], 310);
    EXPECT_EQ(builder.grid()->CartesianPositions().getPointer(), builder.positions().getPointer());
}

#include <gtest/gtest.h>

#include <vector>

#include "Velum/MultiIndex.hpp"

using Index = Velum::MultiIndex<3>;

TEST(MultiIndex, IncStepsFirstIndexFastestAndReportsTheWrap) {
    Index const extents(2u, 3u, 2u);
    std::vector<Index> expected;
    for (unsigned k = 0; k < 2; ++k) {
        for (unsigned j = 0; j < 3; ++j) {
            for (unsigned i = 0; i < 2; ++i) {
                expected.emplace_back(i, j, k);
            }
        }
    }

    std::vector<Index> visited;
    Index index;
    bool more = true;
    while (more) {
        visited.push_back(index);
        EXPECT_EQ(index.linear(extents), visited.size() - 1);
        more = index.inc(extents);
    }
    EXPECT_EQ(visited, expected);
    EXPECT_EQ(index, Index()) << "the last step wraps back to the origin";
}

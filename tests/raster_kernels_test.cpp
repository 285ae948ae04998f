#include <gtest/gtest.h>

#include <vector>

#include "frame/cell_types.hpp"
#include "raster/raster_kernels.hpp"

namespace {

Rastrum::CellTypeTables const tables;

bool isDataCode(unsigned char code) { return code == 0 || code == 4; }

} // namespace

TEST(RasterKernels, MergedMaskMarksEveryPairWithANonDataCodeAndTellsWhetherDataRemain) {
    // Every pair of byte codes, then a few more so that the count is not a
    // whole number of vector steps.
    std::vector<unsigned char> first;
    std::vector<unsigned char> second;
    for (unsigned pair = 0; pair < 256 * 256 + 7; ++pair) {
        first.push_back(static_cast<unsigned char>(pair % 256));
        second.push_back(static_cast<unsigned char>(pair / 256 % 256));
    }
    std::vector<unsigned char> mask(first.size(), 7);
    EXPECT_TRUE(Rastrum::mergeCellTypes(first.data(), second.data(), mask.data(), mask.size(), tables.DATA_CELL_TYPES));
    for (std::size_t i = 0; i < mask.size(); ++i) {
        ASSERT_EQ(mask[i], isDataCode(first[i]) && isDataCode(second[i]) ? 0 : 1) << first[i] << " " << second[i];
    }

    // No data cell, then one only in a vector step, then one only in the tail.
    std::vector<unsigned char> holes(37, 2);
    std::vector<unsigned char> data(37, 4);
    EXPECT_FALSE(Rastrum::mergeCellTypes(holes.data(), data.data(), mask.data(), holes.size(), tables.DATA_CELL_TYPES));
    for (std::size_t at : {5u, 35u}) {
        std::vector<unsigned char> one = holes;
        one[at] = 0;
        EXPECT_TRUE(Rastrum::mergeCellTypes(one.data(), data.data(), mask.data(), one.size(), tables.DATA_CELL_TYPES))
            << "data cell at " << at;
    }
}

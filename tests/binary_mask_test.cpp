#include <gtest/gtest.h>

#include <vector>

#include "binary/binary_mask.hpp"
#include "frame/cell_types.hpp"

TEST(BinaryMask, OnlyCodesZeroAndFourAreDataEvenPastTheTable) {
    std::vector<unsigned char> codes;
    std::vector<float> expected;
    for (unsigned code = 0; code < 256; ++code) {
        codes.push_back(static_cast<unsigned char>(code));
        expected.push_back(code == 0 || code == 4 ? 1.0f : 0.0f);
    }
    std::vector<float> mask(codes.size(), -7.0f);
    Rastrum::CellTypeTables const tables;
    Rastrum::binaryMask(codes, mask, tables.DATA_CELL_TYPES);
    EXPECT_EQ(mask, expected);
}

TEST(CellTypeTables, HoleAndDataCodesAreDisjointAndCodesPastFourAreNeither) {
    Rastrum::CellTypeTables const tables;
    for (unsigned code = 0; code < 5; ++code) {
        EXPECT_NE(tables.DATA_CELL_TYPES[code], tables.HOLE_CELL_TYPES[code]) << "code " << code;
    }
    EXPECT_TRUE(tables.HOLE_CELL_TYPES[2]);
    for (unsigned code = 5; code < 300; ++code) {
        EXPECT_FALSE(tables.DATA_CELL_TYPES[code] || tables.HOLE_CELL_TYPES[code]) << "code " << code;
    }
}

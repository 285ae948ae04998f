#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
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

template <class T>
class FloatingRasterKernels : public testing::Test {};
using FloatingTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(FloatingRasterKernels, FloatingTypes);

TYPED_TEST(FloatingRasterKernels, EveryOperationMatchesCellByCellArithmeticAndReportsNonZeroResults) {
    using T = TypeParam;
    std::mt19937_64 random(31);
    std::size_t const count = 103;
    std::vector<T> a(count);
    std::vector<T> b(count);
    std::vector<unsigned char> mask(count);
    for (std::size_t i = 0; i < count; ++i) {
        a[i] = static_cast<T>(std::uniform_real_distribution<double>(-50.0, 50.0)(random));
        // Some zeros to divide by, some equal operands to subtract.
        b[i] = i % 11 == 0  ? T(0)
               : i % 7 == 0 ? a[i]
                            : static_cast<T>(std::uniform_real_distribution<double>(-5.0, 5.0)(random));
        mask[i] = static_cast<unsigned char>(random() % 4 == 0);
    }
    for (auto const op : {Rastrum::Operandi::Subtract, Rastrum::Operandi::Add, Rastrum::Operandi::Divide,
                          Rastrum::Operandi::Multiply}) {
        std::vector<T> out(count, T(-99));
        auto const masked = mask;
        bool const nonZero =
            Rastrum::combineRasters<T>(op, a.data(), b.data(), mask.data(), out.data(), count, tables.HOLE_CELL_TYPES);
        EXPECT_EQ(mask, masked) << "floating kernels leave the mask alone";
        bool anyNonZero = false;
        for (std::size_t i = 0; i < count; ++i) {
            T const x = a[i];
            T const y = b[i];
            T const expected = mask[i] ? T(0) : op == 0 ? T(x - y) : op == 1 ? T(x + y) : op == 2 ? T(x / y) : T(x * y);
            if (std::isnan(expected)) {
                EXPECT_TRUE(std::isnan(out[i])) << "op " << op << ", cell " << i;
            } else {
                EXPECT_EQ(out[i], expected) << "op " << op << ", cell " << i;
            }
            anyNonZero = anyNonZero || expected != 0;
        }
        EXPECT_EQ(nonZero, anyNonZero);
    }

    // a - a is zero everywhere unless a NaN is left in a vector step or the tail.
    std::vector<T> out(count);
    std::vector<unsigned char> data(count, 0);
    EXPECT_FALSE(Rastrum::combineRasters<T>(Rastrum::Operandi::Subtract, a.data(), a.data(), data.data(), out.data(),
                                            count, tables.HOLE_CELL_TYPES));
    for (std::size_t at : {2u, 102u}) {
        std::vector<T> withNaN = a;
        withNaN[at] = std::numeric_limits<T>::quiet_NaN();
        EXPECT_TRUE(Rastrum::combineRasters<T>(Rastrum::Operandi::Subtract, withNaN.data(), withNaN.data(), data.data(),
                                               out.data(), count, tables.HOLE_CELL_TYPES))
            << "NaN at " << at;
    }
}

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "frame/cell_types.hpp"
#include "sobel/sobel_kernel.hpp"
#include "sobel_reference.hpp"
#include "support/instruction_sets.hpp"

namespace {

Rastrum::CellTypeTables const tables;

} // namespace

TEST(SobelKernel, SlopeThresholdIsSixteenTimesTheStepOverOneCell) {
    EXPECT_EQ(Rastrum::sobelSlopeThreshold(-45.0, 2.0), 32.0f);
    EXPECT_EQ(Rastrum::sobelSlopeThreshold(0.0, 5.0), 0.0f);
    EXPECT_FLOAT_EQ(Rastrum::sobelSlopeThreshold(30.0, 3.0), 16.0f * std::tan(30.0f * 3.14159265f / 180.0f) * 3.0f);
}

TEST(SobelKernel, MatchesThePointByPointStencilBitForBitOnRandomData) {
    std::mt19937_64 random(61);
    std::uniform_real_distribution<float> height(-800.0f, 3000.0f);
    std::uniform_int_distribution<int> code(0, 99);
    struct Shape {
        std::uint64_t nx, ny, nz;
    };
    // Rows shorter than, equal to and longer than the vector groups, with
    // tails; several layers, also enough for the team to share across a layer
    // edge; fragments with no interior at all.
    for (auto const shape : {Shape{37, 11, 2}, Shape{21, 30, 3}, Shape{3, 3, 1}, Shape{10, 4, 1}, Shape{18, 3, 3}, Shape{67, 9, 1},
                             Shape{2, 5, 1}, Shape{5, 2, 1}, Shape{1, 1, 1}}) {
        auto const n = shape.nx * shape.ny * shape.nz;
        std::vector<float> h(n);
        std::vector<unsigned char> codes(n);
        for (std::uint64_t p = 0; p < n; ++p) {
            h[p] = height(random);
            int const c = code(random);
            // About 8 % holes (codes 1 to 3), some code 4 and codes past the table.
            codes[p] = static_cast<unsigned char>(c < 8 ? 1 + c % 3 : (c < 12 ? 4 : (c < 14 ? 200 : 0)));
        }
        if (n > 40) {
            // Non-finite heights must spread through the zero-weighted terms too.
            h[20] = std::numeric_limits<float>::infinity();
            h[n - 21] = std::numeric_limits<float>::quiet_NaN();
            codes[20] = codes[n - 21] = 0;
        }
        auto const expected = reference::sobel(h, codes, shape.nx, shape.ny, shape.nz);
        testing_support::forEachInstructionSet([&](std::string const& set) {
            std::vector<float> out(n, -1.0f);
            Rastrum::sobelMagnitude(h.data(), codes.data(), shape.nx, shape.ny, shape.nz, tables.HOLE_CELL_TYPES,
                                    out.data());
            for (std::uint64_t p = 0; p < n; ++p) {
                if (std::isnan(expected[p])) {
                    EXPECT_TRUE(std::isnan(out[p])) << set << ", point " << p;
                } else {
                    EXPECT_EQ(std::memcmp(&out[p], &expected[p], sizeof(float)), 0)
                        << set << ", " << shape.nx << " x " << shape.ny << " x " << shape.nz << ", point " << p
                        << ": " << out[p] << " != " << expected[p];
                }
            }
        });
    }
}

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

// The two kernels, row = x offset, column = y offset.
float const acrossX[9] = {3, 10, 3, 0, 0, 0, -3, -10, -3};
float const acrossY[9] = {3, 0, -3, 10, 0, -10, 3, 0, -3};

// Magnitude over the first `taken` neighbours of a 3 x 3 fragment's centre,
// neighbours taken x fastest.
float expectedCentre(std::vector<float> const& height, int taken) {
    double a = 0.0;
    double b = 0.0;
    for (int n = 0; n < taken; ++n) {
        int const i = n % 3;
        int const j = n / 3;
        a += static_cast<double>(acrossX[i * 3 + j] * height[static_cast<std::size_t>(n)]);
        b += static_cast<double>(acrossY[i * 3 + j] * height[static_cast<std::size_t>(n)]);
    }
    return static_cast<float>(std::sqrt(a * a + b * b));
}

float centreWith(std::vector<float> const& height, std::vector<unsigned char> const& codes) {
    std::vector<float> out(9, -1.0f);
    Rastrum::sobelMagnitude(height.data(), codes.data(), 3, 3, 1, tables.HOLE_CELL_TYPES, out.data());
    for (std::size_t p = 0; p < 9; ++p) {
        if (p != 4) {
            EXPECT_EQ(out[p], 0.0f) << "border point " << p;
        }
    }
    return out[4];
}

} // namespace

TEST(SobelKernel, ConstantLayerIsZeroAndAPlaneGivesThirtyTwoTimesItsRise) {
    // Layer 0 constant, layer 1 rising 0.25 per point in y; 5 x 4 points each.
    std::vector<float> height(5 * 4 * 2);
    for (std::size_t p = 0; p < height.size(); ++p) {
        auto const j = (p / 5) % 4;
        height[p] = p < 20 ? 7.0f : 0.25f * static_cast<float>(j);
    }
    std::vector<unsigned char> const codes(height.size(), 0);
    std::vector<float> out(height.size(), -1.0f);
    Rastrum::sobelMagnitude(height.data(), codes.data(), 5, 4, 2, tables.HOLE_CELL_TYPES, out.data());

    for (std::size_t p = 0; p < out.size(); ++p) {
        auto const i = p % 5;
        auto const j = (p / 5) % 4;
        bool const interior = i > 0 && i < 4 && j > 0 && j < 3;
        EXPECT_EQ(out[p], interior && p >= 20 ? 8.0f : 0.0f) << "point " << p;
    }
}

TEST(SobelKernel, FlaggedNeighbourCutsTheStencilWhereItStands) {
    std::vector<float> const height{1.5f, -2.0f, 4.0f, 8.25f, 3.0f, 0.5f, 6.0f, -1.0f, 2.0f};
    auto codesWith = [](std::size_t at, unsigned char code) {
        std::vector<unsigned char> codes(9, 0);
        codes[at] = code;
        return codes;
    };
    EXPECT_EQ(centreWith(height, codesWith(0, 1)), 0.0f) << "first neighbour flagged";
    EXPECT_EQ(centreWith(height, codesWith(5, 3)), expectedCentre(height, 5));
    EXPECT_EQ(centreWith(height, codesWith(8, 2)), expectedCentre(height, 8));
    EXPECT_GT(expectedCentre(height, 5), 0.0f);
    for (unsigned data : {0u, 4u, 5u, 255u}) {
        EXPECT_EQ(centreWith(height, codesWith(0, static_cast<unsigned char>(data))), expectedCentre(height, 9))
            << "code " << data;
    }
}

TEST(SobelKernel, SlopeThresholdIsSixteenTimesTheStep) {
    EXPECT_EQ(Rastrum::sobelSlopeThreshold(45.0, 1.0), 16.0f);
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

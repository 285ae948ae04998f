#include "demo/demo_terrain.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <stdexcept>

namespace {

using rastrum_host::DemoTerrain;
using rastrum_host::generateDemoTerrain;

float at(std::vector<float> const& raster, DemoTerrain const& t, std::uint32_t column, std::uint32_t row) {
    return raster[std::size_t{row} * t.width + column];
}

TEST(DemoTerrain, SameSeedSameTerrainOtherSeedOtherTerrain) {
    DemoTerrain const a = generateDemoTerrain(120, 90, 7);
    DemoTerrain const b = generateDemoTerrain(120, 90, 7);
    DemoTerrain const c = generateDemoTerrain(120, 90, 8);
    EXPECT_EQ(a.before, b.before);
    EXPECT_EQ(a.after, b.after);
    EXPECT_EQ(a.holes, b.holes);
    EXPECT_NE(a.before, c.before);
    EXPECT_NE(a.holes, c.holes);
    EXPECT_NE(a.channelColumn, c.channelColumn);

    ASSERT_EQ(a.before.size(), std::size_t{120} * 90);
    EXPECT_TRUE(std::ranges::all_of(a.before, [](float h) { return std::isfinite(h); }));
    // The georeference puts the grid's south edge on the survey's false northing.
    EXPECT_DOUBLE_EQ(a.originY - a.height * a.spacing, 4412000.0);

    EXPECT_THROW(generateDemoTerrain(15, 90, 7), std::invalid_argument);
}

class DemoTerrainSeeds : public ::testing::TestWithParam<std::uint64_t> {};

// In every row, the river's centre lies below the valley sides on both hands.
TEST_P(DemoTerrainSeeds, RiverIsLowerThanItsBanks) {
    DemoTerrain const t = generateDemoTerrain(240, 180, GetParam());
    double const bankDistance = 8.0 * 240 / 60.0;
    for (std::uint32_t row = 0; row < t.height; ++row) {
        double const centre = t.channelColumn[row];
        ASSERT_GT(centre - bankDistance, 0.0);
        ASSERT_LT(centre + bankDistance, t.width - 1.0);
        float const river = at(t.before, t, static_cast<std::uint32_t>(std::lround(centre)), row);
        float const west = at(t.before, t, static_cast<std::uint32_t>(std::lround(centre - bankDistance)), row);
        float const east = at(t.before, t, static_cast<std::uint32_t>(std::lround(centre + bankDistance)), row);
        EXPECT_LT(river, west) << "row " << row;
        EXPECT_LT(river, east) << "row " << row;
    }
}

TEST_P(DemoTerrainSeeds, HolesCoverTwoToFivePercent) {
    for (auto [width, height] : {std::pair{64u, 48u}, std::pair{300u, 200u}}) {
        DemoTerrain const t = generateDemoTerrain(width, height, GetParam());
        double const fraction =
            static_cast<double>(std::accumulate(t.holes.begin(), t.holes.end(), 0u)) / static_cast<double>(t.holes.size());
        EXPECT_GT(fraction, 0.02) << width << " x " << height;
        EXPECT_LT(fraction, 0.05) << width << " x " << height;
        EXPECT_TRUE(std::ranges::all_of(t.holes, [](std::uint8_t h) { return h <= 1; }));
    }
}

// North of v = 0.7 material is only removed, from v = 0.8 on only deposited.
TEST_P(DemoTerrainSeeds, ErosionUpstreamDepositionDownstream) {
    DemoTerrain const t = generateDemoTerrain(240, 180, GetParam());
    float lowest = 0.0f;
    float highest = 0.0f;
    for (std::uint32_t row = 0; row < t.height; ++row) {
        for (std::uint32_t column = 0; column < t.width; ++column) {
            float const change = at(t.after, t, column, row) - at(t.before, t, column, row);
            if (row < 0.7 * t.height) {
                ASSERT_LE(change, 0.0f) << column << ", " << row;
                lowest = std::min(lowest, change);
            } else if (row >= 0.8 * t.height) {
                ASSERT_GE(change, 0.0f) << column << ", " << row;
                highest = std::max(highest, change);
            }
        }
    }
    EXPECT_LT(lowest, -2.5f); // the landslide scar
    EXPECT_GT(highest, 2.0f); // the fan's apex
    // The fan lies on the river.
    auto const apexRow = static_cast<std::uint32_t>(std::ceil(0.8 * t.height)) + 2;
    auto const apexColumn = static_cast<std::uint32_t>(std::lround(t.channelColumn[apexRow]));
    EXPECT_GT(at(t.after, t, apexColumn, apexRow) - at(t.before, t, apexColumn, apexRow), 2.0f);
}

INSTANTIATE_TEST_SUITE_P(DemoTerrain, DemoTerrainSeeds, ::testing::Values(1u, 2024u, 0xDEADBEEFu));

// Each data cell carries a column of markers from the bottom layer up, one per
// full layer thickness of deposit; holes and eroded cells carry none.
TEST(DemoTerrain, DepositionMarkersStackWithThickness) {
    DemoTerrain const t = generateDemoTerrain(160, 120, 3);
    constexpr std::uint32_t layers = 4;
    constexpr float thickness = 0.5f;
    std::vector<std::uint16_t> const markers = rastrum_host::depositionMarkers(t, layers, thickness);
    std::size_t const cells = t.before.size();
    ASSERT_EQ(markers.size(), cells * layers);
    std::size_t full = 0;
    for (std::size_t i = 0; i < cells; ++i) {
        std::uint32_t stack = 0;
        while (stack < layers && markers[stack * cells + i] == 1) {
            ++stack;
        }
        for (std::uint32_t k = stack; k < layers; ++k) {
            ASSERT_EQ(markers[k * cells + i], 0) << "cell " << i << " has a gap below layer " << k;
        }
        if (t.holes[i] == 1) {
            ASSERT_EQ(stack, 0u) << "hole " << i;
            continue;
        }
        float const deposit = t.after[i] - t.before[i];
        if (stack > 0) {
            ASSERT_GE(deposit, static_cast<float>(stack) * thickness) << "cell " << i;
        }
        if (stack < layers) {
            ASSERT_LT(deposit, static_cast<float>(stack + 1) * thickness) << "cell " << i;
        }
        full += stack == layers ? 1 : 0;
    }
    EXPECT_GT(full, 0u); // the fan is thicker than all layers together
}

} // namespace

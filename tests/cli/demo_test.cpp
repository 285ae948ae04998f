#include "demo/demo_terrain.hpp"

#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <sstream>
#include <stdexcept>

#include "cli_support.hpp"

using namespace cli_testing;

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
    EXPECT_TRUE(a.before == b.before && a.after == b.after && a.holes == b.holes);
    EXPECT_TRUE(a.before != c.before && a.holes != c.holes && a.channelColumn != c.channelColumn);

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
        EXPECT_TRUE(river < west && river < east) << "row " << row;
    }
}

TEST_P(DemoTerrainSeeds, HolesCoverTwoToFivePercent) {
    for (auto [width, height] : {std::pair{64u, 48u}, std::pair{300u, 200u}}) {
        DemoTerrain const t = generateDemoTerrain(width, height, GetParam());
        double const fraction =
            static_cast<double>(std::accumulate(t.holes.begin(), t.holes.end(), 0u)) / static_cast<double>(t.holes.size());
        EXPECT_TRUE(fraction > 0.02 && fraction < 0.05) << fraction << " at " << width << " x " << height;
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

TEST(Demo, RunsEveryOperationIntoOneFolderWhoseRastersOpenWithGdal) {
    TempFolder folder;
    std::string const out = folder / "demo";
    std::vector<std::string> const arguments{"demo", out, "--width", "96", "--height", "64", "--fragment-size", "32",
                                             "-q"};
    auto const run = rastrum(arguments);
    ASSERT_EQ(run.status, 0) << run.err;

    auto const summary = contents(out + "/summary.md");
    EXPECT_EQ(run.out, summary);
    // A table of six columns: its header, its rule and one row for each of the 9 runs.
    EXPECT_EQ(std::ranges::count(summary, '|'), 7 * (2 + 9)) << summary;
    EXPECT_NE(summary.find("| mesh (simplified, within 0.25 m) | surface.glb | 6144 | - | "), std::string::npos) << summary;

    for (auto const& entry : std::filesystem::directory_iterator(out)) {
        if (entry.path().extension() == ".tif") {
            SCOPED_TRACE(entry.path().filename().string());
            auto const raster = readRaster(entry.path().string());
            EXPECT_TRUE(raster.width == 96 && raster.height == 64 && raster.transform);
        }
    }
    EXPECT_EQ(readRaster(out + "/deposits-density.tif").bands, 4);

    // The DEM of difference is the later survey minus the earlier one.
    auto const before = readRaster(out + "/survey-2019.tif");
    auto const after = readRaster(out + "/survey-2024.tif");
    auto const difference = readRaster(out + "/difference.tif");
    std::vector<double> expected;
    for (std::size_t i = 0; i < difference.values.size(); ++i) {
        expected.push_back(static_cast<float>(static_cast<float>(after.values[i]) - static_cast<float>(before.values[i])));
    }
    expectSameValues(difference.values, expected);
    EXPECT_TRUE(std::ranges::any_of(expected, [](double d) { return std::abs(d) > 0.25; }));

    Assimp::Importer importer;
    aiScene const* mesh = importer.ReadFile(out + "/surface.ply", 0);
    ASSERT_NE(mesh, nullptr) << importer.GetErrorString();
    auto const faces = mesh->mMeshes[0]->mNumFaces;
    Assimp::Importer second;
    aiScene const* simplified = second.ReadFile(out + "/surface.glb", 0);
    ASSERT_NE(simplified, nullptr) << second.GetErrorString();
    EXPECT_TRUE(simplified->mMeshes[0]->mNumFaces > 0 && simplified->mMeshes[0]->mNumFaces < faces);

    auto again = arguments;
    auto const refused = rastrum(again);
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("--overwrite"), std::string::npos) << refused.err;
    again.push_back("--overwrite");
    EXPECT_EQ(rastrum(again).status, 0);
}

} // namespace

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "cli_support.hpp"
#include "terrain_fixture.hpp"

using namespace cli_testing;

namespace {

class Numbers : public testing::Test {
protected:
    TempFolder folder;
    std::string dem = folder / "dem.tif";
    std::string out = folder / "out.tif";
    void SetUp() override { writeRaster(dem, terrain(40, 30)); }
};

} // namespace

TEST_F(Numbers, ValuesThatWouldGiveSilentlyWrongResultsAreRefusedWithTheReason) {
    writeRaster(folder / "rgb16.tif", uniform(40, 30, 3, GDT_UInt16, 300.0));
    auto codes = uniform(40, 30, 1, GDT_Byte, 0.0);
    codes.values[41] = 7.0;
    writeRaster(folder / "codes.tif", codes);
    writeRaster(folder / "volume.tif", uniform(8, 8, 3, GDT_UInt16, 1.0));
    std::vector<std::pair<std::vector<std::string>, std::string>> const cases{
        {{"sobel", folder / "rgb16.tif", out, "--terrain-rgb"}, "UInt16"},
        {{"sobel", dem, out, "--terrain-rgb", "-b", "2"}, "--terrain-rgb"},
        {{"smooth", dem, out, "--sigma-spatial", "1e-160"}, "underflow"},
        {{"smooth", dem, out, "--sigma-range", "1e200"}, "underflow or overflow"},
        {{"sobel", dem, out, "--fragment-size", "2", "--overlap", "0"}, "at least 3"},
        {{"smooth", dem, out, "--fragment-size", "1", "--overlap", "0"}, "at least 3"},
        {{"iso", folder / "volume.tif", out, "--fragment-size", "2", "--overlap", "0"}, "at least 3"},
        {{"mesh", dem, folder / "s.ply", "--fragment-size", "1", "--overlap", "0"}, "at least 2"},
        {{"mask", dem, out, "--cell-types", folder / "codes.tif"}, "cell 1, 1 holds code 7"},
        {{"overwrite", dem, out, "--range", "0:1", "--value", "5"}, "--value"},
    };
    for (auto const& [arguments, said] : cases) {
        expectRefused(arguments, {said});
    }
}

TEST_F(Numbers, SigmasAtTheLimitsKeepTheHeights) {
    // Only the centre weighs: a tiny spatial sigma, or a tiny range sigma
    // where no neighbour has the centre's very height.
    for (auto const* sigma : {"--sigma-spatial", "--sigma-range"}) {
        ASSERT_EQ(rastrum({"smooth", dem, out, sigma, "1e-150", "--keep-partial", "--overwrite", "-q"}).status, 0);
        auto const in = readRaster(dem);
        auto const smoothed = readRaster(out);
        for (std::size_t i = 0; i < in.values.size(); ++i) {
            EXPECT_EQ(std::isnan(smoothed.values[i]), in.values[i] == Nodata) << sigma << i;
            EXPECT_NEAR(in.values[i] == Nodata ? 0.0 : smoothed.values[i] - in.values[i], 0.0, 2e-4) << sigma << i;
        }
    }
}

TEST_F(Numbers, CalcReadsEachRasterWithItsOwnOptions) {
    auto layered = terrain(40, 30);
    layered.bands = 2;
    layered.nodata.reset();
    for (std::size_t i = 0; i < 40 * 30; ++i) {
        layered.values.push_back(layered.values[i] - 1.0);
    }
    writeRaster(folder / "layered.tif", layered);
    auto codes = uniform(40, 30, 1, GDT_Byte, 0.0);
    codes.values[3] = 2.0;
    writeRaster(folder / "codes.tif", codes);

    ASSERT_EQ(rastrum({"calc", "subtract", dem, folder / "layered.tif", out, "--second-band", "2",
                       "--second-cell-types", folder / "codes.tif", "-q"}).status, 0);
    auto const in = readRaster(dem);
    auto const difference = readRaster(out);
    for (std::size_t i = 0; i < in.values.size(); ++i) {
        EXPECT_TRUE(sameValue(difference.values[i], in.values[i] == Nodata || i == 3 ? NAN : 1.0)) << i;
    }
}

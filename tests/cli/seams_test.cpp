#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <string>

#include "cli_support.hpp"
#include "io/raster_reader.hpp"
#include "operations/operations.hpp"
#include "support/capture.hpp"

using rastrum_host::HeightInput;
using rastrum_host::Raster;
using rastrum_host::Tiling;

namespace {

using Operation = std::function<Raster<float>(HeightInput const&, Tiling const&)>;

// Counts the cells at least `reach` from the raster's edge that differ from
// the one-fragment result, and among them those within `reach` of a border
// between fragments of 64 points.
struct Differences {
    int interior = 0;
    int nearFragmentBorders = 0;
};

Differences againstOneFragment(HeightInput const& input, Operation const& operation, Tiling const& tiling,
                               std::uint32_t reach) {
    auto const whole = operation(input, Tiling{.fragmentSize = 1024, .overlap = {}, .allowSeams = false, .band = {}});
    auto const tiled = operation(input, tiling);
    Differences differences;
    auto const nearBorder = [&](std::uint32_t c) { return c % 64 < reach || c % 64 >= 64 - reach; };
    for (std::uint32_t row = reach; row + reach < 140; ++row) {
        for (std::uint32_t x = reach; x + reach < 150; ++x) {
            auto const i = whole.index(x, row);
            bool const same = whole.values[i] == tiled.values[i] ||
                              (std::isnan(whole.values[i]) && std::isnan(tiled.values[i]));
            differences.interior += same ? 0 : 1;
            differences.nearFragmentBorders += !same && (nearBorder(x) || nearBorder(139 - row)) ? 1 : 0;
        }
    }
    return differences;
}

} // namespace

TEST(Seams, SobelAndSmoothingWithTheDefaultOverlapEqualOneFragmentAwayFromTheEdge) {
    testing_support::ConsoleCapture console;
    // 150 x 140 cells: fragments of 64 points leave borders inside the raster on both axes.
    cli_testing::TempFolder const folder;
    cli_testing::writeRaster(folder / "dem.tif", cli_testing::terrain(150, 140));
    auto const input = rastrum_host::readHeights(folder / "dem.tif", {});
    rastrum_host::RunContext const context;
    Operation const sobel = [&](HeightInput const& in, Tiling const& t) { return runSobel(in, 45.0, t, context); };
    Operation const bilateral = [&](HeightInput const& in, Tiling const& t) {
        return runSmooth(in, {.gaussian = false, .window = 5, .sigmaSpatial = 1.5, .sigmaRange = 20.0}, t, context);
    };
    Operation const gaussian = [&](HeightInput const& in, Tiling const& t) {
        return runSmooth(in, {.gaussian = true, .window = 7, .sigmaSpatial = 2.0, .sigmaRange = 1.0}, t, context);
    };
    struct Case {
        char const* name;
        Operation const& operation;
        std::uint32_t reach;
    };
    for (auto const& c : {Case{"sobel", sobel, 1}, Case{"bilateral", bilateral, 2}, Case{"gaussian", gaussian, 3}}) {
        auto const seamless = againstOneFragment(input, c.operation, Tiling{.fragmentSize = 64, .overlap = {}, .band = {}}, c.reach);
        EXPECT_EQ(seamless.interior, 0) << c.name;
        Tiling const seamy{.fragmentSize = 64, .overlap = 0, .allowSeams = true, .band = {}};
        auto const seams = againstOneFragment(input, c.operation, seamy, c.reach);
        EXPECT_GT(seams.nearFragmentBorders, 100) << c.name << ": without overlap the stencil is cut at fragment borders";
        EXPECT_EQ(seams.interior, seams.nearFragmentBorders) << c.name << ": and nowhere else";
    }
}

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <numbers>

#include "cli_support.hpp"
#include "operations/operations.hpp"
#include "support/capture.hpp"

using namespace rastrum_host;

namespace {

// A 12 x 10 plane z = ax * column + ay * row with one hole at (5, 4); cells
// of dx by dy, optionally in a CRS.
HeightInput plane(double ax, double ay, double dx, double dy, std::string crs = "") {
    HeightInput input{.source = "plane", .heights = {.width = 12, .height = 10, .bands = 1, .values = {}},
                      .cellTypes = {}, .georef = {{0.0, dx, 0.0, 0.0, 0.0, -dy}, true, std::move(crs)}};
    for (std::uint32_t row = 0; row < 10; ++row) {
        for (std::uint32_t column = 0; column < 12; ++column) {
            bool const hole = column == 5 && row == 4;
            input.heights.values.push_back(hole ? NAN : static_cast<float>(ax * column + ay * row));
            input.cellTypes.push_back(hole ? NodataCell : DataCell);
        }
    }
    return input;
}

bool besideHoleOrEdge(std::uint32_t column, std::uint32_t row) {
    return column == 0 || row == 0 || column == 11 || row == 9 || (column >= 4 && column <= 6 && row >= 3 && row <= 5);
}

double degrees(double rise) { return std::atan(rise) * 180.0 / std::numbers::pi; }

} // namespace

TEST(GradientRules, NodataWhereTheStencilTouchedAHoleOrLeftTheRasterElseTheExactSlope) {
    testing_support::ConsoleCapture const console;
    RunContext const context;
    Tiling const tiling{.fragmentSize = 6, .overlap = {}, .allowSeams = false, .band = {}};
    // Metres per degree at the equator on WGS 84: 111319.49 along a parallel, 110574.27 along a meridian.
    struct Case {
        char const* name;
        HeightInput input;
        SlopeOptions options;
        double expected;
    } const cases[] = {
        {"square cells, degrees", plane(0.0, 1.5, 2.0, 2.0), {}, degrees(0.75)},
        {"square cells, percent", plane(3.0, 0.0, 2.0, 2.0), {.percent = true, .scale = {}}, 150.0},
        {"cells of 2 x 4", plane(1.0, 2.0, 2.0, 4.0), {}, degrees(std::hypot(0.5, 0.5))},
        {"scale 10", plane(4.0, 3.0, 1.0, 1.0), {.percent = false, .scale = 10.0}, degrees(0.5)},
        {"geographic", plane(11.1319, 11.0574, 1e-4, 1e-4, cli_testing::epsgWkt(4326)), {}, degrees(std::sqrt(2.0))},
    };
    for (auto const& c : cases) {
        auto const slope = runSlope(c.input, c.options, tiling, context);
        auto const gradient = runSobel(c.input, 45.0, tiling, context);
        auto const partial = runSobel(c.input, 45.0, tiling, context, true);
        for (std::uint32_t row = 0; row < 10; ++row) {
            for (std::uint32_t column = 0; column < 12; ++column) {
                auto const i = slope.index(column, row);
                ASSERT_EQ(std::isnan(slope.values[i]), besideHoleOrEdge(column, row)) << c.name << column << ',' << row;
                EXPECT_EQ(std::isnan(gradient.values[i]), besideHoleOrEdge(column, row));
                EXPECT_EQ(std::isnan(partial.values[i]), column == 5 && row == 4) << "--keep-partial";
                if (!std::isnan(slope.values[i])) {
                    EXPECT_NEAR(slope.values[i], c.expected, 2e-4 * c.expected);
                }
            }
        }
    }
}

TEST(GradientRules, SmoothingLeavesNoValueWhereItsWindowLeavesTheRasterInBothModes) {
    testing_support::ConsoleCapture const console;
    auto const input = plane(1.0, 1.0, 1.0, 1.0);
    for (bool const gaussian : {false, true}) {
        for (bool const keep : {false, true}) {
            auto const smooth = runSmooth(input, {.gaussian = gaussian, .window = 5, .keepPartial = keep}, {}, {});
            for (std::uint32_t row = 0; row < 10; ++row) {
                for (std::uint32_t column = 0; column < 12; ++column) {
                    bool const band = column < 2 || row < 2 || column > 9 || row > 7;
                    EXPECT_EQ(std::isnan(smooth.values[smooth.index(column, row)]),
                              (column == 5 && row == 4) || (band && !keep))
                        << gaussian << keep << " at " << column << ", " << row;
                }
            }
        }
    }
}

TEST(GradientRules, InvertedOverwriteLeavesHolesUnlessAsked) {
    auto const input = plane(1.0, 0.0, 1.0, 1.0);
    for (bool const include : {false, true}) {
        OverwriteOptions const options{.ranges = {{0.0, 3.0}}, .invert = true, .includeHoles = include, .value = 4};
        auto const codes = runOverwrite(input, options, {}, {});
        EXPECT_EQ(codes.values[codes.index(5, 4)], include ? 4 : NodataCell);
        EXPECT_EQ(codes.values[codes.index(3, 4)], DataCell);
        EXPECT_EQ(codes.values[codes.index(4, 4)], 4);
    }
}

// Refusals of too small an overlap are in refusals_test.cpp.
TEST(GradientRules, CommandLineStatesThePlaneGradientLogsTheLibraryAndKeepsAResultWithoutPreview) {
    cli_testing::TempFolder const folder;
    auto const dem = folder / "dem.tif";
    cli_testing::writeRaster(dem, cli_testing::terrain(40, 30));
    auto empty = cli_testing::uniform(20, 10, 1, GDT_Float32, cli_testing::Nodata);
    empty.nodata = cli_testing::Nodata;
    cli_testing::writeRaster(folder / "empty.tif", empty);
    std::ofstream(folder / "run.log") << "earlier\n";
    struct Case {
        std::vector<std::string> arguments;
        std::vector<std::string> saying;
    } const cases[] = {
        {{"sobel", dem, folder / "b.tif", "--fragment-size", "8", "--overlap", "0", "--allow-seams"}, {}},
        // Cells of 2 m: a plane at 30 degrees rises 1.1547 m per cell.
        {{"sobel", dem, folder / "c.tif", "--slope", "30"}, {"sloping 30 degrees has a gradient of 36.9504"}},
        {{"sobel", folder / "empty.tif", folder / "d.tif", "--preview", folder / "d.png", "-q"},
         {"warning", "d.png", "no data", "kept"}},
        {{"sobel", dem, folder / "e.tif", "--log", folder / "run.log", "-q"}, {}},
    };
    for (auto const& c : cases) {
        auto const run = cli_testing::rastrum(c.arguments);
        EXPECT_EQ(run.status, 0) << run.err;
        for (auto const& text : c.saying) {
            EXPECT_NE(run.err.find(text), std::string::npos) << text << " in " << run.err;
        }
        EXPECT_EQ(run.err.find("Threshold value for"), std::string::npos) << "the library's line goes to --log only";
    }
    EXPECT_TRUE(std::filesystem::exists(folder / "d.tif"));
    EXPECT_FALSE(std::filesystem::exists(folder / "d.png"));
    auto const log = cli_testing::contents(folder / "run.log");
    EXPECT_TRUE(log.starts_with("earlier\n") && log.find("Threshold value for") != std::string::npos) << log;
}

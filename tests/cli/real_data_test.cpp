#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "cli_support.hpp"

using namespace cli_testing;

TEST(RealData, EveryElevationSampleRunsThroughInfoAndEveryHeightSubcommand) {
    if (!std::filesystem::is_directory(RASTRUM_DATA)) {
        GTEST_SKIP() << "the shared elevation samples are not at " << RASTRUM_DATA;
    }
    struct Sample {
        std::string file;
        std::vector<std::string> decoding; // how the heights are read
    };
    std::vector<Sample> samples{{std::string(RASTRUM_DATA) + "/fuji.png", {"--terrain-rgb"}}};
    for (auto const& file : elevationSamples()) {
        samples.push_back({file, {}});
    }
    for (auto const& sample : samples) {
        SCOPED_TRACE(sample.file);
        TempFolder folder;
        auto const raw = readRaster(sample.file);
        std::size_t const cells = static_cast<std::size_t>(raw.width) * static_cast<std::size_t>(raw.height);
        std::vector<bool> holes; // as GDAL sees them, independently of the host
        for (std::size_t i = 0; i < cells; ++i) {
            holes.push_back(raw.nodata && raw.values[i] == *raw.nodata);
        }
        auto const holeCount = std::ranges::count(holes, true);

        auto run = [&](std::vector<std::string> arguments) {
            arguments.insert(arguments.end(), sample.decoding.begin(), sample.decoding.end());
            arguments.insert(arguments.end(), {"--fragment-size", "64"});
            auto const result = rastrum(arguments);
            EXPECT_EQ(result.status, 0) << result.err;
            return result;
        };
        auto const info = run({"info", sample.file});
        EXPECT_NE(info.out.find("Holes:       " + std::to_string(holeCount) + " of " + std::to_string(cells)),
                  std::string::npos)
            << info.out;

        run({"mask", sample.file, folder / "mask.tif"});
        run({"sobel", sample.file, folder / "sobel.tif", "--keep-partial", "-q"});
        run({"smooth", sample.file, folder / "smooth.tif", "--keep-partial", "-q"});
        run({"smooth", sample.file, folder / "gauss.tif", "--gaussian", "--keep-partial", "-q"});
        std::vector<std::string> calc{"calc", "subtract", sample.file, sample.file, folder / "zero.tif"};
        for (auto const& option : sample.decoding) {
            calc.push_back("--second-" + option.substr(2)); // the second raster decoded as the first
        }
        run(calc);
        run({"overwrite", sample.file, folder / "codes.tif", "--range", "-1e9:1e9", "--value", "4"});
        run({"mesh", sample.file, folder / "surface.ply", "--preview", folder / "relief.png", "-q"});
        EXPECT_GT(std::filesystem::file_size(folder / "surface.ply"), 0u);
        auto const relief = readRaster(folder / "relief.png");
        EXPECT_TRUE(relief.width >= raw.width && relief.height > raw.height) << "the map and its legend";

        // Each result on the sample's grid, with the value expected at a hole and at a data cell (NaN: any but NaN).
        struct Expected {
            char const* file;
            double hole, data;
        };
        for (auto const& e : {Expected{"mask.tif", 0, 1}, Expected{"sobel.tif", NAN, NAN}, Expected{"smooth.tif", NAN, NAN},
                              Expected{"gauss.tif", NAN, NAN}, Expected{"zero.tif", NAN, 0}, Expected{"codes.tif", 1, 4}}) {
            auto const read = readRaster(folder / e.file);
            EXPECT_TRUE(read.width == raw.width && read.height == raw.height && read.transform == raw.transform) << e.file;
            std::size_t wrong = 0;
            for (std::size_t i = 0; i < cells; ++i) {
                double const v = read.values[i];
                wrong += (holes[i] ? sameValue(v, e.hole) : std::isnan(e.data) ? !std::isnan(v) : v == e.data) ? 0u : 1u;
            }
            EXPECT_EQ(wrong, 0u) << e.file;
        }
    }
}

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "cli_support.hpp"

using namespace cli_testing;

namespace {

struct Sample {
    std::string file;
    std::vector<std::string> decoding; // how the heights are read
};

std::vector<Sample> samples() {
    std::vector<Sample> found;
    std::error_code error;
    for (auto const& entry : std::filesystem::directory_iterator(RASTRUM_DATA, error)) {
        if (entry.path().extension() == ".asc") {
            found.push_back({entry.path().string(), {}});
        }
    }
    std::ranges::sort(found, {}, &Sample::file);
    found.push_back({std::string(RASTRUM_DATA) + "/fuji.png", {"--terrain-rgb"}});
    return found;
}

// Whether a cell is a hole as GDAL sees it, independently of the host.
std::vector<bool> holesOf(RasterRead const& raw) {
    std::vector<bool> holes;
    for (double v : raw.values) {
        holes.push_back(raw.nodata && v == *raw.nodata);
    }
    return holes;
}

} // namespace

TEST(RealData, EveryElevationSampleRunsThroughInfoAndEveryHeightSubcommand) {
    if (!std::filesystem::is_directory(RASTRUM_DATA)) {
        GTEST_SKIP() << "the shared elevation samples are not at " << RASTRUM_DATA;
    }
    for (auto const& sample : samples()) {
        SCOPED_TRACE(sample.file);
        ASSERT_TRUE(std::filesystem::exists(sample.file));
        TempFolder folder;
        auto const raw = readRaster(sample.file);
        auto const holes = holesOf(raw);
        std::size_t const cells = static_cast<std::size_t>(raw.width) * static_cast<std::size_t>(raw.height);
        std::size_t holeCount = 0;
        for (std::size_t i = 0; i < cells; ++i) {
            holeCount += holes[i] ? 1u : 0u;
        }

        auto run = [&](std::vector<std::string> arguments) {
            arguments.insert(arguments.end(), sample.decoding.begin(), sample.decoding.end());
            arguments.insert(arguments.end(), {"--fragment-size", "64"});
            auto const result = rastrum(arguments);
            EXPECT_EQ(result.status, 0) << result.err;
            return result;
        };
        auto output = [&](std::string const& name) {
            auto const read = readRaster(folder / name);
            EXPECT_EQ(read.width, raw.width);
            EXPECT_EQ(read.height, raw.height);
            EXPECT_EQ(read.hasTransform, raw.hasTransform);
            EXPECT_EQ(read.transform, raw.transform);
            return read;
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

        auto const mask = output("mask.tif");
        auto const sobel = output("sobel.tif");
        auto const smooth = output("smooth.tif");
        auto const gauss = output("gauss.tif");
        auto const zero = output("zero.tif");
        auto const codes = output("codes.tif");
        int wrong = 0;
        for (std::size_t i = 0; i < cells && wrong < 5; ++i) {
            bool const hole = holes[i];
            bool const ok = mask.values[i] == (hole ? 0.0 : 1.0) && std::isnan(sobel.values[i]) == hole &&
                            std::isnan(smooth.values[i]) == hole && std::isnan(gauss.values[i]) == hole &&
                            (hole ? std::isnan(zero.values[i]) : zero.values[i] == 0.0) &&
                            codes.values[i] == (hole ? 1.0 : 4.0);
            if (!ok) {
                ++wrong;
                ADD_FAILURE() << "cell " << i << (hole ? " (hole)" : " (data)") << ": mask " << mask.values[i]
                              << ", sobel " << sobel.values[i] << ", smooth " << smooth.values[i] << ", gaussian "
                              << gauss.values[i] << ", a - a " << zero.values[i] << ", code " << codes.values[i];
            }
        }
    }
}

#include <gtest/gtest.h>

#include <assimp/Importer.hpp>
#include <assimp/scene.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli_support.hpp"
#include "operations/operations.hpp"
#include "io/raster_reader.hpp"

using namespace cli_testing;

TEST(Demo, RunsEveryOperationIntoOneFolderWhoseRastersOpenWithGdal) {
    TempFolder folder;
    std::string const out = folder / "demo";
    std::vector<std::string> const arguments{"demo", out, "--width", "96", "--height", "64", "--fragment-size", "32",
                                             "-q"};
    auto const run = rastrum(arguments);
    ASSERT_EQ(run.status, 0) << run.err;

    auto const summary = contents(out + "/summary.md");
    EXPECT_EQ(run.out, summary);
    std::istringstream lines(summary);
    int rows = 0;
    for (std::string line; std::getline(lines, line);) {
        rows += line.starts_with("| ") && !line.starts_with("| Operation") ? 1 : 0;
    }
    EXPECT_EQ(rows, 8);

    for (auto const& entry : std::filesystem::directory_iterator(out)) {
        if (entry.path().extension() == ".tif") {
            SCOPED_TRACE(entry.path().filename().string());
            auto const raster = readRaster(entry.path().string());
            EXPECT_EQ(raster.width, 96);
            EXPECT_EQ(raster.height, 64);
            EXPECT_TRUE(raster.hasTransform);
        }
    }
    EXPECT_EQ(readRaster(out + "/deposits-density.tif").bands, 4);

    // The DEM of difference is the later survey minus the earlier one.
    auto const before = readRaster(out + "/survey-2019.tif");
    auto const after = readRaster(out + "/survey-2024.tif");
    auto const difference = readRaster(out + "/difference.tif");
    int wrong = 0;
    int changed = 0;
    for (std::size_t i = 0; i < difference.values.size(); ++i) {
        double const expected = static_cast<float>(static_cast<float>(after.values[i]) - static_cast<float>(before.values[i]));
        wrong += sameValue(difference.values[i], expected) ? 0 : 1;
        changed += std::abs(expected) > 0.25 ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(changed, 0);

    Assimp::Importer importer;
    aiScene const* mesh = importer.ReadFile(out + "/surface.ply", 0);
    ASSERT_NE(mesh, nullptr) << importer.GetErrorString();
    EXPECT_GT(mesh->mMeshes[0]->mNumFaces, 0u);

    auto again = arguments;
    auto const refused = rastrum(again);
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("--overwrite"), std::string::npos) << refused.err;
    again.push_back("--overwrite");
    EXPECT_EQ(rastrum(again).status, 0);
}

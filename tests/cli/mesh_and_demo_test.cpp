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
#include "terrain_fixture.hpp"

using namespace cli_testing;

TEST(MeshSubcommand, WritesTheHostSurfaceAsGltfWithItsSideFileAndAReliefPreview) {
    TempFolder folder;
    writeRaster(folder / "dem.tif", terrain(40, 30));
    auto const run = rastrum({"mesh", folder / "dem.tif", folder / "surface.gltf", "--preview", folder / "relief.png",
                              "--fragment-size", "16", "-q"});
    ASSERT_EQ(run.status, 0) << run.err;
    // The buffer file keeps the name the glTF file refers to; nothing temporary is left.
    EXPECT_EQ(folder.entries(), (std::vector<std::string>{"dem.tif", "relief.png", "surface.bin", "surface.gltf"}));

    auto const input = rastrum_host::readHeights(folder / "dem.tif", {});
    auto const expected = rastrum_host::computeSurface(input, {.fragmentSize = 16, .overlap = {}, .band = {}}, {});
    Assimp::Importer importer;
    aiScene const* scene = importer.ReadFile(folder / "surface.gltf", 0);
    ASSERT_NE(scene, nullptr) << importer.GetErrorString();
    ASSERT_EQ(scene->mNumMeshes, 1u);
    aiMesh const& mesh = *scene->mMeshes[0];
    ASSERT_EQ(mesh.mNumFaces, expected.triangles.size());
    // Vertices are stored relative to the root node's translation, and every
    // triangle (a, b, c) is written as (a, c, b) so that the surface faces up.
    aiMatrix4x4 const& root = scene->mRootNode->mTransformation;
    int far = 0;
    for (unsigned t = 0; t < mesh.mNumFaces; ++t) {
        auto const& [a, b, c] = expected.triangles[t];
        std::array<std::uint32_t, 3> const corners{a, c, b};
        for (unsigned k = 0; k < 3; ++k) {
            aiVector3D const v = root * mesh.mVertices[mesh.mFaces[t].mIndices[k]];
            for (unsigned axis = 0; axis < 3; ++axis) {
                far += std::abs(double{v[axis]} - expected.vertices[corners[k]][axis]) > 1e-3 ? 1 : 0;
            }
        }
    }
    EXPECT_EQ(far, 0);

    auto const picture = readRaster(folder / "relief.png");
    EXPECT_EQ(picture.width, 40);
    EXPECT_EQ(picture.height, 30);
}

namespace {

std::string contents(std::string const& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace

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

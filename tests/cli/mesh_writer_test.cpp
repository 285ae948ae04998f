#include "mesh/mesh_writer.hpp"

#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/errors.hpp"
#include "temp_dir.hpp"

namespace {

using Point = std::array<double, 3>;
using Triangle = std::array<std::uint32_t, 3>;
using Corners = std::array<Point, 3>;

// Two cells of a survey at UTM-sized coordinates with quarter-metre fractions,
// which single precision cannot hold at this magnitude. The triangles are wound
// as the library's triangulation winds them: (i,j), (i,j+1), (i+1,j+1) and
// (i,j), (i+1,j+1), (i+1,j).
struct Patch {
    std::vector<Point> vertices{{477000.25, 4412000.75, 1523.125}, {477002.25, 4412000.75, 1523.625},
                                {477004.25, 4412000.75, 1524.125}, {477000.25, 4412002.75, 1522.875},
                                {477002.25, 4412002.75, 1523.375}, {477004.25, 4412002.75, 1523.875}};
    std::vector<Triangle> triangles{{0, 3, 4}, {0, 4, 1}, {1, 4, 5}, {1, 5, 2}};
};

// The origin a PLY or OBJ file records in its text, read independently of the
// writer; glTF files carry theirs as the node translation instead.
Point recordedOrigin(std::filesystem::path const& path) {
    std::string const ext = path.extension().string();
    std::string const prefix = ext == ".ply" ? "comment origin " : ext == ".obj" ? "# origin " : "";
    std::ifstream file(path, std::ios::binary);
    std::string line;
    while (!prefix.empty() && std::getline(file, line) && line != "end_header") {
        if (line.rfind(prefix, 0) == 0) {
            std::istringstream values(line.substr(prefix.size()));
            Point origin{};
            values >> origin[0] >> origin[1] >> origin[2];
            return origin;
        }
    }
    EXPECT_TRUE(prefix.empty()) << path << " records no origin";
    return {};
}

// Triangles of the file in world coordinates: the stored (float) positions plus
// the origin, added in double precision. A node translation counts as origin.
std::vector<Corners> readBack(std::filesystem::path const& path) {
    Assimp::Importer importer;
    aiScene const* scene = importer.ReadFile(path.string(), 0);
    EXPECT_NE(scene, nullptr) << importer.GetErrorString();
    std::vector<Corners> triangles;
    if (scene == nullptr) {
        return triangles;
    }
    auto visit = [&](auto const& self, aiNode const* node, Point offset) -> void {
        aiMatrix4x4 const& m = node->mTransformation;
        offset = {offset[0] + m.a4, offset[1] + m.b4, offset[2] + m.c4};
        for (unsigned n = 0; n < node->mNumMeshes; ++n) {
            aiMesh const* mesh = scene->mMeshes[node->mMeshes[n]];
            for (unsigned f = 0; f < mesh->mNumFaces; ++f) {
                aiFace const& face = mesh->mFaces[f];
                EXPECT_EQ(face.mNumIndices, 3u);
                Corners corners{};
                for (unsigned k = 0; k < 3; ++k) {
                    aiVector3D const& v = mesh->mVertices[face.mIndices[k]];
                    corners[k] = {offset[0] + v.x, offset[1] + v.y, offset[2] + v.z};
                }
                triangles.push_back(corners);
            }
        }
        for (unsigned c = 0; c < node->mNumChildren; ++c) {
            self(self, node->mChildren[c], offset);
        }
    };
    visit(visit, scene->mRootNode, recordedOrigin(path));
    return triangles;
}

double upwardNormal(Corners const& t) {
    double const ux = t[1][0] - t[0][0], uy = t[1][1] - t[0][1];
    double const vx = t[2][0] - t[0][0], vy = t[2][1] - t[0][1];
    return ux * vy - uy * vx;
}

class MeshFormats : public ::testing::TestWithParam<std::string> {};

TEST_P(MeshFormats, RoundTripKeepsGeoreferencedPositionsAndFacesUp) {
    TempDir const dir;
    Patch const patch;
    std::filesystem::path const path = dir.path() / ("patch" + GetParam());

    rastrum_host::writeMesh(path, patch.vertices, patch.triangles);

    std::vector<Corners> const read = readBack(path);
    ASSERT_EQ(read.size(), patch.triangles.size());

    // The patch spans 4 m around the origin: float keeps that to a few 1e-7 m,
    // while floats of the raw coordinates would be off by up to 0.25 m.
    constexpr double tolerance = 1e-5;
    for (std::size_t t = 0; t < read.size(); ++t) {
        Triangle const& written = patch.triangles[t];
        Corners const expected{patch.vertices[written[0]], patch.vertices[written[2]], patch.vertices[written[1]]};
        for (std::size_t k = 0; k < 3; ++k) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                EXPECT_NEAR(read[t][k][axis], expected[k][axis], tolerance) << "triangle " << t << " corner " << k;
            }
        }
        EXPECT_GT(upwardNormal(read[t]), 0.0) << "triangle " << t << " faces down";
    }
}

INSTANTIATE_TEST_SUITE_P(MeshWriter, MeshFormats, ::testing::Values(".ply", ".obj", ".gltf", ".glb"),
                         [](auto const& test) { return test.param.substr(1); });

TEST(MeshWriter, RefusesWhatItCannotWrite) {
    TempDir const dir;
    Patch const patch;
    EXPECT_THROW(rastrum_host::writeMesh(dir.path() / "patch.stl", patch.vertices, patch.triangles),
                 rastrum_host::InputError);
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "patch.stl"));
    EXPECT_THROW(rastrum_host::writeMesh(dir.path() / "patch", patch.vertices, patch.triangles),
                 rastrum_host::InputError);
    rastrum_host::writeMesh(dir.path() / "PATCH.GLB", patch.vertices, patch.triangles);
    EXPECT_EQ(readBack(dir.path() / "PATCH.GLB").size(), patch.triangles.size());
    EXPECT_THROW(rastrum_host::writeMesh(dir.path() / "empty.ply", patch.vertices, {}), rastrum_host::InputError);
    for (char const* name : {"missing/patch.ply", "missing/patch.glb"}) {
        EXPECT_THROW(rastrum_host::writeMesh(dir.path() / name, patch.vertices, patch.triangles),
                     rastrum_host::InputError)
            << name;
    }
}

} // namespace

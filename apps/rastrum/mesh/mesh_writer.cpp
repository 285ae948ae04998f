#include "mesh/mesh_writer.hpp"

#include <assimp/Exporter.hpp>
#include <assimp/material.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "core/errors.hpp"

namespace rastrum_host {
namespace {

using Point = std::array<double, 3>;

enum class OriginRecord { PlyComment, ObjComment, RootTranslation };

struct Format {
    char const* assimpId;
    OriginRecord origin;
};

Format formatOf(std::filesystem::path const& path) {
    std::string extension = path.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".ply") {
        return {"plyb", OriginRecord::PlyComment};
    }
    if (extension == ".obj") {
        return {"objnomtl", OriginRecord::ObjComment};
    }
    if (extension == ".gltf") {
        return {"gltf2", OriginRecord::RootTranslation};
    }
    if (extension == ".glb") {
        return {"glb2", OriginRecord::RootTranslation};
    }
    throw InputError(path.string() + ": unknown mesh format \"" + extension +
                     "\" (use .ply, .obj, .gltf or .glb)");
}

// The bounding box minimum rounded down to whole units and then to a float, so
// that a root translation stored as float holds exactly the value subtracted.
Point originOf(std::span<Point const> vertices) {
    Point low{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
              std::numeric_limits<double>::infinity()};
    for (Point const& v : vertices) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], v[axis]);
        }
    }
    for (double& value : low) {
        value = static_cast<double>(static_cast<float>(std::floor(value)));
    }
    return low;
}

std::unique_ptr<aiScene> buildScene(std::span<Point const> vertices,
                                    std::span<std::array<std::uint32_t, 3> const> triangles,
                                    Point const& origin) {
    auto mesh = std::make_unique<aiMesh>();
    mesh->mPrimitiveTypes = aiPrimitiveType_TRIANGLE;
    mesh->mNumVertices = static_cast<unsigned>(vertices.size());
    mesh->mVertices = new aiVector3D[vertices.size()];
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        mesh->mVertices[i] = aiVector3D(static_cast<ai_real>(vertices[i][0] - origin[0]),
                                        static_cast<ai_real>(vertices[i][1] - origin[1]),
                                        static_cast<ai_real>(vertices[i][2] - origin[2]));
    }
    mesh->mNumFaces = static_cast<unsigned>(triangles.size());
    mesh->mFaces = new aiFace[triangles.size()];
    for (std::size_t t = 0; t < triangles.size(); ++t) {
        auto const& [a, b, c] = triangles[t];
        if (std::max({a, b, c}) >= vertices.size()) {
            throw std::out_of_range("writeMesh: triangle " + std::to_string(t) + " names a vertex past the end");
        }
        aiFace& face = mesh->mFaces[t];
        face.mNumIndices = 3;
        face.mIndices = new unsigned[3]{a, c, b};
    }

    auto scene = std::make_unique<aiScene>();
    scene->mNumMaterials = 1;
    scene->mMaterials = new aiMaterial*[1]{new aiMaterial()};
    scene->mNumMeshes = 1;
    scene->mMeshes = new aiMesh*[1]{mesh.release()};
    scene->mRootNode = new aiNode("terrain");
    scene->mRootNode->mNumMeshes = 1;
    scene->mRootNode->mMeshes = new unsigned[1]{0};
    return scene;
}

std::string originLine(char const* prefix, Point const& origin) {
    std::ostringstream line;
    line.precision(std::numeric_limits<double>::max_digits10);
    line << prefix << origin[0] << ' ' << origin[1] << ' ' << origin[2] << '\n';
    return line.str();
}

// Exports to memory, adds the origin line and writes the file.
void writeWithOriginLine(Assimp::Exporter& exporter, aiScene const& scene, Format const& format,
                         Point const& origin, std::filesystem::path const& path) {
    aiExportDataBlob const* blob = exporter.ExportToBlob(&scene, format.assimpId);
    if (blob == nullptr) {
        throw InputError(path.string() + ": cannot write the mesh: " + exporter.GetErrorString());
    }
    std::string_view const data(static_cast<char const*>(blob->data), blob->size);
    std::size_t insertAt = 0;
    std::string line;
    if (format.origin == OriginRecord::PlyComment) {
        // Comments belong after the "format" line of the header.
        insertAt = data.find('\n', data.find("\nformat ") + 1) + 1;
        line = originLine("comment origin ", origin);
    } else {
        line = originLine("# origin ", origin);
    }
    std::ofstream file(path, std::ios::binary);
    file.write(data.data(), static_cast<std::streamsize>(insertAt));
    file.write(line.data(), static_cast<std::streamsize>(line.size()));
    file.write(data.data() + insertAt, static_cast<std::streamsize>(data.size() - insertAt));
    file.close();
    if (!file) {
        throw InputError(path.string() + ": cannot write the mesh file");
    }
}

} // namespace

void requireMeshFormat(std::filesystem::path const& path) { formatOf(path); }

void writeMesh(std::filesystem::path const& path, std::span<Point const> vertices,
               std::span<std::array<std::uint32_t, 3> const> triangles) {
    Format const format = formatOf(path);
    if (vertices.empty() || triangles.empty()) {
        throw InputError(path.string() + ": the mesh is empty, there is nothing to write");
    }
    Point const origin = originOf(vertices);
    std::unique_ptr<aiScene> const scene = buildScene(vertices, triangles, origin);

    Assimp::Exporter exporter;
    if (format.origin != OriginRecord::RootTranslation) {
        writeWithOriginLine(exporter, *scene, format, origin, path);
        return;
    }
    aiMatrix4x4::Translation(aiVector3D(static_cast<ai_real>(origin[0]), static_cast<ai_real>(origin[1]),
                                        static_cast<ai_real>(origin[2])),
                             scene->mRootNode->mTransformation);
    if (exporter.Export(scene.get(), format.assimpId, path.string()) != aiReturn_SUCCESS) {
        throw InputError(path.string() + ": cannot write the mesh: " + exporter.GetErrorString());
    }
}

} // namespace rastrum_host

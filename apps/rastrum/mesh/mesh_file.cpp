#include "mesh/mesh_file.hpp"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstring>
#include <string>

#include "core/errors.hpp"
#include "mesh/mesh_frame.hpp"
#include "mesh/stream_file.hpp"

namespace rastrum_host {
namespace {

static_assert(std::endian::native == std::endian::little, "binary mesh formats are written as in memory");

std::string extensionOf(std::filesystem::path const& path) {
    std::string extension = path.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

std::filesystem::path scratchPath(std::filesystem::path const& path, char const* section) {
    return path.string() + section;
}

// A header, known only at the end, then the vertex and the face sections.
class SectionedFile : public MeshFile {
public:
    SectionedFile(std::filesystem::path path, MeshFrame const& frame)
        : path_(std::move(path)), frame_(frame), vertices_(scratchPath(path_, ".vertices"), true),
          faces_(scratchPath(path_, ".faces"), true) {}

protected:
    void join(std::string const& header) {
        StreamFile file(path_, false);
        file.write(header);
        file.append(vertices_);
        file.append(faces_);
        file.close();
    }

    std::filesystem::path path_;
    MeshFrame frame_;
    StreamFile vertices_;
    StreamFile faces_;
};

// Binary PLY: vertices with normals, then faces as lists of vertex_indices.
class PlyFile final : public SectionedFile {
public:
    using SectionedFile::SectionedFile;

    void vertex(MeshPoint const& position, MeshPoint const& normal) override {
        std::array<Float3, 2> const record{frame_.position(position), frame_.direction(normal)};
        vertices_.write(record.data(), sizeof record);
        ++vertexCount_;
    }
    void triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) override {
        std::array<unsigned char, 13> record{3};
        std::array<std::uint32_t, 3> const corners{a, b, c};
        std::memcpy(record.data() + 1, corners.data(), sizeof corners);
        faces_.write(record.data(), record.size());
        ++faceCount_;
    }
    void finish() override {
        join("ply\nformat binary_little_endian 1.0\ncomment origin " + originText(frame_.origin) +
                   "\ncomment axes " + frame_.axesText() + "\nelement vertex " + std::to_string(vertexCount_) +
                   "\nproperty float x\nproperty float y\nproperty float z\n"
                   "property float nx\nproperty float ny\nproperty float nz\n"
                   "element face " + std::to_string(faceCount_) +
                   "\nproperty list uchar uint vertex_indices\nend_header\n");
    }

private:
    std::uint64_t vertexCount_ = 0;
    std::uint64_t faceCount_ = 0;
};

// OBJ: a normal per vertex (vn i belongs to v i), faces numbered from 1.
class ObjFile final : public SectionedFile {
public:
    using SectionedFile::SectionedFile;

    void vertex(MeshPoint const& position, MeshPoint const& normal) override {
        line_ = "v";
        for (float const value : frame_.position(position)) {
            line_ += ' ' + numberText(value);
        }
        line_ += "\nvn";
        for (float const value : frame_.direction(normal)) {
            line_ += ' ' + numberText(value);
        }
        line_ += '\n';
        vertices_.write(line_);
    }
    void triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) override {
        line_ = "f";
        for (std::uint64_t const corner : {a, b, c}) {
            std::string const number = std::to_string(corner + 1);
            line_ += ' ' + number + "//" + number;
        }
        line_ += '\n';
        faces_.write(line_);
    }
    void finish() override {
        join("# origin " + originText(frame_.origin) + "\n# axes " + frame_.axesText() + "\n");
    }

private:
    std::string line_;
};

} // namespace

std::string originText(MeshPoint const& origin) {
    return numberText(origin[0]) + ' ' + numberText(origin[1]) + ' ' + numberText(origin[2]);
}

UpAxis meshUpAxis(std::filesystem::path const& path, std::optional<UpAxis> requested) {
    std::string const extension = extensionOf(path);
    if (extension == ".ply") {
        return requested.value_or(UpAxis::Z);
    }
    if (extension == ".obj") {
        return requested.value_or(UpAxis::Y);
    }
    if (extension == ".gltf" || extension == ".glb") {
        if (requested == UpAxis::Z) {
            throw InputError(path.string() + ": glTF defines +y as up; --up z is for .ply and .obj");
        }
        return UpAxis::Y;
    }
    throw InputError(path.string() + ": unknown mesh format \"" + extension + "\" (use .ply, .obj, .gltf or .glb)");
}

std::unique_ptr<MeshFile> openMeshFile(std::filesystem::path const& path, MeshPoint const& origin, UpAxis up) {
    MeshFrame const frame{origin, up};
    std::string const extension = extensionOf(path);
    if (extension == ".ply") {
        return std::make_unique<PlyFile>(path, frame);
    }
    if (extension == ".obj") {
        return std::make_unique<ObjFile>(path, frame);
    }
    return openGltf(path, frame, extension == ".glb");
}

} // namespace rastrum_host

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <limits>
#include <string>

#include "core/errors.hpp"
#include "mesh/mesh_frame.hpp"
#include "mesh/stream_file.hpp"

namespace rastrum_host {
namespace {

std::uint32_t constexpr ArrayBuffer = 34962;
std::uint32_t constexpr ElementArrayBuffer = 34963;
std::uint32_t constexpr FloatComponents = 5126;
std::uint32_t constexpr UnsignedIntComponents = 5125;

// A file name as a URI reference: every byte but the unreserved ones escaped.
std::string uriOf(std::string const& name) {
    std::string uri;
    for (char const character : name) {
        auto const c = static_cast<unsigned char>(character);
        if (std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_' || c == '~') {
            uri += static_cast<char>(c);
        } else {
            char constexpr hex[] = "0123456789ABCDEF";
            uri += {'%', hex[c >> 4], hex[c & 15]};
        }
    }
    return uri;
}

std::string vectorText(Float3 const& v) {
    return "[" + numberText(v[0]) + "," + numberText(v[1]) + "," + numberText(v[2]) + "]";
}

// One triangle mesh in one buffer of positions, normals and indices, in that
// order; no materials and no extensions.
class GltfFile final : public MeshFile {
public:
    GltfFile(std::filesystem::path path, MeshFrame const& frame, bool binary)
        : path_(std::move(path)), frame_(frame), binary_(binary), positions_(path_.string() + ".positions", true),
          normals_(path_.string() + ".normals", true), indices_(path_.string() + ".indices", true) {}

    void vertex(MeshPoint const& position, MeshPoint const& normal) override {
        Float3 const p = frame_.position(position);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low_[axis] = std::min(low_[axis], p[axis]);
            high_[axis] = std::max(high_[axis], p[axis]);
        }
        positions_.write(p.data(), sizeof p);
        Float3 const n = frame_.direction(normal);
        normals_.write(n.data(), sizeof n);
        ++vertexCount_;
    }
    void triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) override {
        std::array<std::uint32_t, 3> const corners{a, b, c};
        indices_.write(corners.data(), sizeof corners);
    }
    void finish() override {
        std::uint64_t const bytes = positions_.size() + normals_.size() + indices_.size();
        std::string json = description(bytes);
        if (!binary_) {
            StreamFile buffer(std::filesystem::path(path_).replace_extension(".bin"), false);
            appendBuffer(buffer);
            buffer.close();
            StreamFile file(path_, false);
            file.write(json);
            file.close();
            return;
        }
        json.resize((json.size() + 3) / 4 * 4, ' ');
        std::uint64_t const total = 12 + 8 + json.size() + 8 + bytes;
        if (total > std::numeric_limits<std::uint32_t>::max()) {
            throw InputError(path_.filename().string() + ": the surface needs more than the 4 GiB a .glb can hold; "
                                                         "write .gltf, .ply or .obj, or simplify with --max-error");
        }
        StreamFile file(path_, false);
        std::array<std::uint32_t, 5> const header{0x46546C67u, 2u, static_cast<std::uint32_t>(total),
                                                  static_cast<std::uint32_t>(json.size()), 0x4E4F534Au};
        file.write(header.data(), sizeof header);
        file.write(json);
        std::array<std::uint32_t, 2> const binary{static_cast<std::uint32_t>(bytes), 0x004E4942u};
        file.write(binary.data(), sizeof binary);
        appendBuffer(file);
        file.close();
    }

private:
    void appendBuffer(StreamFile& file) {
        file.append(positions_);
        file.append(normals_);
        file.append(indices_);
    }

    std::string description(std::uint64_t bytes) const {
        auto const count = std::to_string(vertexCount_);
        auto const positionBytes = std::to_string(positions_.size());
        auto const indexBytes = std::to_string(indices_.size());
        std::string const uri =
            binary_ ? "" : ",\"uri\":\"" + uriOf(std::filesystem::path(path_).replace_extension(".bin").filename()) + "\"";
        return "{\"asset\":{\"version\":\"2.0\",\"generator\":\"rastrum\"},\"scene\":0,\"scenes\":[{\"nodes\":[0]}],"
               "\"nodes\":[{\"name\":\"terrain\",\"mesh\":0,\"extras\":{\"origin\":[" +
               numberText(frame_.origin[0]) + "," + numberText(frame_.origin[1]) + "," + numberText(frame_.origin[2]) +
               "],\"originAxes\":\"x east, y north, z up\"}}],"
               "\"meshes\":[{\"primitives\":[{\"attributes\":{\"POSITION\":0,\"NORMAL\":1},\"indices\":2,\"mode\":4}]}],"
               "\"buffers\":[{\"byteLength\":" + std::to_string(bytes) + uri + "}],"
               "\"bufferViews\":["
               "{\"buffer\":0,\"byteOffset\":0,\"byteLength\":" + positionBytes + ",\"target\":" +
               std::to_string(ArrayBuffer) + "},"
               "{\"buffer\":0,\"byteOffset\":" + positionBytes + ",\"byteLength\":" + positionBytes + ",\"target\":" +
               std::to_string(ArrayBuffer) + "},"
               "{\"buffer\":0,\"byteOffset\":" + std::to_string(2 * positions_.size()) + ",\"byteLength\":" +
               indexBytes + ",\"target\":" + std::to_string(ElementArrayBuffer) + "}],"
               "\"accessors\":["
               "{\"bufferView\":0,\"componentType\":" + std::to_string(FloatComponents) + ",\"count\":" + count +
               ",\"type\":\"VEC3\",\"min\":" + vectorText(low_) + ",\"max\":" + vectorText(high_) + "},"
               "{\"bufferView\":1,\"componentType\":" + std::to_string(FloatComponents) + ",\"count\":" + count +
               ",\"type\":\"VEC3\"},"
               "{\"bufferView\":2,\"componentType\":" + std::to_string(UnsignedIntComponents) + ",\"count\":" +
               std::to_string(indices_.size() / 4) + ",\"type\":\"SCALAR\"}]}\n";
    }

    std::filesystem::path path_;
    MeshFrame frame_;
    bool binary_;
    StreamFile positions_;
    StreamFile normals_;
    StreamFile indices_;
    std::uint64_t vertexCount_ = 0;
    Float3 low_{std::numeric_limits<float>::max(), std::numeric_limits<float>::max(), std::numeric_limits<float>::max()};
    Float3 high_{std::numeric_limits<float>::lowest(), std::numeric_limits<float>::lowest(),
                 std::numeric_limits<float>::lowest()};
};

} // namespace

std::unique_ptr<MeshFile> openGltf(std::filesystem::path const& path, MeshFrame const& frame, bool binary) {
    return std::make_unique<GltfFile>(path, frame, binary);
}

} // namespace rastrum_host

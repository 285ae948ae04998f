#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "mesh/mesh_sink.hpp"

namespace rastrum_host {

enum class UpAxis { Y, Z };

// The axis that points up in a file: `requested` (--up) when given, otherwise
// the format's own convention: z for PLY, y for OBJ (as common importers
// assume) and for glTF (which defines +y as up, with north at -z). InputError
// naming the file for an unknown extension, or z up for glTF.
UpAxis meshUpAxis(std::filesystem::path const& path, std::optional<UpAxis> requested);

// A mesh file written as the surface arrives: PLY (binary), OBJ, or glTF
// (.gltf with its .bin, or .glb), by the extension. Sections whose sizes the
// format needs up front go to scratch files beside `path` and are joined by
// finish(); nothing whole is held in memory.
//
// Mesh formats store single-precision floats, which keep only about half a
// metre of a northing such as 4412000, so vertices are stored relative to
// `origin` (x east, y north, z up, exact in float), which each file records:
//   .ply  header line  "comment origin <x> <y> <z>"
//   .obj  first line   "# origin <x> <y> <z>"
//   glTF  the terrain node's extras {"origin": [x, y, z]}, not a translation:
//         viewers would otherwise place the model thousands of km away.
// With y up, a point (east, north, height) is stored as (east, height, -north).
// Every vertex has a unit normal and triangles face up.
class MeshFile : public MeshSink {
public:
    // Writes the file; InputError naming it when that fails.
    virtual void finish() = 0;
};

std::unique_ptr<MeshFile> openMeshFile(std::filesystem::path const& path, MeshPoint const& origin, UpAxis up);

} // namespace rastrum_host

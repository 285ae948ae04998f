#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <span>

namespace rastrum_host {

// InputError naming the file unless its extension names a mesh format writeMesh knows.
void requireMeshFormat(std::filesystem::path const& path);

// Writes a triangle mesh to PLY, OBJ or glTF (.gltf/.glb), chosen by the file's extension.
// Throws rastrum_host::InputError (see errors.hpp) on an unknown extension or a write failure.
//
// Precision: the mesh formats store single-precision floats, which keep only about half
// a metre of a georeferenced northing such as 4412000. The writer therefore subtracts an
// origin, the bounding box minimum rounded down to whole units, and stores the vertices
// relative to it. The origin is recorded per format so that the true coordinates are
// origin + vertex:
//   .ply  (binary)  header line  "comment origin <x> <y> <z>"
//   .obj            first line   "# origin <x> <y> <z>"
//   .gltf / .glb    the translation of the scene's root node, which viewers apply.
// The origin is chosen to be exact in single precision. Axes are written as they come
// (x east, y north, z up), also to glTF, whose viewers take +y as up.
//
// Winding: every triangle (a, b, c) is written as (a, c, b). The library's triangulation
// winds its triangles so that their normals point to -z for positive x/y spacing; reversed,
// the written surface faces up (+z), as viewers expect of terrain.
//
// An empty mesh is an InputError (there is nothing to write); a triangle naming a vertex
// past the end of `vertices` is a programming error (std::out_of_range).
void writeMesh(std::filesystem::path const& path, std::span<std::array<double, 3> const> vertices,
               std::span<std::array<std::uint32_t, 3> const> triangles);
} // namespace rastrum_host

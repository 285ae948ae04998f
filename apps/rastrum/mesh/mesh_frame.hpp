#pragma once

#include <array>
#include <charconv>
#include <filesystem>
#include <memory>
#include <string>

#include "mesh/mesh_file.hpp"

// Pieces the mesh file formats share.
namespace rastrum_host {

using Float3 = std::array<float, 3>;

// From georeferenced coordinates to a file's: relative to the origin, with y
// or z up. (east, height, -north) is a rotation, so windings keep facing up.
struct MeshFrame {
    MeshPoint origin;
    UpAxis up;

    Float3 axes(double east, double north, double height) const {
        return up == UpAxis::Z ? Float3{static_cast<float>(east), static_cast<float>(north), static_cast<float>(height)}
                               : Float3{static_cast<float>(east), static_cast<float>(height), static_cast<float>(-north)};
    }
    Float3 position(MeshPoint const& p) const { return axes(p[0] - origin[0], p[1] - origin[1], p[2] - origin[2]); }
    Float3 direction(MeshPoint const& n) const { return axes(n[0], n[1], n[2]); }
    char const* axesText() const {
        return up == UpAxis::Z ? "x east, y north, z up" : "x east, y up, z south";
    }
};

// The shortest text that reads back as the same number.
template <class Number>
std::string numberText(Number value) {
    std::array<char, 32> text{};
    auto const end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
}

std::string originText(MeshPoint const& origin);

std::unique_ptr<MeshFile> openGltf(std::filesystem::path const& path, MeshFrame const& frame, bool binary);

} // namespace rastrum_host

#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "Lumen/TypeRegistry.hpp"

namespace Velum {

// Vertices of a cell are named by their index in the grid's vertex list.
struct IJ_CellNamingConvention {};

// A D-dimensional simplex (edge, triangle, ...) given by its D + 1 vertex indices.
template <std::size_t D, class Index, class NamingConvention>
struct SimplexCell {
    std::array<Index, D + 1> vertices{};

    Index& operator[](std::size_t corner) { return vertices[corner]; }
    Index operator[](std::size_t corner) const { return vertices[corner]; }
    friend bool operator==(SimplexCell const&, SimplexCell const&) = default;
};

} // namespace Velum

template <std::size_t D, class Index>
struct Lumen::TypeName<Velum::SimplexCell<D, Index, Velum::IJ_CellNamingConvention>> {
    static std::string name() {
        return "SimplexCell<" + std::to_string(D) + "," + TypeName<Index>::name() + ",IJ>";
    }
};

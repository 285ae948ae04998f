#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "Lumen/TypeRegistry.hpp"

namespace Tensa {

// Points and vectors of three-dimensional physical space. They share a layout
// (three doubles) but are distinct types.
struct PhysicalSpace {
    template <class Tag>
    struct Coordinates {
        std::array<double, 3> components{};

        Coordinates() = default;
        Coordinates(double x, double y, double z) : components{x, y, z} {}

        double& operator[](std::size_t axis) { return components[axis]; }
        double operator[](std::size_t axis) const { return components[axis]; }
        friend bool operator==(Coordinates const&, Coordinates const&) = default;
    };

    using point = Coordinates<struct PointTag>;
    using vector = Coordinates<struct VectorTag>;
};

} // namespace Tensa

template <>
struct Lumen::TypeName<Tensa::PhysicalSpace::point> {
    static std::string name() { return "PhysicalSpace::point"; }
};

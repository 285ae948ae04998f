#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "Lumen/TypeRegistry.hpp"

namespace Tensa {

template <class T, std::size_t N>
struct FixedArray : std::array<T, N> {};

} // namespace Tensa

template <class T, std::size_t N>
struct Lumen::TypeName<Tensa::FixedArray<T, N>> {
    static std::string name() {
        return "FixedArray<" + TypeName<T>::name() + "," + std::to_string(N) + ">";
    }
};

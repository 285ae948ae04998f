#pragma once

#include "Lumen/InterfaceBase.hpp"

namespace Velum {

// Owner bases of the data model: Ownable<Item>::Container is the base of the
// objects that own items of that kind (a representation owns its fields).
template <class Item>
struct Ownable {
    class Container : public Lumen::InterfaceBase {};
};

} // namespace Velum

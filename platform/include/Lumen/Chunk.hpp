#pragma once

#include <cstddef>
#include <vector>

#include "Lumen/InterfaceBase.hpp"

namespace Lumen {

// A small array of values behind a generic handle, the unit in which grid
// attributes are stored. A typed view of a chunk handle (a StrongPtr<Chunk<T>>
// made from a StrongPtr<ChunkBase>) is empty when the element type differs.
class ChunkBase : public InterfaceBase {
public:
    virtual std::size_t size() const = 0;
};

template <class T>
class Chunk final : public ChunkBase {
public:
    explicit Chunk(std::size_t size) : values_(size) {}

    std::size_t size() const override { return values_.size(); }
    T& operator[](std::size_t i) { return values_[i]; }
    T const& operator[](std::size_t i) const { return values_[i]; }

private:
    std::vector<T> values_;
};

} // namespace Lumen

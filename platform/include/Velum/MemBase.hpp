#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Lumen/Cache.hpp"

namespace Velum {

// Base of every fragment's data: typed arrays and implicit arrays such as the
// positions of a uniform grid.
class MemBase : public Lumen::Cacheable {
public:
    virtual std::vector<std::uint64_t> extents() const = 0;
    std::size_t rank() const { return extents().size(); }
};

} // namespace Velum

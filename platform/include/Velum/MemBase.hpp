#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Tensa/BoundingBox.hpp"

namespace Velum {

// Base of every fragment's data: typed arrays and implicit arrays such as the
// positions of a uniform grid.
class MemBase : public Lumen::Cacheable {
public:
    virtual std::vector<std::uint64_t> extents() const = 0;

    // Widens a value range by the data's values: scalars along the first axis,
    // points along all three. Data of other kinds leave the range alone.
    virtual void widenRange(Tensa::BoundingBox&) const {}

    // A copy of the data with its own storage.
    virtual Lumen::StrongPtr<MemBase> clone() const = 0;
};

// The extents of a fragment's data, one per dimension.
inline std::vector<std::uint64_t> getSize(MemBase const& data) { return data.extents(); }

} // namespace Velum

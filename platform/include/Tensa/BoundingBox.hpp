#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>

#include "Lumen/InterfaceBase.hpp"
#include "Tensa/PhysicalSpace.hpp"

namespace Tensa {

// An axis-aligned box, empty until the first point widens it.
class BoundingBox : public Lumen::InterfaceBase {
public:
    PhysicalSpace::point const& min() const { return min_; }
    PhysicalSpace::point const& max() const { return max_; }
    bool empty() const { return min_[0] > max_[0]; }

    // Widens the box along one axis to take in a value.
    void include(std::size_t axis, double value) {
        min_[axis] = std::min(min_[axis], value);
        max_[axis] = std::max(max_[axis], value);
    }

private:
    static constexpr double inf = std::numeric_limits<double>::infinity();
    PhysicalSpace::point min_{inf, inf, inf};
    PhysicalSpace::point max_{-inf, -inf, -inf};
};

} // namespace Tensa

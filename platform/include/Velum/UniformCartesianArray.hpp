#pragma once

#include <cstdint>
#include <vector>

#include "Tensa/PhysicalSpace.hpp"
#include "Velum/MemBase.hpp"
#include "Velum/MultiIndex.hpp"

namespace Velum {

// The vertex positions of a uniform grid, held implicitly: the position of
// index (i, j, k) is origin + (i dx, j dy, k dz).
class UniformCartesianArray final : public MemBase {
public:
    UniformCartesianArray(Tensa::PhysicalSpace::point const& origin, Tensa::PhysicalSpace::vector const& spacing,
                          MultiIndex<3> const& size)
        : origin_(origin), spacing_(spacing), size_(size) {}

    Tensa::PhysicalSpace::point const& origin() const { return origin_; }
    Tensa::PhysicalSpace::vector const& spacing() const { return spacing_; }
    MultiIndex<3> const& Size() const { return size_; }

    Tensa::PhysicalSpace::point position(MultiIndex<3> const& index) const {
        Tensa::PhysicalSpace::point p;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            p[axis] = origin_[axis] + static_cast<double>(index[axis]) * spacing_[axis];
        }
        return p;
    }

    Lumen::StrongPtr<MemBase> clone() const override { return Lumen::makeStrong<UniformCartesianArray>(*this); }

    // The range of positions spans the first and the last point on each axis.
    void widenRange(Tensa::BoundingBox& range) const override {
        if (size_.product() == 0) {
            return;
        }
        for (std::size_t axis = 0; axis < 3; ++axis) {
            range.include(axis, origin_[axis]);
            range.include(axis, origin_[axis] + static_cast<double>(size_[axis] - 1) * spacing_[axis]);
        }
    }

    std::vector<std::uint64_t> extents() const override { return {size_[0], size_[1], size_[2]}; }
    std::size_t byteSize() const override { return sizeof(*this); }

private:
    Tensa::PhysicalSpace::point origin_;
    Tensa::PhysicalSpace::vector spacing_;
    MultiIndex<3> size_;
};

} // namespace Velum

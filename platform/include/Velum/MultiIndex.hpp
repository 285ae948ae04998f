#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>

namespace Velum {

// An index into an N-dimensional box. Boxes are stepped first index fastest,
// which is also the memory order of arrays.
template <std::size_t N>
class MultiIndex {
public:
    MultiIndex() = default;

    template <std::unsigned_integral... I>
        requires(sizeof...(I) == N)
    MultiIndex(I... components) : components_{static_cast<std::uint64_t>(components)...} {}

    std::uint64_t& operator[](std::size_t axis) { return components_[axis]; }
    std::uint64_t operator[](std::size_t axis) const { return components_[axis]; }

    // Steps to the next index inside a box of the given extents. Returns false
    // when the step wrapped around to all zeros, true otherwise.
    bool inc(MultiIndex const& extents) {
        for (std::size_t axis = 0; axis < N; ++axis) {
            if (++components_[axis] < extents[axis]) {
                return true;
            }
            components_[axis] = 0;
        }
        return false;
    }

    // Number of points in a box with these extents.
    std::uint64_t product() const {
        std::uint64_t n = 1;
        for (auto c : components_) {
            n *= c;
        }
        return n;
    }

    // Position of this index in the stepping order of a box of the given extents.
    std::uint64_t linear(MultiIndex const& extents) const {
        std::uint64_t offset = 0;
        for (std::size_t axis = N; axis-- > 0;) {
            offset = offset * extents[axis] + components_[axis];
        }
        return offset;
    }

    friend bool operator==(MultiIndex const&, MultiIndex const&) = default;

private:
    std::array<std::uint64_t, N> components_{};
};

} // namespace Velum

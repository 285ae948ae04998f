#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <string>
#include <utility>
#include <vector>

#include "Lumen/StrongPtr.hpp"
#include "Lumen/TypeRegistry.hpp"
#include "Tensa/PhysicalSpace.hpp"
#include "Velum/BlockCache.hpp"
#include "Velum/MemBase.hpp"
#include "Velum/MultiIndex.hpp"

namespace Velum {

class CreativeArrayBase;

// Asks a MemArray to leave its elements as they come from the allocator, for
// results that a kernel overwrites entirely: the zero-fill would be a wasted
// pass over memory.
struct Uninitialised {};
inline constexpr Uninitialised uninitialised{};

// An allocator that leaves elements constructed without arguments as they
// come from the block, so that neither arithmetic elements nor records of
// them with member initialisers (points, triangles) are zeroed, and keeps
// large blocks for reuse (see BlockCache.hpp).
template <class T>
struct DefaultInitAllocator : std::allocator<T> {
    template <class U>
    struct rebind {
        using other = DefaultInitAllocator<U>;
    };
    DefaultInitAllocator() = default;
    template <class U>
    DefaultInitAllocator(DefaultInitAllocator<U> const&) {}

    T* allocate(std::size_t n) {
        if (n > static_cast<std::size_t>(-1) / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(acquireBlock(n * sizeof(T)));
    }
    void deallocate(T* block, std::size_t n) noexcept { releaseBlock(block, n * sizeof(T)); }

    template <class U, class... Args>
    void construct(U* at, Args&&... args) {
        if constexpr (sizeof...(Args) == 0 && std::is_trivially_copyable_v<U> &&
                      std::is_trivially_destructible_v<U>) {
            // Such a type's objects begin to live with the block's storage:
            // the caller writes every element, a zero-fill first would be a
            // whole extra pass over a list of millions.
            (void)at;
        } else if constexpr (sizeof...(Args) == 0) {
            ::new (static_cast<void*>(at)) U;
        } else {
            ::new (static_cast<void*>(at)) U(std::forward<Args>(args)...);
        }
    }
};

// Element storage of a MemArray, for values built before the array.
template <class T>
using ArrayStorage = std::vector<T, DefaultInitAllocator<T>>;

// An N-dimensional array of T with contiguous storage, first index fastest.
// It remembers the creator it was made for.
template <std::size_t N, class T>
class MemArray final : public MemBase {
public:
    // Elements value-initialised (zero for arithmetic types).
    explicit MemArray(MultiIndex<N> const& size, Lumen::WeakPtr<CreativeArrayBase> creator = {})
        : size_(size), values_(size.product(), T{}), creator_(std::move(creator)) {}

    // Elements of trivially copyable types left indeterminate: the caller writes every one.
    MemArray(MultiIndex<N> const& size, Uninitialised, Lumen::WeakPtr<CreativeArrayBase> creator = {})
        : size_(size), values_(size.product()), creator_(std::move(creator)) {}

    // Takes the values in memory order; missing ones are value-initialised.
    MemArray(MultiIndex<N> const& size, std::vector<T>&& values)
        : size_(size), values_(std::make_move_iterator(values.begin()), std::make_move_iterator(values.end())) {
        values_.resize(size.product(), T{});
    }

    // Takes the storage as it is (size.product() elements), without a copy;
    // elements added to reach the size are left indeterminate.
    MemArray(MultiIndex<N> const& size, ArrayStorage<T>&& values) : size_(size), values_(std::move(values)) {
        values_.resize(size.product());
    }

    MultiIndex<N> const& Size() const { return size_; }
    std::uint64_t count() const { return values_.size(); }

    T* data() { return values_.data(); }
    T const* data() const { return values_.data(); }
    std::span<T> values() { return values_; }
    std::span<T const> values() const { return values_; }

    T& operator[](MultiIndex<N> const& index) { return values_[index.linear(size_)]; }
    T const& operator[](MultiIndex<N> const& index) const { return values_[index.linear(size_)]; }

    Lumen::WeakPtr<CreativeArrayBase> const& creator() const { return creator_; }

    std::vector<std::uint64_t> extents() const override {
        std::vector<std::uint64_t> e(N);
        for (std::size_t axis = 0; axis < N; ++axis) {
            e[axis] = size_[axis];
        }
        return e;
    }
    std::size_t byteSize() const override { return values_.size() * sizeof(T); }

    Lumen::StrongPtr<MemBase> clone() const override { return Lumen::makeStrong<MemArray>(*this); }

    void widenRange(Tensa::BoundingBox& range) const override {
        if constexpr (std::is_arithmetic_v<T>) {
            for (T const& v : values_) {
                range.include(0, static_cast<double>(v));
            }
        } else if constexpr (std::is_same_v<T, Tensa::PhysicalSpace::point>) {
            for (T const& p : values_) {
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    range.include(axis, p[axis]);
                }
            }
        }
    }

private:
    MultiIndex<N> size_;
    ArrayStorage<T> values_;
    Lumen::WeakPtr<CreativeArrayBase> creator_;
};

} // namespace Velum

template <std::size_t N, class T>
struct Lumen::TypeName<Velum::MemArray<N, T>> {
    static std::string name() {
        return "MemArray<" + std::to_string(N) + "," + TypeName<T>::name() + ">";
    }
};

#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <unordered_map>

#include "Lumen/InterfaceBase.hpp"
#include "Lumen/StrongPtr.hpp"

namespace Lumen {

// Anything a cache can hold.
class Cacheable : public InterfaceBase {
public:
    virtual std::size_t byteSize() const = 0;
};

// Holds stored data items under keys it hands out. The memory cache keeps its
// items until they are released; nothing is evicted.
class Cache {
public:
    using Key = std::uint64_t;

    Cache() = default;
    Cache(Cache const&) = delete;
    Cache& operator=(Cache const&) = delete;

    // The process-wide in-memory cache. It is never destroyed, so data released
    // during static destruction still finds it.
    static Cache& MemCache();

    Key store(StrongPtr<Cacheable> item);
    StrongPtr<Cacheable> fetch(Key key) const;
    void release(Key key);

    std::size_t itemCount() const;
    std::size_t byteSize() const;

private:
    mutable std::mutex mutex_;
    Key next_ = 1;
    std::unordered_map<Key, StrongPtr<Cacheable>> items_;
};

} // namespace Lumen

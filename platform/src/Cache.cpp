#include "Lumen/Cache.hpp"

#include <utility>

namespace Lumen {

Cache& Cache::MemCache() {
    static auto* const cache = new Cache;
    return *cache;
}

Cache::Key Cache::store(StrongPtr<Cacheable> item) {
    std::lock_guard const lock(mutex_);
    Key const key = next_++;
    items_.emplace(key, std::move(item));
    return key;
}

StrongPtr<Cacheable> Cache::fetch(Key key) const {
    std::lock_guard const lock(mutex_);
    auto const found = items_.find(key);
    return found == items_.end() ? nullptr : found->second;
}

void Cache::release(Key key) {
    StrongPtr<Cacheable> item;
    {
        std::lock_guard const lock(mutex_);
        auto const found = items_.find(key);
        if (found == items_.end()) {
            return;
        }
        item = std::move(found->second);
        items_.erase(found);
    }
    // The item is destroyed here, outside the lock.
}

std::size_t Cache::itemCount() const {
    std::lock_guard const lock(mutex_);
    return items_.size();
}

std::size_t Cache::byteSize() const {
    std::lock_guard const lock(mutex_);
    std::size_t bytes = 0;
    for (auto const& [key, item] : items_) {
        bytes += item->byteSize();
    }
    return bytes;
}

} // namespace Lumen

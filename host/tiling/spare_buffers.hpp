#pragma once

#include <any>
#include <cstddef>
#include <mutex>
#include <vector>

namespace rastrum_host {

// Result buffers a streamed run hands back once a band is written, so that
// the next band's results fill memory already mapped instead of faulting in,
// and zeroing, fresh pages for every band.
class SpareBuffers {
public:
    // An empty vector, with the capacity of a buffer given back if there is one of this type.
    template <class T>
    std::vector<T> take() {
        std::lock_guard const lock(mutex_);
        for (auto it = spare_.begin(); it != spare_.end(); ++it) {
            if (auto* buffer = std::any_cast<std::vector<T>>(&*it)) {
                std::vector<T> taken = std::move(*buffer);
                spare_.erase(it);
                taken.clear();
                return taken;
            }
        }
        return {};
    }

    // Kept while fewer are waiting than a streamed run holds results at
    // once: a run whose operation takes none back holds no more than that.
    template <class T>
    void give(std::vector<T> buffer) {
        std::lock_guard const lock(mutex_);
        if (spare_.size() < Kept) {
            spare_.emplace_back(std::move(buffer));
        }
    }

private:
    static constexpr std::size_t Kept = 2;

    std::mutex mutex_;
    std::vector<std::any> spare_;
};

} // namespace rastrum_host

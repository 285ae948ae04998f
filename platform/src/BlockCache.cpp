#include "Velum/BlockCache.hpp"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <utility>

namespace Velum {
namespace {

// From the size of a 128 x 128 float fragment up, blocks are kept: the
// results of fragmented grids are many blocks of this size, and a fresh
// block costs a page fault on every 4 KiB of it.
constexpr std::size_t LARGE_BLOCK = std::size_t{64} << 10;
constexpr std::size_t HUGE_PAGE = std::size_t{2} << 20;
// What may stay kept while unused: a few results of 4096 x 4096 doubles, or
// the vertices and triangles of one such surface.
constexpr std::size_t KEPT_BYTES = std::size_t{1} << 30;

// Blocks of a huge page or more are rounded to whole huge pages, smaller ones
// to 64 KiB, so that blocks of nearly the same size serve each other.
std::size_t alignmentOf(std::size_t bytes) { return bytes >= HUGE_PAGE ? HUGE_PAGE : LARGE_BLOCK; }
std::size_t rounded(std::size_t bytes) {
    auto const step = alignmentOf(bytes);
    return (bytes + step - 1) / step * step;
}

struct KeptBlocks {
    std::mutex lock;
    // Each block with the number of its release, so that the oldest goes first.
    std::multimap<std::size_t, std::pair<std::uint64_t, void*>> bySize;
    std::size_t total = 0;
    std::uint64_t releases = 0;
};

// Never destroyed: arrays held by other static objects are released during exit.
KeptBlocks& kept() {
    static auto* const blocks = new KeptBlocks;
    return *blocks;
}

} // namespace

void* acquireBlock(std::size_t bytes) {
    if (bytes < LARGE_BLOCK) {
        return ::operator new(bytes);
    }
    auto const size = rounded(bytes);
    {
        auto& blocks = kept();
        std::lock_guard const guard(blocks.lock);
        if (auto const found = blocks.bySize.find(size); found != blocks.bySize.end()) {
            void* const block = found->second.second;
            blocks.bySize.erase(found);
            blocks.total -= size;
            return block;
        }
    }
    void* const block = std::aligned_alloc(alignmentOf(size), size);
    if (!block) {
        throw std::bad_alloc();
    }
    if (size >= HUGE_PAGE) {
        // Only a hint: without transparent huge pages the block works all the same.
        (void)madvise(block, size, MADV_HUGEPAGE);
    }
    return block;
}

void releaseBlock(void* block, std::size_t bytes) noexcept {
    if (bytes < LARGE_BLOCK) {
        ::operator delete(block);
        return;
    }
    auto const size = rounded(bytes);
    auto& blocks = kept();
    std::lock_guard const guard(blocks.lock);
    // The blocks released longest ago make room first: those of a size no
    // longer asked for, rather than the ones the next call will want again.
    while (blocks.total + size > KEPT_BYTES && !blocks.bySize.empty()) {
        auto const oldest = std::min_element(blocks.bySize.begin(), blocks.bySize.end(), [](auto const& a, auto const& b) {
            return a.second.first < b.second.first;
        });
        std::free(oldest->second.second);
        blocks.total -= oldest->first;
        blocks.bySize.erase(oldest);
    }
    if (size > KEPT_BYTES) {
        std::free(block);
        return;
    }
    blocks.bySize.emplace(size, std::pair(++blocks.releases, block));
    blocks.total += size;
}

} // namespace Velum

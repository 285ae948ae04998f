#include "Velum/BlockCache.hpp"

#include <sys/mman.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <new>

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
    std::multimap<std::size_t, void*> bySize;
    std::size_t total = 0;
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
            void* const block = found->second;
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
    // The smallest kept blocks make room first.
    while (blocks.total + size > KEPT_BYTES && !blocks.bySize.empty()) {
        auto const oldest = blocks.bySize.begin();
        std::free(oldest->second);
        blocks.total -= oldest->first;
        blocks.bySize.erase(oldest);
    }
    if (size > KEPT_BYTES) {
        std::free(block);
        return;
    }
    blocks.bySize.emplace(size, block);
    blocks.total += size;
}

} // namespace Velum

#pragma once

#include <cstddef>

namespace Velum {

// Storage of array elements. Blocks of 64 KiB and more (those of 2 MiB and
// more aligned to huge pages) are kept when released (up to a bounded total) and
// handed out again for a request of the same rounded size: results made
// again and again then find their pages already mapped, instead of having
// the kernel fault in and zero every page anew. Smaller blocks go straight
// to operator new.
void* acquireBlock(std::size_t bytes);
void releaseBlock(void* block, std::size_t bytes) noexcept;

} // namespace Velum

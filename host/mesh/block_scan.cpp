#include "mesh/block_scan.hpp"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include <immintrin.h>

namespace rastrum_host {
namespace {

// A cell's key orders cells row by row, as the scans meet them.
constexpr std::int64_t RowKey = std::int64_t{1} << 32;
std::int64_t keyOf(std::int32_t x, std::int32_t y) { return y * RowKey + x; }

// Per cell of a block, row by row: its column and row in the block, and its key there.
alignas(64) constexpr std::array<double, 16> LaneX{0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3};
alignas(64) constexpr std::array<double, 16> LaneY{0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3};
alignas(64) constexpr std::array<std::int64_t, 16> LaneKey{
    0, 1, 2, 3, RowKey, RowKey + 1, RowKey + 2, RowKey + 3, 2 * RowKey, 2 * RowKey + 1, 2 * RowKey + 2, 2 * RowKey + 3,
    3 * RowKey, 3 * RowKey + 1, 3 * RowKey + 2, 3 * RowKey + 3};

} // namespace

// Each instruction set's kernel, in a namespace of its own.
namespace plain_lanes {
constexpr std::size_t Width = 2;
#include "mesh/block_kernel.hpp"
} // namespace plain_lanes
#pragma GCC push_options
#pragma GCC target("avx2")
namespace avx2_lanes {
constexpr std::size_t Width = 4;
#include "mesh/block_kernel.hpp"
} // namespace avx2_lanes
#pragma GCC pop_options
#pragma GCC push_options
#pragma GCC target("avx512f,avx512dq,avx512vl")
namespace avx512_lanes {
constexpr std::size_t Width = 8;
#include "mesh/block_kernel.hpp"
} // namespace avx512_lanes
#pragma GCC pop_options

namespace {

using WorstCell = void (*)(ScanGrid const&, std::array<GridPoint, 3> const&, FacePlane const&, FaceFinding&);
using WithinError = bool (*)(ScanGrid const&, std::array<GridPoint, 3> const&, FacePlane const&);

ScanPath widest() {
    static ScanPath const found = [] {
        __builtin_cpu_init();
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl")) {
            return ScanPath::Avx512Blocks;
        }
        return __builtin_cpu_supports("avx2") ? ScanPath::Avx2Blocks : ScanPath::Blocks;
    }();
    return found;
}

std::atomic<ScanPath> chosen{widest()};

} // namespace

ScanPath widestScanPath() { return widest(); }
ScanPath scanPath() { return chosen.load(std::memory_order_relaxed); }
void useScanPath(ScanPath path) { chosen.store(std::min(path, widest()), std::memory_order_relaxed); }

void worstCellByBlocks(ScanPath path, ScanGrid const& grid, std::array<GridPoint, 3> const& c,
                       FacePlane const& plane, FaceFinding& found) {
    static constexpr std::array<WorstCell, 3> kernels{plain_lanes::worstCell, avx2_lanes::worstCell, avx512_lanes::worstCell};
    kernels[static_cast<std::size_t>(path) - 1](grid, c, plane, found);
}

bool withinErrorByBlocks(ScanPath path, ScanGrid const& grid, std::array<GridPoint, 3> const& c,
                         FacePlane const& plane) {
    static constexpr std::array<WithinError, 3> kernels{plain_lanes::withinError, avx2_lanes::withinError,
                                                        avx512_lanes::withinError};
    return kernels[static_cast<std::size_t>(path) - 1](grid, c, plane);
}

} // namespace rastrum_host

#pragma once

#include <cstdint>
#include <string>

// The groups of benchmarks, registered size by size so that the generated
// data of one size serve all of them before the next size is made.
namespace bench {

// Bytes an operation reads plus writes per cell, for its memcpy bound.
namespace traffic {
inline constexpr unsigned SMOOTHING = 4 + 1 + 4;       // height, code -> height (also Sobel)
inline constexpr unsigned MASK = 1 + 4;                // code -> float
inline constexpr unsigned DIFFERENCE = 2 * (4 + 1) + 4 + 1; // two heights and codes -> height, code
inline constexpr unsigned TRIANGLES = 4 + 1 + 24 + 2 * 12;  // height, code -> vertex, two triangles
inline constexpr unsigned DENSITY = 2 + 4;             // marker -> float
inline constexpr unsigned OVERWRITE = 4 + 1;           // tested float -> mask byte
inline constexpr unsigned OVERWRITE_KERNEL = 8 + 1;    // the kernel tests doubles
} // namespace traffic

// The typed kernels on whole rasters (one thread).
void registerRasterKernels(std::uint64_t n);
void registerVolumeKernels(std::uint64_t n);

// The exported operations end to end, on one fragment and on cut layouts;
// `team` is the thread count of the operations that run fragments in parallel.
void registerRasterOperations(std::uint64_t n, int team);
void registerVolumeOperations(std::uint64_t n, int team);

// The OpenCV peers on `threads` threads; each is registered on first use and
// returns its name.
std::string scharrPeer(std::uint64_t n, int threads);
std::string gaussianPeer(std::uint64_t n, int threads);
std::string bilateralPeer(std::uint64_t n, int threads);
std::string wideBilateralPeer(std::uint64_t n, int threads);
std::string maskPeer(std::uint64_t n, int threads);
std::string differencePeer(std::uint64_t n, int threads);

} // namespace bench

#pragma once

#include <array>
#include <cstdint>

// The sizes and filter settings every benchmark of the suite shares.
namespace bench {

// Edge lengths of the square height rasters, in points.
inline constexpr std::array<std::uint64_t, 3> RASTER_SIZES{512, 2048, 4096};
// Edge lengths of the marker cubes for the iso density.
inline constexpr std::array<std::uint64_t, 2> VOLUME_SIZES{128, 256};
// Fragment edge of the cut layouts (the other layout is one fragment).
inline constexpr std::uint64_t RASTER_FRAGMENT = 256;
inline constexpr std::uint64_t VOLUME_FRAGMENT = 64;

// Smoothing window and widths: spatial in grid steps, range in metres of
// height (the terrain's noise is +-0.25 m, its ripples 2 m).
inline constexpr unsigned WINDOW = 5;
inline constexpr double SIGMA_SPATIAL = 1.5;
inline constexpr double SIGMA_RANGE = 2.0;
// The wide bilateral window, measured at the largest raster size only.
inline constexpr unsigned WIDE_WINDOW = 31;
inline constexpr double WIDE_SIGMA_SPATIAL = 5.0;

} // namespace bench

#pragma once

#include <array>
#include <cstdint>

namespace Rastrum {

// Edge length of the marker blob, in grid steps.
inline constexpr std::int32_t MARKER_KERNEL_SIZE = 3;

// A unit-variance 3D Gaussian over 3 x 3 x 3 grid steps, (2π)^(-3/2)
// normalised and deliberately not renormalised to sum 1; entry i + 3 j + 9 k.
std::array<float, 27> markerKernel();

// Density of the markers of one fragment of extents (nx, ny, nz), all at least
// 3: every non-zero marker at least one point inside the fragment stamps the
// kernel around it; the sum is scaled to a peak of 1 inside that band and the
// outer band of one point is 0.
void markerDensity(unsigned short const* markers, std::uint64_t nx, std::uint64_t ny, std::uint64_t nz,
                   float* density);

} // namespace Rastrum

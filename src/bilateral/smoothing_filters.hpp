#pragma once

#include <cstdint>
#include <vector>

#include "frame/cell_types.hpp"

namespace Rastrum {

// Edge length of the smoothing window for a requested size: at least 3, odd.
unsigned effectiveWindowSize(unsigned requested);

// The extents of one fragment, x fastest in memory.
struct FragmentShape {
    std::uint64_t nx;
    std::uint64_t ny;
    std::uint64_t nz;
};

// Edge-preserving bilateral filter of one fragment. Every cell that is not
// excluded becomes the weighted mean of its window (clipped at the fragment
// border, taken from layer 0), with weight exp(-0.5 (dx² + dy²) / σs² -
// (c - v)² 0.5 / σr²); an excluded neighbour contributes the centre value.
// Excluded cells keep their value. Integer types narrow after every step.
template <class T>
void bilateralFilter(T const* input, unsigned char const* cellTypes, FragmentShape shape, unsigned windowSize,
                     double sigmaSpatial, double sigmaRange, CellTypeTable const& excluded, T* result);

// The Gaussian kernel of an effective window size, normalised to sum 1,
// entry a + size * b for the offset (a - half, b - half).
std::vector<double> gaussianKernel(unsigned windowSize, double sigmaSpatial);

// Normalised Gaussian filter of one fragment. Only cells at least half a
// window from the x and y faces are smoothed; the band and excluded cells keep
// their values. A fragment narrower than the window is left as it is.
template <class T>
void gaussianFilter(T const* input, unsigned char const* cellTypes, FragmentShape shape, unsigned windowSize,
                    double sigmaSpatial, CellTypeTable const& excluded, T* result);

} // namespace Rastrum

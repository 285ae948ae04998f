#pragma once

#include <array>
#include <cstdint>

#include "frame/cell_types.hpp"

namespace Rastrum {

// Derivative kernels over a 3 x 3 neighbourhood, row = offset in x, column =
// offset in y. Weights 3, 10, 3 and no normalisation, by design.
struct SobelKernels {
    std::array<float, 9> acrossX{3, 10, 3, 0, 0, 0, -3, -10, -3};
    std::array<float, 9> acrossY{3, 0, -3, 10, 0, -10, 3, 0, -3};
};

// Gradient magnitude of one fragment of extents (nx, ny, nz), arrays in
// memory order (x fastest). Border rows and columns of every layer get 0; an
// interior point takes its neighbours in offset order and stops at the first
// one whose cell type is flagged, keeping the partial sums. Needs nx, ny >= 2.
void sobelMagnitude(float const* height, unsigned char const* cellTypes, std::uint64_t nx, std::uint64_t ny,
                    std::uint64_t nz, CellTypeTable const& flagged, float* magnitude);

// The magnitude the kernels give for a step of tan(slope) * dx next to a flat
// neighbourhood: the value shown to help choose a threshold.
float sobelSlopeThreshold(double slopeDegrees, double dx);

} // namespace Rastrum

#include "sobel/sobel_kernel.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Rastrum {
namespace {

SobelKernels const kernels;

// Products in single precision, sums in double.
struct GradientSums {
    double a = 0.0;
    double b = 0.0;

    void add(std::size_t offset, float value) {
        a += static_cast<double>(kernels.acrossX[offset] * value);
        b += static_cast<double>(kernels.acrossY[offset] * value);
    }
    double magnitude() const { return std::sqrt(a * a + b * b); }
};

// Sums over the neighbours (a + i, b + j, c) of one interior point, offsets
// stepped i fastest, up to the first flagged neighbour.
GradientSums stencil(float const* height, unsigned char const* cellTypes, std::uint64_t nx, std::uint64_t ny,
                     std::uint64_t a, std::uint64_t b, std::uint64_t c, CellTypeTable const& flagged) {
    GradientSums sums;
    for (std::uint64_t j = 0; j < 3; ++j) {
        for (std::uint64_t i = 0; i < 3; ++i) {
            auto const p = (c * ny + b + j) * nx + a + i;
            if (flagged[cellTypes[p]]) {
                return sums;
            }
            sums.add(i * 3 + j, height[p]);
        }
    }
    return sums;
}

} // namespace

void sobelMagnitude(float const* height, unsigned char const* cellTypes, std::uint64_t nx, std::uint64_t ny,
                    std::uint64_t nz, CellTypeTable const& flagged, float* magnitude) {
    std::fill_n(magnitude, nx * ny * nz, 0.0f);
    for (std::uint64_t c = 0; c < nz; ++c) {
        for (std::uint64_t b = 0; b + 2 < ny; ++b) {
            for (std::uint64_t a = 0; a + 2 < nx; ++a) {
                auto const sums = stencil(height, cellTypes, nx, ny, a, b, c, flagged);
                magnitude[(c * ny + b + 1) * nx + a + 1] = static_cast<float>(sums.magnitude());
            }
        }
    }
}

float sobelSlopeThreshold(double slopeDegrees, double dx) {
    auto const h = static_cast<float>(std::tan(slopeDegrees * 0.017453292519943295) * dx);
    // A 3 x 3 patch that is 0 except h in its last column (entries 2, 5, 8).
    std::array<float, 9> patch{};
    patch[2] = patch[5] = patch[8] = h;
    GradientSums sums;
    for (std::size_t j = 0; j < 3; ++j) {
        for (std::size_t i = 0; i < 3; ++i) {
            sums.add(i * 3 + j, patch[i * 3 + j]);
        }
    }
    return static_cast<float>(sums.magnitude());
}

} // namespace Rastrum

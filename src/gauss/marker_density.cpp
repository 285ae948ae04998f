#include "gauss/marker_density.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Rastrum {

std::array<float, 27> markerKernel() {
    std::array<float, 27> kernel{};
    double const c = (MARKER_KERNEL_SIZE - 1) * 0.5;
    for (int k = 0; k < MARKER_KERNEL_SIZE; ++k) {
        for (int j = 0; j < MARKER_KERNEL_SIZE; ++j) {
            for (int i = 0; i < MARKER_KERNEL_SIZE; ++i) {
                double const d2 = (i - c) * (i - c) + (j - c) * (j - c) + (k - c) * (k - c);
                kernel[static_cast<std::size_t>(i + 3 * j + 9 * k)] =
                    static_cast<float>(std::exp(-0.5 * d2) * 0.06349363593424097);
            }
        }
    }
    return kernel;
}

void markerDensity(unsigned short const* markers, std::uint64_t nx, std::uint64_t ny, std::uint64_t nz,
                   float* density) {
    auto const kernel = markerKernel();
    std::uint64_t const size = MARKER_KERNEL_SIZE;
    std::uint64_t const r = (size - 1) / 2;
    auto const at = [&](std::uint64_t x, std::uint64_t y, std::uint64_t z) { return (z * ny + y) * nx + x; };

    std::vector<float> sum(nx * ny * nz, 0.0f);
    double peak = 0.0;
    for (std::uint64_t z = 0; z < nz - 2 * r; ++z) {
        for (std::uint64_t y = 0; y < ny - 2 * r; ++y) {
            for (std::uint64_t x = 0; x < nx - 2 * r; ++x) {
                if (markers[at(x + r, y + r, z + r)] == 0) {
                    continue;
                }
                for (std::uint64_t k = 0; k < size; ++k) {
                    for (std::uint64_t j = 0; j < size; ++j) {
                        for (std::uint64_t i = 0; i < size; ++i) {
                            float& entry = sum[at(x + i, y + j, z + k)];
                            entry += kernel[i + 3 * j + 9 * k];
                            peak = std::max(peak, static_cast<double>(entry));
                        }
                    }
                }
            }
        }
    }

    std::fill_n(density, nx * ny * nz, 0.0f);
    for (std::uint64_t z = 0; z < nz - 2 * r; ++z) {
        for (std::uint64_t y = 0; y < ny - 2 * r; ++y) {
            for (std::uint64_t x = 0; x < nx - 2 * r; ++x) {
                auto const q = at(x + r, y + r, z + r);
                if (sum[q] > 0) {
                    density[q] = static_cast<float>(static_cast<double>(sum[q]) * (1.0 / peak));
                }
            }
        }
    }
}

} // namespace Rastrum

#include "gauss/marker_density.hpp"

#include <algorithm>
#include <cmath>
#include <mutex>

#include "frame/team_split.hpp"

namespace Rastrum {
namespace {

// Cells handed to a thread at least.
constexpr std::uint64_t CELLS_PER_GRAIN = 16384;

} // namespace

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
    auto const grain = std::max<std::uint64_t>(1, CELLS_PER_GRAIN / nx);
    // A marker whose blob starts at m (its centre m + r at least r inside the
    // fragment) adds kernel[o] to the entry m + o. Each entry gathers those
    // additions in the order of the markers, ascending m, which is descending
    // o; an absent marker adds 0, which changes no sum. The rows of entries
    // are independent, so the team shares them.
    double peak = 0.0;
    std::mutex peakLock;
    frame::splitAcrossTeam(ny * nz, grain, [&](std::uint64_t begin, std::uint64_t end) {
        float rowsPeak = 0.0f;
        for (std::uint64_t row = begin; row < end; ++row) {
            auto const y = row % ny;
            auto const z = row / ny;
            float* sum = density + row * nx;
            std::fill_n(sum, nx, 0.0f);
            for (std::uint64_t k = size; k-- > 0;) {
                if (z < k || z - k >= nz - 2 * r) {
                    continue;
                }
                for (std::uint64_t j = size; j-- > 0;) {
                    if (y < j || y - j >= ny - 2 * r) {
                        continue;
                    }
                    unsigned short const* centres = markers + ((z - k + r) * ny + (y - j + r)) * nx + r;
                    for (std::uint64_t i = size; i-- > 0;) {
                        float const weight = kernel[i + 3 * j + 9 * k];
                        for (std::uint64_t x = i; x < nx - 2 * r + i; ++x) {
                            sum[x] += centres[x - i] != 0 ? weight : 0.0f;
                        }
                    }
                }
            }
            // Weights are positive: an entry's last sum is its largest.
            for (std::uint64_t x = 0; x < nx; ++x) {
                rowsPeak = std::max(rowsPeak, sum[x]);
            }
        }
        std::lock_guard const guard(peakLock);
        peak = std::max(peak, static_cast<double>(rowsPeak));
    });

    // Scaled to the peak inside the band of width r, 0 in it.
    frame::splitAcrossTeam(ny * nz, grain, [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t row = begin; row < end; ++row) {
            auto const y = row % ny;
            auto const z = row / ny;
            float* value = density + row * nx;
            if (y < r || y >= ny - r || z < r || z >= nz - r) {
                std::fill_n(value, nx, 0.0f);
                continue;
            }
            for (std::uint64_t x = 0; x < nx; ++x) {
                bool const inside = x >= r && x < nx - r && value[x] > 0;
                value[x] = inside ? static_cast<float>(static_cast<double>(value[x]) * (1.0 / peak)) : 0.0f;
            }
        }
    });
}

} // namespace Rastrum

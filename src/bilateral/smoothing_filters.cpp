#include "bilateral/smoothing_filters.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>

namespace Rastrum {
namespace {

// Stores a double into the element type: unchanged for floating types; for
// integer types truncated toward zero and wrapped modulo 2^64, then into the
// type's range (a NaN or infinity becomes 0), so that running sums narrow the
// same way on every platform.
template <class T>
T narrow(double value) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(value);
    } else {
        if (!std::isfinite(value)) {
            return T(0);
        }
        double const whole = std::trunc(value);
        auto const magnitude = static_cast<std::uint64_t>(std::fmod(std::abs(whole), 18446744073709551616.0));
        return static_cast<T>(whole < 0 ? 0 - magnitude : magnitude);
    }
}

// c - v in the element type's arithmetic: a signed int for the narrow types
// and int, the type's own (wrapping) for 32- and 64-bit unsigned.
template <class T>
double rangeDifference(T c, T v) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<double>(c - v);
    } else if constexpr (std::is_same_v<T, unsigned int> || std::is_same_v<T, unsigned long long>) {
        return static_cast<double>(static_cast<T>(c - v));
    } else {
        return static_cast<double>(static_cast<int>(static_cast<std::int64_t>(c) - static_cast<std::int64_t>(v)));
    }
}

} // namespace

unsigned effectiveWindowSize(unsigned requested) {
    unsigned const size = std::max(requested, 3u);
    return size % 2 == 0 ? size + 1 : size;
}

template <class T>
void bilateralFilter(T const* input, unsigned char const* cellTypes, FragmentShape shape, unsigned windowSize,
                     double sigmaSpatial, double sigmaRange, CellTypeTable const& excluded, T* result) {
    auto const [nx, ny, nz] = shape;
    std::copy_n(input, nx * ny * nz, result);
    auto const half = static_cast<std::int64_t>(effectiveWindowSize(windowSize) - 1) / 2;
    auto const width = 2 * half + 1;
    // The spatial part of the exponent per window offset, as the weight
    // formula computes it.
    std::vector<double> spatial(static_cast<std::size_t>(width * width));
    for (std::int64_t di = -half; di <= half; ++di) {
        for (std::int64_t dj = -half; dj <= half; ++dj) {
            auto const dx = static_cast<double>(di);
            auto const dy = static_cast<double>(dj);
            spatial[static_cast<std::size_t>((di + half) * width + dj + half)] =
                -0.5 * (dx * dx + dy * dy) / (sigmaSpatial * sigmaSpatial);
        }
    }
    auto const sx = static_cast<std::int64_t>(nx);
    auto const sy = static_cast<std::int64_t>(ny);
    for (std::uint64_t k = 0; k < nz; ++k) {
        for (std::int64_t j = 0; j < sy; ++j) {
            for (std::int64_t i = 0; i < sx; ++i) {
                auto const at = static_cast<std::size_t>((static_cast<std::int64_t>(k) * sy + j) * sx + i);
                if (excluded[cellTypes[at]]) {
                    continue;
                }
                T const c = input[at];
                T sum = T(0);
                double weights = 0.0;
                for (std::int64_t di = std::max(-half, -i); di <= std::min(half, sx - 1 - i); ++di) {
                    for (std::int64_t dj = std::max(-half, -j); dj <= std::min(half, sy - 1 - j); ++dj) {
                        auto const n = static_cast<std::size_t>((j + dj) * sx + i + di);
                        T const v = excluded[cellTypes[n]] ? c : input[n];
                        double const d = rangeDifference(c, v);
                        double const w = std::exp(spatial[static_cast<std::size_t>((di + half) * width + dj + half)] -
                                                  d * d * 0.5 / (sigmaRange * sigmaRange));
                        weights += w;
                        sum = narrow<T>(static_cast<double>(sum) + static_cast<double>(v) * w);
                    }
                }
                result[at] = narrow<T>(static_cast<double>(sum) / weights);
            }
        }
    }
}

std::vector<double> gaussianKernel(unsigned windowSize, double sigmaSpatial) {
    auto const size = effectiveWindowSize(windowSize);
    auto const half = static_cast<double>((size - 1) / 2);
    double const variance = sigmaSpatial * sigmaSpatial;
    std::vector<double> kernel(static_cast<std::size_t>(size) * size);
    for (unsigned b = 0; b < size; ++b) {
        for (unsigned a = 0; a < size; ++a) {
            double const da = static_cast<double>(a) - half;
            double const db = static_cast<double>(b) - half;
            kernel[a + size * b] = 0.15915494309189535 / variance * std::exp(-0.5 * (da * da + db * db) / variance);
        }
    }
    double sum = 0.0;
    for (double w : kernel) {
        sum += w;
    }
    double const scale = 1.0 / sum;
    for (double& w : kernel) {
        w *= scale;
    }
    return kernel;
}

template <class T>
void gaussianFilter(T const* input, unsigned char const* cellTypes, FragmentShape shape, unsigned windowSize,
                    double sigmaSpatial, CellTypeTable const& excluded, T* result) {
    auto const [nx, ny, nz] = shape;
    std::copy_n(input, nx * ny * nz, result);
    auto const size = effectiveWindowSize(windowSize);
    std::uint64_t const half = (size - 1) / 2;
    if (nx < 2 * half || ny < 2 * half) {
        return;
    }
    auto const kernel = gaussianKernel(windowSize, sigmaSpatial);
    auto const index = [&](std::uint64_t i, std::uint64_t j, std::uint64_t k) { return (k * ny + j) * nx + i; };
    for (std::uint64_t k = 0; k < nz; ++k) {
        for (std::uint64_t j = 0; j < ny - 2 * half; ++j) {
            for (std::uint64_t i = 0; i < nx - 2 * half; ++i) {
                auto const centre = index(i + half, j + half, k);
                if (excluded[cellTypes[centre]]) {
                    continue;
                }
                T sum = T(0);
                for (std::uint64_t b = 0; b < size; ++b) {
                    for (std::uint64_t a = 0; a < size; ++a) {
                        auto const n = index(i + a, j + b, k);
                        T const v = excluded[cellTypes[n]] ? input[centre] : input[n];
                        sum = narrow<T>(static_cast<double>(sum) + static_cast<double>(v) * kernel[a + size * b]);
                    }
                }
                result[centre] = sum;
            }
        }
    }
}

#define RASTRUM_SMOOTHING_FILTERS(T)                                                                               \
    template void bilateralFilter<T>(T const*, unsigned char const*, FragmentShape, unsigned, double, double,     \
                                     CellTypeTable const&, T*);                                                    \
    template void gaussianFilter<T>(T const*, unsigned char const*, FragmentShape, unsigned, double,              \
                                    CellTypeTable const&, T*);
RASTRUM_SMOOTHING_FILTERS(float)
RASTRUM_SMOOTHING_FILTERS(double)
RASTRUM_SMOOTHING_FILTERS(unsigned char)
RASTRUM_SMOOTHING_FILTERS(unsigned short)
RASTRUM_SMOOTHING_FILTERS(unsigned int)
RASTRUM_SMOOTHING_FILTERS(unsigned long long)
RASTRUM_SMOOTHING_FILTERS(int)
#undef RASTRUM_SMOOTHING_FILTERS

} // namespace Rastrum

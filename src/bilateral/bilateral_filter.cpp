#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>

#include "bilateral/bilateral_lanes.hpp"
#include "bilateral/narrowing.hpp"
#include "bilateral/smoothing_filters.hpp"
#include "frame/team_split.hpp"

namespace Rastrum {
namespace {

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
    if constexpr (std::is_floating_point_v<T>) {
        if (bilateralLanes(input, cellTypes, shape, half, spatial, sigmaRange, excluded, result)) {
            return;
        }
    }
    std::copy_n(input, nx * ny * nz, result);
    auto const sx = static_cast<std::int64_t>(nx);
    auto const sy = static_cast<std::int64_t>(ny);
    auto const smoothRows = [&](std::uint64_t k, std::int64_t firstRow, std::int64_t endRow) {
        for (std::int64_t j = firstRow; j < endRow; ++j) {
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
    };
    for (std::uint64_t k = 0; k < nz; ++k) {
        frame::splitAcrossTeam(ny, 4, [&](std::uint64_t first, std::uint64_t end) {
            smoothRows(k, static_cast<std::int64_t>(first), static_cast<std::int64_t>(end));
        });
    }
}

#define RASTRUM_BILATERAL_FILTER(T)                                                                               \
    template void bilateralFilter<T>(T const*, unsigned char const*, FragmentShape, unsigned, double, double,     \
                                     CellTypeTable const&, T*);
RASTRUM_BILATERAL_FILTER(float)
RASTRUM_BILATERAL_FILTER(double)
RASTRUM_BILATERAL_FILTER(unsigned char)
RASTRUM_BILATERAL_FILTER(unsigned short)
RASTRUM_BILATERAL_FILTER(unsigned int)
RASTRUM_BILATERAL_FILTER(unsigned long long)
RASTRUM_BILATERAL_FILTER(int)
#undef RASTRUM_BILATERAL_FILTER

} // namespace Rastrum

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <vector>

#include "bilateral/group_blocks.hpp"
#include "bilateral/narrowing.hpp"
#include "bilateral/smoothing_filters.hpp"
#include "frame/team_split.hpp"
#include "simd/lanes.hpp"

namespace Rastrum {
namespace {

// One layer of a fragment and what the filter needs to know about it.
template <class T>
struct Plane {
    T const* input;
    unsigned char const* cellTypes;
    std::uint64_t nx;
    std::uint64_t ny;
    T* result;
};

struct Window {
    std::vector<double> const& kernel;
    std::uint64_t size;
    std::uint64_t half;
};

// The smoothed value of the centre (i + half, j + half): the running sum over
// the window, y outer and x inner, narrowed to T after every step; an excluded
// neighbour contributes the centre value.
template <class T>
T smoothedCentre(Plane<T> const& plane, Window const& window, CellTypeTable const& excluded, std::uint64_t i,
                 std::uint64_t j) {
    auto const centre = (j + window.half) * plane.nx + i + window.half;
    T sum = T(0);
    for (std::uint64_t b = 0; b < window.size; ++b) {
        for (std::uint64_t a = 0; a < window.size; ++a) {
            auto const n = (j + b) * plane.nx + i + a;
            T const v = excluded[plane.cellTypes[n]] ? plane.input[centre] : plane.input[n];
            sum = narrow<T>(static_cast<double>(sum) + static_cast<double>(v) * window.kernel[a + window.size * b]);
        }
    }
    return sum;
}

// Cells of rows [first, end) of a layer that keep their value: the band of
// half a window along the x and y faces.
template <class T>
void copyBand(Plane<T> const& plane, std::uint64_t half, std::uint64_t first, std::uint64_t end) {
    for (std::uint64_t j = first; j < end; ++j) {
        auto const row = j * plane.nx;
        if (j < half || j + half >= plane.ny) {
            std::copy_n(plane.input + row, plane.nx, plane.result + row);
            continue;
        }
        auto const right = row + plane.nx - half;
        for (std::uint64_t i = 0; i < half; ++i) {
            plane.result[row + i] = plane.input[row + i];
            plane.result[right + i] = plane.input[right + i];
        }
    }
}

// One layer row by row for floating T. Each window row is kept as doubles and
// exclusion masks in a ring while the window slides down; groups of W centres
// are summed lane by lane, every lane rounding to T after every step as the
// scalar sum does.
template <class T, int W>
struct RingSmoother {
    using Doubles = typename simd::Lanes<W>::Doubles;
    using Masks = typename simd::Lanes<W>::Masks;
    using Floats = typename simd::Lanes<W>::Floats;
    static constexpr std::uint64_t LANES = W;

    Plane<T> const& plane;
    Window const& window;
    simd::CodeSet const& codes;
    std::vector<double> values;
    std::vector<long long> flags;

    RingSmoother(Plane<T> const& p, Window const& w, simd::CodeSet const& c)
        : plane(p), window(w), codes(c), values(w.size * p.nx), flags(w.size * p.nx) {}

    std::uint64_t slot(std::uint64_t row) const { return (row % window.size) * plane.nx; }

    [[gnu::always_inline]] void fillRow(std::uint64_t row) {
        std::copy_n(plane.input + row * plane.nx, plane.nx, values.data() + slot(row));
        simd::markMembers<W>(codes, plane.cellTypes + row * plane.nx, plane.nx, flags.data() + slot(row));
    }

    // G groups of W centres from column i of the window row j, side by side so
    // that their rounding chains overlap.
    template <std::size_t G>
    [[gnu::always_inline]] void smoothGroups(std::uint64_t j, std::uint64_t i) {
        auto const size = window.size;
        auto const centreAt = slot(j + window.half) + window.half + i;
        Doubles sum[G] = {};
        Doubles centre[G];
#pragma GCC unroll 8
        for (std::size_t g = 0; g < G; ++g) {
            simd::load(centre[g], values.data() + centreAt + g * LANES);
        }
        for (std::uint64_t b = 0; b < size; ++b) {
            auto const rowAt = slot(j + b) + i;
            for (std::uint64_t a = 0; a < size; ++a) {
                double const k = window.kernel[a + size * b];
#pragma GCC unroll 8
                for (std::size_t g = 0; g < G; ++g) {
                    Doubles v;
                    Masks hole;
                    simd::load(v, values.data() + rowAt + a + g * LANES);
                    simd::load(hole, flags.data() + rowAt + a + g * LANES);
                    v = hole ? centre[g] : v;
                    sum[g] = sum[g] + v * k;
                    if constexpr (std::is_same_v<T, float>) {
                        simd::roundToFloat<W>(sum[g]);
                    }
                }
            }
        }
#pragma GCC unroll 8
        for (std::size_t g = 0; g < G; ++g) {
            Masks hole;
            simd::load(hole, flags.data() + centreAt + g * LANES);
            Doubles const kept = hole ? centre[g] : sum[g];
            simd::storeAs<T, W>(plane.result + (j + window.half) * plane.nx + window.half + i + g * LANES, kept);
        }
    }

    // The window rows j in [first, end), centred on rows j + half.
    [[gnu::always_inline]] void run(CellTypeTable const& excluded, std::uint64_t first, std::uint64_t end) {
        constexpr std::size_t GROUPS = 8;
        auto const interior = plane.nx - 2 * window.half;
        for (std::uint64_t j = first; j + 1 < first + window.size; ++j) {
            fillRow(j);
        }
        for (std::uint64_t j = first; j < end; ++j) {
            fillRow(j + window.size - 1);
            if (interior >= LANES) {
                smoothInBlocks<GROUPS>(*this, j, std::uint64_t{0}, interior, LANES);
                continue;
            }
            for (std::uint64_t i = 0; i < interior; ++i) {
                auto const at = (j + window.half) * plane.nx + i + window.half;
                plane.result[at] = excluded[plane.cellTypes[at]] ? plane.input[at]
                                                                 : smoothedCentre(plane, window, excluded, i, j);
            }
        }
    }
};

// Smooths the window rows [first, end) of a layer.
template <class T>
using LayerSmoother = void (*)(Plane<T> const&, Window const&, CellTypeTable const&, simd::CodeSet const&,
                               std::uint64_t, std::uint64_t);

template <class T>
[[gnu::target("avx512f")]] void smoothLayerAvx512(Plane<T> const& plane, Window const& window,
                                                  CellTypeTable const& excluded, simd::CodeSet const& codes,
                                                  std::uint64_t first, std::uint64_t end) {
    RingSmoother<T, 8>(plane, window, codes).run(excluded, first, end);
}
template <class T>
[[gnu::target("avx2")]] void smoothLayerAvx2(Plane<T> const& plane, Window const& window,
                                             CellTypeTable const& excluded, simd::CodeSet const& codes,
                                             std::uint64_t first, std::uint64_t end) {
    RingSmoother<T, 4>(plane, window, codes).run(excluded, first, end);
}
template <class T>
void smoothLayerBaseline(Plane<T> const& plane, Window const& window, CellTypeTable const& excluded,
                         simd::CodeSet const& codes, std::uint64_t first, std::uint64_t end) {
    RingSmoother<T, 2>(plane, window, codes).run(excluded, first, end);
}

template <class T>
LayerSmoother<T> layerSmoother() {
    switch (simd::instructionSet()) {
    case simd::InstructionSet::Avx512:
        return &smoothLayerAvx512<T>;
    case simd::InstructionSet::Avx2:
        return &smoothLayerAvx2<T>;
    case simd::InstructionSet::Baseline:
        break;
    }
    return &smoothLayerBaseline<T>;
}

// Integer types narrow through the wrapping conversion, one centre at a time.
template <class T>
void smoothLayerScalar(Plane<T> const& plane, Window const& window, CellTypeTable const& excluded,
                       simd::CodeSet const&, std::uint64_t first, std::uint64_t end) {
    for (std::uint64_t j = first; j < end; ++j) {
        for (std::uint64_t i = 0; i + 2 * window.half < plane.nx; ++i) {
            auto const at = (j + window.half) * plane.nx + i + window.half;
            plane.result[at] =
                excluded[plane.cellTypes[at]] ? plane.input[at] : smoothedCentre(plane, window, excluded, i, j);
        }
    }
}

} // namespace

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
    auto const size = effectiveWindowSize(windowSize);
    std::uint64_t const half = (size - 1) / 2;
    if (nx <= 2 * half || ny <= 2 * half) {
        std::copy_n(input, nx * ny * nz, result);
        return;
    }
    auto const kernel = gaussianKernel(windowSize, sigmaSpatial);
    Window const window{kernel, size, half};
    simd::CodeSet const codes(excluded);
    LayerSmoother<T> smooth = &smoothLayerScalar<T>;
    if constexpr (std::is_floating_point_v<T>) {
        smooth = layerSmoother<T>();
    }
    for (std::uint64_t k = 0; k < nz; ++k) {
        auto const offset = k * nx * ny;
        Plane<T> const plane{input + offset, cellTypes + offset, nx, ny, result + offset};
        // Rows go to the threads of the team in even blocks, each block with
        // its band, so that a small fragment leaves no thread waiting.
        frame::splitAcrossTeam(ny, 1, [&](std::uint64_t first, std::uint64_t end) {
            copyBand(plane, half, first, end);
            // Window rows start half a window above the row they smooth.
            auto const from = std::max(first, half);
            auto const to = std::min(end, ny - half);
            if (from < to) {
                smooth(plane, window, excluded, codes, from - half, to - half);
            }
        });
    }
}

#define RASTRUM_GAUSSIAN_FILTER(T)                                                                                 \
    template void gaussianFilter<T>(T const*, unsigned char const*, FragmentShape, unsigned, double,              \
                                    CellTypeTable const&, T*);
RASTRUM_GAUSSIAN_FILTER(float)
RASTRUM_GAUSSIAN_FILTER(double)
RASTRUM_GAUSSIAN_FILTER(unsigned char)
RASTRUM_GAUSSIAN_FILTER(unsigned short)
RASTRUM_GAUSSIAN_FILTER(unsigned int)
RASTRUM_GAUSSIAN_FILTER(unsigned long long)
RASTRUM_GAUSSIAN_FILTER(int)
#undef RASTRUM_GAUSSIAN_FILTER

} // namespace Rastrum

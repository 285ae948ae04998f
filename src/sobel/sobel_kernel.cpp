#include "sobel/sobel_kernel.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "frame/team_split.hpp"
#include "simd/lanes.hpp"

namespace Rastrum {
namespace {

SobelKernels const kernels;

// Rows handed to a thread at least; fewer do not pay for waking it.
constexpr std::uint64_t ROWS_PER_GRAIN = 16;

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

// One row of heights as the products every stencil takes from it: the
// single-precision products with 3, 10 and 0 widened to double, and an
// all-ones mask where the cell type is flagged. Every stencil weight is one of
// these products or its negation, and negating is exact.
struct RowProducts {
    std::vector<double> three;
    std::vector<double> ten;
    std::vector<double> zero;
    std::vector<long long> flagged;

    explicit RowProducts(std::uint64_t nx) : three(nx), ten(nx), zero(nx), flagged(nx) {}
};

struct Layer {
    float const* height;
    unsigned char const* cellTypes;
    std::uint64_t nx;
    std::uint64_t ny;
    simd::CodeSet const* flagged;
    float* magnitude;
};

template <int W>
[[gnu::always_inline]] inline void fillRow(Layer const& layer, std::uint64_t row, RowProducts& out) {
    using Floats = typename simd::Lanes<W>::Floats;
    using Doubles = typename simd::Lanes<W>::Doubles;
    float const* h = layer.height + row * layer.nx;
    unsigned char const* codes = layer.cellTypes + row * layer.nx;
    std::uint64_t x = 0;
    for (; x + W <= layer.nx; x += W) {
        Floats v;
        simd::load(v, h + x);
        Floats const three = 3.0f * v;
        Floats const ten = 10.0f * v;
        Floats const zero = 0.0f * v;
        Doubles wide;
        simd::widen(wide, three);
        simd::store(out.three.data() + x, wide);
        simd::widen(wide, ten);
        simd::store(out.ten.data() + x, wide);
        simd::widen(wide, zero);
        simd::store(out.zero.data() + x, wide);
    }
    for (; x < layer.nx; ++x) {
        out.three[x] = static_cast<double>(3.0f * h[x]);
        out.ten[x] = static_cast<double>(10.0f * h[x]);
        out.zero[x] = static_cast<double>(0.0f * h[x]);
    }
    simd::markMembers<W>(*layer.flagged, codes, layer.nx, out.flagged.data());
}

// Magnitudes of W neighbouring interior points whose stencils start at column
// a of the three rows. Each lane adds the same products in the same order as
// the scalar stencil and stops adding at its first flagged neighbour.
template <int W>
[[gnu::always_inline]] inline void stencilLanes(std::array<RowProducts const*, 3> const& rows, std::uint64_t a,
                                                float* out) {
    using Doubles = typename simd::Lanes<W>::Doubles;
    using Masks = typename simd::Lanes<W>::Masks;
    using Floats = typename simd::Lanes<W>::Floats;
    Doubles sumX{};
    Doubles sumY{};
    Masks alive = Masks{} - 1;
#pragma GCC unroll 3
    for (std::size_t j = 0; j < 3; ++j) {
        RowProducts const& row = *rows[j];
        // Weight in x for column i: +k, 0, -k with k = 3, 10, 3 by row; in y
        // for row j: +k, 0, -k with k = 3, 10, 3 by column.
        std::vector<double> const& rowWeight = j == 1 ? row.ten : row.three;
#pragma GCC unroll 3
        for (std::size_t i = 0; i < 3; ++i) {
            Masks flag;
            simd::load(flag, row.flagged.data() + a + i);
            alive &= ~flag;
            Doubles x;
            simd::load(x, (i == 1 ? row.zero : rowWeight).data() + a + i);
            sumX = alive ? (i == 2 ? sumX - x : sumX + x) : sumX;
            Doubles y;
            simd::load(y, (j == 1 ? row.zero : (i == 1 ? row.ten : row.three)).data() + a + i);
            sumY = alive ? (j == 2 ? sumY - y : sumY + y) : sumY;
        }
    }
    Doubles magnitude = sumX * sumX + sumY * sumY;
    simd::sqrtLanes(magnitude);
    Floats narrowed;
    simd::narrow(narrowed, magnitude);
    simd::store(out, narrowed);
}

// The interior rows r in [first, end) of one layer, 1 <= first < end <= ny - 1.
template <int W>
[[gnu::always_inline]] inline void interiorRows(Layer const& layer, CellTypeTable const& flagged, std::uint64_t first,
                                                std::uint64_t end) {
    auto const nx = layer.nx;
    std::array<RowProducts, 3> ring{RowProducts(nx), RowProducts(nx), RowProducts(nx)};
    fillRow<W>(layer, first - 1, ring[(first - 1) % 3]);
    fillRow<W>(layer, first, ring[first % 3]);
    for (std::uint64_t b = first - 1; b + 1 < end; ++b) {
        fillRow<W>(layer, b + 2, ring[(b + 2) % 3]);
        std::array<RowProducts const*, 3> const rows{&ring[b % 3], &ring[(b + 1) % 3], &ring[(b + 2) % 3]};
        float* out = layer.magnitude + (b + 1) * nx + 1;
        std::uint64_t a = 0;
        for (; a + W + 2 <= nx; a += W) {
            stencilLanes<W>(rows, a, out + a);
        }
        // The last few points of a row as one more step that overlaps the
        // previous one: lanes are independent, so the overlap is written twice
        // with the same values, and narrow fragments keep to the lanes.
        if (a + 2 < nx && a > 0) {
            a = nx - 2 - W;
            stencilLanes<W>(rows, a, out + a);
            a = nx - 2;
        }
        for (; a + 2 < nx; ++a) {
            auto const sums = stencil(layer.height, layer.cellTypes, nx, layer.ny, a, b, 0, flagged);
            out[a] = static_cast<float>(sums.magnitude());
        }
    }
}

using InteriorRows = void (*)(Layer const&, CellTypeTable const&, std::uint64_t, std::uint64_t);

[[gnu::target("avx512f")]] void interiorRowsAvx512(Layer const& layer, CellTypeTable const& flagged,
                                                   std::uint64_t first, std::uint64_t end) {
    interiorRows<8>(layer, flagged, first, end);
}
[[gnu::target("avx2")]] void interiorRowsAvx2(Layer const& layer, CellTypeTable const& flagged, std::uint64_t first,
                                              std::uint64_t end) {
    interiorRows<4>(layer, flagged, first, end);
}
void interiorRowsBaseline(Layer const& layer, CellTypeTable const& flagged, std::uint64_t first, std::uint64_t end) {
    interiorRows<2>(layer, flagged, first, end);
}

// Zero where rows [first, end) of a layer have no stencil: the first and last
// row and column.
void zeroBorder(float* magnitude, std::uint64_t nx, std::uint64_t ny, std::uint64_t first, std::uint64_t end) {
    for (std::uint64_t b = first; b < end; ++b) {
        if (b == 0 || b + 1 == ny) {
            std::fill_n(magnitude + b * nx, nx, 0.0f);
        } else {
            magnitude[b * nx] = 0.0f;
            magnitude[b * nx + nx - 1] = 0.0f;
        }
    }
}

} // namespace

void sobelMagnitude(float const* height, unsigned char const* cellTypes, std::uint64_t nx, std::uint64_t ny,
                    std::uint64_t nz, CellTypeTable const& flagged, float* magnitude) {
    if (nx == 0 || ny == 0) {
        return;
    }
    simd::CodeSet const isFlagged(flagged);
    auto const interior = []() -> InteriorRows {
        switch (simd::instructionSet()) {
        case simd::InstructionSet::Avx512:
            return &interiorRowsAvx512;
        case simd::InstructionSet::Avx2:
            return &interiorRowsAvx2;
        case simd::InstructionSet::Baseline:
            break;
        }
        return &interiorRowsBaseline;
    }();
    // Rows of every layer in one range, so that thin layers share the team too.
    frame::splitAcrossTeam(nz * ny, ROWS_PER_GRAIN, [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t c = begin / ny; c * ny < end; ++c) {
            auto const offset = c * nx * ny;
            auto const first = std::max(begin, c * ny) - c * ny;
            auto const last = std::min(end, (c + 1) * ny) - c * ny;
            zeroBorder(magnitude + offset, nx, ny, first, last);
            auto const innerFirst = std::max<std::uint64_t>(first, 1);
            auto const innerEnd = std::min(last, ny - 1);
            if (nx >= 3 && innerFirst < innerEnd) {
                interior(Layer{height + offset, cellTypes + offset, nx, ny, &isFlagged, magnitude + offset}, flagged,
                         innerFirst, innerEnd);
            }
        }
    });
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

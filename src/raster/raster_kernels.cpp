#include "raster/raster_kernels.hpp"

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Lumen/Console.hpp"
#include "simd/lanes.hpp"

namespace Rastrum {
namespace {

// Sixteen bytes a step: the loops are bound by memory, wider vectors gain
// nothing.
typedef signed char Bytes __attribute__((vector_size(16)));

// The arithmetic an input type combines in: floating types their own, the
// 32- and 64-bit unsigned types their own (wrapping), the others a signed int,
// here widened so that overflow wraps only on the final conversion.
template <class In>
using Arithmetic =
    std::conditional_t<std::is_floating_point_v<In> || std::is_same_v<In, unsigned int> ||
                           std::is_same_v<In, unsigned long long>,
                       In, std::int64_t>;

// A cell-type table as one flag per byte value, for branch-free lookups.
std::array<bool, 256> flagsOf(CellTypeTable const& table) {
    std::array<bool, 256> flags{};
    for (unsigned code = 0; code < flags.size(); ++code) {
        flags[code] = table[code];
    }
    return flags;
}

// One step of a floating kernel: as many values as fill sixteen bytes, and
// their mask bytes widened to lanes of the same width.
template <class In>
struct FloatingLanes;
template <>
struct FloatingLanes<float> {
    static constexpr std::size_t COUNT = 4;
    typedef float Values __attribute__((vector_size(16)));
    typedef std::int32_t Lanes __attribute__((vector_size(16)));
    typedef unsigned char MaskBytes __attribute__((vector_size(4)));
};
template <>
struct FloatingLanes<double> {
    static constexpr std::size_t COUNT = 2;
    typedef double Values __attribute__((vector_size(16)));
    typedef std::int64_t Lanes __attribute__((vector_size(16)));
    typedef unsigned char MaskBytes __attribute__((vector_size(2)));
};

// out[i] = 0 where mask[i] marks a hole, else combine(a[i], b[i]); true when
// some out[i] is not 0. Floating types go in lanes; the merged mask holds
// only 0 and 1, so a hole is where the mask equals a marked one of the two.
template <class In, class Combine>
bool combineEach(In const* a, In const* b, unsigned char const* mask, RasterResult<In>* out, std::size_t count,
                 CellTypeTable const& hole, Combine combine) {
    std::size_t i = 0;
    bool nonZero = false;
    if constexpr (std::is_floating_point_v<In>) {
        using L = FloatingLanes<In>;
        typename L::Lanes const holeAtZero = typename L::Lanes{} - (hole[0] ? 1 : 0);
        typename L::Lanes const holeAtOne = typename L::Lanes{} - (hole[1] ? 1 : 0);
        typename L::Lanes found{};
        for (; i + L::COUNT <= count; i += L::COUNT) {
            typename L::Values x;
            typename L::Values y;
            typename L::MaskBytes m;
            simd::load(x, a + i);
            simd::load(y, b + i);
            simd::load(m, mask + i);
            auto const marks = __builtin_convertvector(m, typename L::Lanes);
            auto const isHole = ((marks == 0) & holeAtZero) | ((marks == 1) & holeAtOne);
            typename L::Values const result = isHole ? typename L::Values{} : combine(x, y);
            found |= result != 0;
            simd::store(out + i, result);
        }
        for (std::size_t lane = 0; lane < L::COUNT; ++lane) {
            nonZero = nonZero || found[lane] != 0;
        }
    }
    auto const isHole = flagsOf(hole);
    for (; i < count; ++i) {
        if (isHole[mask[i]]) {
            out[i] = RasterResult<In>(0);
            continue;
        }
        out[i] = combine(a[i], b[i]);
        nonZero = nonZero || out[i] != 0;
    }
    return nonZero;
}

// An integer division by zero is a fatal arithmetic fault. It is raised here
// rather than left to the processor, whose trap the compiler and the
// sanitizers need not keep; a handler that returns does not resume the loop.
[[noreturn]] void divisionByZero() {
    std::raise(SIGFPE);
    std::abort();
}

template <class In>
RasterResult<In> narrow(Arithmetic<In> value) {
    return static_cast<RasterResult<In>>(value);
}

template <class In>
bool combineFloating(Operandi::Operation operation, In const* a, In const* b, unsigned char const* mask, In* out,
                     std::size_t count, CellTypeTable const& hole) {
    switch (operation) {
    case Operandi::Subtract:
        return combineEach(a, b, mask, out, count, hole, [](auto x, auto y) { return x - y; });
    case Operandi::Add:
        return combineEach(a, b, mask, out, count, hole, [](auto x, auto y) { return x + y; });
    case Operandi::Multiply:
        return combineEach(a, b, mask, out, count, hole, [](auto x, auto y) { return x * y; });
    case Operandi::Divide:
        return combineEach(a, b, mask, out, count, hole, [](auto x, auto y) { return x / y; });
    }
    Lumen::Console() << "wrong input";
    std::exit(1);
}

template <class In>
bool combineIntegers(Operandi::Operation operation, In const* a, In const* b, unsigned char const* mask,
                     RasterResult<In>* out, std::size_t count, CellTypeTable const& hole) {
    using A = Arithmetic<In>;
    switch (operation) {
    case Operandi::Subtract:
        return combineEach(a, b, mask, out, count, hole,
                           [](In x, In y) { return narrow<In>(static_cast<A>(A(x) - A(y))); });
    case Operandi::Add:
        return combineEach(a, b, mask, out, count, hole,
                           [](In x, In y) { return narrow<In>(static_cast<A>(A(x) + A(y))); });
    case Operandi::Multiply:
        return combineEach(a, b, mask, out, count, hole,
                           [](In x, In y) { return narrow<In>(static_cast<A>(A(x) * A(y))); });
    case Operandi::Divide:
        return combineEach(a, b, mask, out, count, hole, [](In x, In y) {
            if (y == 0) {
                divisionByZero();
            }
            return narrow<In>(static_cast<A>(A(x) / A(y)));
        });
    }
    Lumen::Console() << "wrong input";
    std::exit(1);
}

} // namespace

template <class In>
bool combineRasters(Operandi::Operation operation, In const* a, In const* b, unsigned char const* mask,
                    RasterResult<In>* out, std::size_t count, CellTypeTable const& hole) {
    if constexpr (std::is_floating_point_v<In>) {
        return combineFloating(operation, a, b, mask, out, count, hole);
    } else {
        return combineIntegers(operation, a, b, mask, out, count, hole);
    }
}

bool mergeCellTypes(unsigned char const* first, unsigned char const* second, unsigned char* mask, std::size_t count,
                    CellTypeTable const& data) {
    simd::CodeSet const isData(data);
    std::size_t i = 0;
    Bytes found{};
    if (isData.count <= simd::CodeSet::FEW) {
        for (; i + sizeof(Bytes) <= count; i += sizeof(Bytes)) {
            Bytes x;
            Bytes y;
            simd::load(x, first + i);
            simd::load(y, second + i);
            Bytes dataX{};
            Bytes dataY{};
            for (unsigned k = 0; k < isData.count; ++k) {
                auto const code = static_cast<signed char>(isData.few[k]);
                dataX |= x == code;
                dataY |= y == code;
            }
            Bytes const both = dataX & dataY;
            found |= both;
            simd::store(mask + i, Bytes(~both & 1));
        }
    }
    bool anyData = false;
    for (std::size_t lane = 0; lane < sizeof(Bytes); ++lane) {
        anyData = anyData || found[lane] != 0;
    }
    for (; i < count; ++i) {
        bool const both = isData.mask[first[i]] != 0 && isData.mask[second[i]] != 0;
        mask[i] = both ? 0 : 1;
        anyData = anyData || both;
    }
    return anyData;
}

#define RASTRUM_COMBINE_RASTERS(In)                                                                              \
    template bool combineRasters<In>(Operandi::Operation, In const*, In const*, unsigned char const*, RasterResult<In>*, \
                                     std::size_t, CellTypeTable const&);
RASTRUM_COMBINE_RASTERS(float)
RASTRUM_COMBINE_RASTERS(double)
RASTRUM_COMBINE_RASTERS(unsigned char)
RASTRUM_COMBINE_RASTERS(unsigned short)
RASTRUM_COMBINE_RASTERS(unsigned int)
RASTRUM_COMBINE_RASTERS(unsigned long long)
RASTRUM_COMBINE_RASTERS(int)
#undef RASTRUM_COMBINE_RASTERS

} // namespace Rastrum

#include "raster/raster_kernels.hpp"

#include <array>
#include <cstdint>
#include <cstdlib>

#include "Lumen/Console.hpp"

namespace Rastrum {
namespace {

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

template <class In, class Combine>
void combineEach(In const* a, In const* b, unsigned char* mask, RasterResult<In>* out, std::size_t count,
                 CellTypeTable const& hole, Combine combine) {
    auto const isHole = flagsOf(hole);
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = isHole[mask[i]] ? RasterResult<In>(0) : combine(a[i], b[i], mask[i]);
    }
}

template <class In>
RasterResult<In> narrow(Arithmetic<In> value) {
    return static_cast<RasterResult<In>>(value);
}

} // namespace

template <class In>
void combineRasters(Operandi::Operation operation, In const* a, In const* b, unsigned char* mask,
                    RasterResult<In>* out, std::size_t count, CellTypeTable const& hole) {
    using A = Arithmetic<In>;
    switch (operation) {
    case Operandi::Subtract:
        return combineEach(a, b, mask, out, count, hole,
                           [](In x, In y, unsigned char&) { return narrow<In>(static_cast<A>(A(x) - A(y))); });
    case Operandi::Add:
        return combineEach(a, b, mask, out, count, hole,
                           [](In x, In y, unsigned char&) { return narrow<In>(static_cast<A>(A(x) + A(y))); });
    case Operandi::Multiply:
        return combineEach(a, b, mask, out, count, hole,
                           [](In x, In y, unsigned char&) { return narrow<In>(static_cast<A>(A(x) * A(y))); });
    case Operandi::Divide:
        return combineEach(a, b, mask, out, count, hole, [](In x, In y, unsigned char& cell) {
            if constexpr (!std::is_floating_point_v<In>) {
                if (y == 0) {
                    cell = 1;
                    return RasterResult<In>(0);
                }
            }
            return narrow<In>(static_cast<A>(A(x) / A(y)));
        });
    }
    Lumen::Console() << "wrong input";
    std::exit(1);
}

void mergeCellTypes(unsigned char const* first, unsigned char const* second, unsigned char* mask, std::size_t count,
                    CellTypeTable const& data) {
    auto const isData = flagsOf(data);
    for (std::size_t i = 0; i < count; ++i) {
        mask[i] = isData[first[i]] && isData[second[i]] ? 0 : 1;
    }
}

#define RASTRUM_COMBINE_RASTERS(In)                                                                              \
    template void combineRasters<In>(Operandi::Operation, In const*, In const*, unsigned char*, RasterResult<In>*, \
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

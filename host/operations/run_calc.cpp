#include <ogr_srs_api.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>

#include "core/errors.hpp"
#include "tiling/operation_support.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {
namespace {

struct SpatialReferenceDeleter {
    void operator()(void* srs) const { OSRDestroySpatialReference(srs); }
};
using SpatialReference = std::unique_ptr<void, SpatialReferenceDeleter>;

bool sameCrs(std::string const& a, std::string const& b) {
    if (a.empty() || b.empty()) {
        return a.empty() && b.empty();
    }
    SpatialReference const first(OSRNewSpatialReference(a.c_str()));
    SpatialReference const second(OSRNewSpatialReference(b.c_str()));
    return first && second && OSRIsSame(first.get(), second.get());
}

bool sameTransform(Georeference const& a, Georeference const& b) {
    if (a.hasTransform != b.hasTransform) {
        return false;
    }
    for (std::size_t i = 0; i < a.transform.size(); ++i) {
        double const scale = std::max({std::abs(a.transform[i]), std::abs(b.transform[i]), 1.0});
        if (std::abs(a.transform[i] - b.transform[i]) > 1e-9 * scale) {
            return false;
        }
    }
    return true;
}

template <class T>
void requireSameGrid(HeightView<T> const& first, HeightView<T> const& second) {
    auto const both = std::string(first.source) + " and " + std::string(second.source);
    auto const size = [](HeightView<T> const& r) { return std::to_string(r.width) + " x " + std::to_string(r.height); };
    if (first.width != second.width || first.height != second.height) {
        throw InputError(both + " differ in size: " + size(first) + " against " + size(second) + " cells");
    }
    if (!sameTransform(first.georef, second.georef)) {
        throw InputError(both + " differ in georeferencing (origin or cell size)");
    }
    if (!sameCrs(first.georef.crsWkt, second.georef.crsWkt)) {
        throw InputError(both + " differ in coordinate reference system");
    }
}

bool isData(std::uint8_t code) { return code == 0 || code == 4; }

// Integer division by zero (or of the lowest int by -1) ends the process in
// the library, so it is refused up front.
template <class T>
void requireDivisible(HeightView<T> const& first, HeightView<T> const& second) {
    for (std::size_t i = 0; i < first.heights.size(); ++i) {
        if (!isData(first.cellTypes[i]) || !isData(second.cellTypes[i])) {
            continue;
        }
        bool overflow = false;
        if constexpr (std::is_signed_v<T>) {
            overflow = first.heights[i] == std::numeric_limits<T>::min() && second.heights[i] == T{-1};
        }
        if (second.heights[i] == T{0} || overflow) {
            throw InputError("calc divide: " + std::string(second.source) +
                             " holds an integer divisor of 0 (or -1 under the lowest int) at a data cell");
        }
    }
}

} // namespace

Rastrum::Operandi::Operation arithmeticNamed(std::string const& name) {
    if (name == "subtract") {
        return Rastrum::Operandi::Subtract;
    }
    if (name == "add") {
        return Rastrum::Operandi::Add;
    }
    if (name == "divide") {
        return Rastrum::Operandi::Divide;
    }
    if (name == "multiply") {
        return Rastrum::Operandi::Multiply;
    }
    throw InputError("calc: unknown operation '" + name + "' (subtract, add, divide or multiply)");
}

template <class T>
Raster<CalcResult<T>> runCalc(Rastrum::Operandi::Operation operation, HeightView<T> const& first,
                              HeightView<T> const& second, Tiling const& tiling, RunContext const& context) {
    using R = CalcResult<T>;
    requireSameGrid(first, second);
    if constexpr (std::is_integral_v<T>) {
        if (operation == Rastrum::Operandi::Divide) {
            requireDivisible(first, second);
        }
    }
    auto const a = tileHeights(first, tiling, 0);
    auto const b = tileHeights(second, tiling, 0);
    Velum::Grid result;
    bool hasData = false;
    expectSuccess(Rastrum::rasterOperator(*a.grid(), *b.grid(), result, HeightField, HeightField,
                                          Rastrum::Operandi{operation}, hasData, context.progress),
                  "rasterOperator");

    // The library drops fragments without data cells and those whose result
    // is 0 everywhere; their data cells are 0.
    std::uint8_t constexpr dropped = 255;
    auto values = a.stitch(*resultField(result, HeightField), missingValue<R>(), context.spares.get());
    auto const codes = a.stitch(*resultField(result, CellTypeField), dropped);
    for (std::size_t i = 0; i < values.size(); ++i) {
        bool const data = codes[i] == dropped ? isData(first.cellTypes[i]) && isData(second.cellTypes[i])
                                              : !isHole(codes[i]);
        values[i] = !data ? missingValue<R>() : codes[i] == dropped ? R{0} : values[i];
    }
    return {.width = first.width, .height = first.height, .bands = 1, .values = std::move(values)};
}

#define RASTRUM_RUN_CALC(T)                                                                                        \
    template Raster<CalcResult<T>> runCalc(Rastrum::Operandi::Operation, HeightView<T> const&,                   \
                                           HeightView<T> const&, Tiling const&, RunContext const&);
RASTRUM_RUN_CALC(float)
RASTRUM_RUN_CALC(double)
RASTRUM_RUN_CALC(std::uint8_t)
RASTRUM_RUN_CALC(std::uint16_t)
RASTRUM_RUN_CALC(std::uint32_t)
RASTRUM_RUN_CALC(unsigned long long)
RASTRUM_RUN_CALC(int)

} // namespace rastrum_host

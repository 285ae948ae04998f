#include <ogr_srs_api.h>

#include <cmath>
#include <cstdint>
#include <memory>

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

void requireSameGrid(HeightInput const& first, HeightInput const& second) {
    auto const both = first.source + " and " + second.source;
    auto const size = [](HeightInput const& r) {
        return std::to_string(r.heights.width) + " x " + std::to_string(r.heights.height);
    };
    if (first.heights.width != second.heights.width || first.heights.height != second.heights.height) {
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

Raster<float> runCalc(Rastrum::Operandi::Operation operation, HeightInput const& first, HeightInput const& second,
                      Tiling const& tiling, RunContext const& context) {
    requireSameGrid(first, second);
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
    auto values = a.stitch(*resultField(result, HeightField), NoValue);
    auto const codes = a.stitch(*resultField(result, CellTypeField), dropped);
    for (std::size_t i = 0; i < values.size(); ++i) {
        bool const data = codes[i] == dropped ? isData(first.cellTypes[i]) && isData(second.cellTypes[i])
                                              : !isHole(codes[i]);
        values[i] = !data ? NoValue : codes[i] == dropped ? 0.0f : values[i];
    }
    return {.width = first.heights.width, .height = first.heights.height, .bands = 1, .values = std::move(values)};
}

} // namespace rastrum_host

#include <ogr_srs_api.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>

#include "operations/operations.hpp"
#include "tiling/operation_support.hpp"

namespace rastrum_host {
namespace {

// The gradient of a plane rising h per cell is 32 h: the stencil weighs
// 3 + 10 + 3 = 16 on each side of the centre, two cells apart.
double constexpr PlaneGradientPerRise = 32.0;

// Metres per unit of longitude and latitude on the CRS's ellipsoid at the
// latitude of the raster's centre; {1, 1} unless the CRS is geographic.
std::array<double, 2> metresPerAngle(Georeference const& georef, std::uint32_t rows) {
    std::unique_ptr<void, decltype(&OSRDestroySpatialReference)> const srs(OSRNewSpatialReference(nullptr),
                                                                            &OSRDestroySpatialReference);
    if (georef.crsWkt.empty() || OSRSetFromUserInput(srs.get(), georef.crsWkt.c_str()) != OGRERR_NONE ||
        OSRIsGeographic(srs.get()) == 0) {
        return {1.0, 1.0};
    }
    OGRErr error = OGRERR_NONE;
    double const a = OSRGetSemiMajor(srs.get(), &error);
    double const inverseFlattening = OSRGetInvFlattening(srs.get(), &error);
    double const f = inverseFlattening > 0.0 ? 1.0 / inverseFlattening : 0.0;
    double const e2 = f * (2.0 - f);
    double const radiansPerUnit = OSRGetAngularUnits(srs.get(), nullptr);
    double const latitude = (georef.transform[3] + 0.5 * rows * georef.transform[5]) * radiansPerUnit;
    double const w = 1.0 - e2 * std::sin(latitude) * std::sin(latitude);
    double const meridian = a * (1.0 - e2) / (w * std::sqrt(w));
    double const normal = a / std::sqrt(w);
    return {normal * std::cos(latitude) * radiansPerUnit, meridian * radiansPerUnit};
}

// Cell sizes along x (columns) and y (rows) in height units.
std::array<double, 2> cellSizes(HeightInput const& input, std::array<double, 2> const& perUnit) {
    auto const spacing = placementOf(input.georef, input.heights.height, input.source).spacing;
    return {spacing[0] * perUnit[0], spacing[1] * perUnit[1]};
}

// The two weighted differences of the gradient's stencil at a cell whose 3 x 3
// window lies on data, in the gradient kernel's own arithmetic (single-precision
// products, double sums, neighbours in its order). The magnitude alone cannot
// give the slope of cells that are not square, so the host forms them itself.
std::array<double, 2> stencilDifferences(Raster<float> const& heights, std::uint32_t column, std::uint32_t row,
                                         bool northUp) {
    std::array<float, 3> constexpr weights{3.0f, 10.0f, 3.0f};
    std::array<float, 3> constexpr signs{1.0f, 0.0f, -1.0f};
    double across = 0.0;
    double along = 0.0;
    for (std::uint32_t j = 0; j < 3; ++j) {
        // The grid's y runs from the southern row.
        std::uint32_t const y = northUp ? row + 1 - j : row - 1 + j;
        for (std::uint32_t i = 0; i < 3; ++i) {
            float const z = heights.values[heights.index(column - 1 + i, y)];
            across += static_cast<double>(signs[i] * weights[j] * z);
            along += static_cast<double>(weights[i] * signs[j] * z);
        }
    }
    return {across, along};
}

} // namespace

std::string planeGradientNote(HeightInput const& input, double slopeDegrees) {
    auto const [dx, dy] = cellSizes(input, unitsPerCrsUnit({}, input.georef, input.heights.height));
    double const rise = std::tan(slopeDegrees * std::numbers::pi / 180.0) * PlaneGradientPerRise;
    std::array<char, 320> text{};
    if (dx == dy) {
        std::snprintf(text.data(), text.size(),
                      "a plane sloping %g degrees has a gradient of %.6g on these cells (32 x tan(slope) x cell "
                      "size %g): the gradient is 32 x the height change per cell, unnormalised",
                      slopeDegrees, rise * dx, dx);
    } else {
        std::snprintf(text.data(), text.size(),
                      "a plane sloping %g degrees has a gradient of %.6g facing along x and %.6g along y on these "
                      "cells (32 x tan(slope) x cell size %g x %g): the gradient is 32 x the height change per cell, "
                      "unnormalised",
                      slopeDegrees, rise * dx, rise * dy, dx, dy);
    }
    return text.data();
}

std::array<double, 2> unitsPerCrsUnit(SlopeOptions const& options, Georeference const& georef, std::uint32_t rows) {
    return options.scale ? std::array{*options.scale, *options.scale} : metresPerAngle(georef, rows);
}

Raster<float> runSlope(HeightInput const& input, SlopeOptions const& options, Tiling const& tiling,
                       RunContext const& context) {
    return runSlope(input, options, unitsPerCrsUnit(options, input.georef, input.heights.height), tiling, context);
}

Raster<float> runSlope(HeightInput const& input, SlopeOptions const& options, std::array<double, 2> unitsPerCrsUnit,
                       Tiling const& tiling, RunContext const& context) {
    double constexpr anyAngle = 45.0; // for the library's threshold line only
    auto result = runSobel(input, anyAngle, tiling, context);
    auto const [dx, dy] = cellSizes(input, unitsPerCrsUnit);
    bool const northUp = placementOf(input.georef, input.heights.height, input.source).northUp;
    for (std::uint32_t row = 0; row < result.height; ++row) {
        for (std::uint32_t column = 0; column < result.width; ++column) {
            float& value = result.values[result.index(column, row)];
            if (std::isnan(value)) {
                continue;
            }
            double rise = value / (PlaneGradientPerRise * dx);
            if (dx != dy) {
                auto const [across, along] = stencilDifferences(input.heights, column, row, northUp);
                rise = std::hypot(across / (PlaneGradientPerRise * dx), along / (PlaneGradientPerRise * dy));
            }
            value = static_cast<float>(options.percent ? 100.0 * rise : std::atan(rise) * 180.0 / std::numbers::pi);
        }
    }
    return result;
}

} // namespace rastrum_host

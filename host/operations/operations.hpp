#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Lumen/LoaderProgress.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Rastrum.hpp"
#include "core/raster.hpp"
#include "tiling/fragment_needs.hpp"
#include "tiling/tiled_grid.hpp"

// The host's operations on rasters in memory, one function per subcommand,
// free of command-line parsing so that the demo runs the very same code. Each
// cuts its input into fragments, runs the library and stitches the result
// back into one raster of the input's shape.
namespace rastrum_host {

struct RunContext {
    Lumen::StrongPtr<Lumen::LoaderProgress> progress; // empty: no progress reports
    std::shared_ptr<SpareBuffers> spares;              // results' buffers a streamed run recycles
};

// Default overlaps: what each stencil needs so that stitching leaves no seams.
inline constexpr std::uint64_t SobelOverlap = 2;
inline constexpr std::uint64_t SurfaceOverlap = 1; // shared rows and columns close the gaps between fragments
inline constexpr std::uint64_t IsoOverlap = 2;

// What each stencil needs of its fragments (checked by the runs below, and by
// a streamed run before it reads anything).
StencilNeeds sobelNeeds();
StencilNeeds smoothNeeds(unsigned window);
StencilNeeds isoNeeds();

// Element types of the library's typed paths, in the order it tests them.
using SmoothTypes = std::tuple<float, double, std::uint8_t, std::uint16_t, std::uint32_t, unsigned long long, int>;
using CalcTypes = SmoothTypes;
using OverwriteTypes = std::tuple<std::uint8_t, float, std::uint16_t, std::uint32_t, double>;
// Arithmetic keeps floating-point types and gives int for the integer ones.
template <class T>
using CalcResult = std::conditional_t<std::is_floating_point_v<T>, T, int>;

// A series of rasters of one size, the steps of a time series, runs as the
// slices of one bundle at times 0, 1, 2 ... where the library walks slices
// (mask, sobel): `step` names the one slice the library is asked for, none
// asks for every slice. One result per slice run, in time order.
using SeriesStep = std::optional<std::size_t>;

// Each run takes a view of the heights; the overloads on a HeightInputOf
// forward to it. Typed runs exist for the element types listed above.

// 1.0 at data cells, 0.0 at holes. No nodata: the holes are the answer. Only
// the cell types count, so every smoothing type is accepted.
template <class T>
Raster<float> runMask(HeightView<T> const& input, Tiling const& tiling, RunContext const& context);
template <class T>
std::vector<Raster<float>> runMask(std::span<HeightView<T> const> steps, SeriesStep step, Tiling const& tiling,
                                   RunContext const& context);
template <class T>
Raster<float> runMask(HeightInputOf<T> const& input, Tiling const& tiling, RunContext const& context) {
    return runMask(viewOf(input), tiling, context);
}

struct SmoothOptions {
    bool gaussian = false; // the plain normalised Gaussian instead of the bilateral filter
    unsigned window = 5;   // made odd and at least 3
    double sigmaSpatial = 1.0;
    double sigmaRange = 2.0; // in height units; bilateral only
    bool keepPartial = false; // keep the library's values where the window leaves the raster
};
unsigned effectiveWindow(unsigned requested);
// Smoothed heights; holes stay NaN, and so does the band of (window - 1) / 2
// cells along the raster's edge unless keepPartial. Integer types have no NaN
// and keep the library's values there. Default overlap: window - 1.
template <class T>
Raster<T> runSmooth(HeightView<T> const& input, SmoothOptions const& options, Tiling const& tiling,
                    RunContext const& context);
template <class T>
Raster<T> runSmooth(HeightInputOf<T> const& input, SmoothOptions const& options, Tiling const& tiling,
                    RunContext const& context) {
    return runSmooth(viewOf(input), options, tiling, context);
}

// Gradient magnitude of the heights, unnormalised: a plane rising h per cell
// gives 32 h, whatever the cell size. NaN at holes, and where the 3 x 3
// stencil touched a hole or left the raster unless keepPartial asks for the
// library's own values there. The console gets the library's threshold line
// for slopeDegrees.
Raster<float> runSobel(HeightView<float> const& input, double slopeDegrees, Tiling const& tiling,
                       RunContext const& context, bool keepPartial = false);
std::vector<Raster<float>> runSobel(std::span<HeightView<float> const> steps, SeriesStep step, double slopeDegrees,
                                    Tiling const& tiling, RunContext const& context, bool keepPartial = false);
inline Raster<float> runSobel(HeightInput const& input, double slopeDegrees, Tiling const& tiling,
                              RunContext const& context, bool keepPartial = false) {
    return runSobel(viewOf(input), slopeDegrees, tiling, context, keepPartial);
}

// The gradient a plane sloping `slopeDegrees` gives on this raster's cells, in
// words, for choosing a threshold on the gradient.
std::string planeGradientNote(HeightInput const& input, double slopeDegrees);

struct SlopeOptions {
    bool percent = false;        // 100 x rise over run instead of degrees
    std::optional<double> scale; // horizontal units per height unit; default 1, or metres per degree when geographic
};
// Height units per unit of the CRS along x and y for a raster of `rows` rows
// placed by `georef`: the scale given, else metres per degree at the raster's
// centre latitude when its CRS is geographic, else 1.
std::array<double, 2> unitsPerCrsUnit(SlopeOptions const& options, Georeference const& georef, std::uint32_t rows);
// The slope of part of a raster uses the whole raster's units, given here.
Raster<float> runSlope(HeightInput const& input, SlopeOptions const& options, std::array<double, 2> unitsPerCrsUnit,
                       Tiling const& tiling, RunContext const& context);
// Slope of the heights from the same gradient, in degrees or percent, using the
// cell size along x and y. NaN wherever the gradient is (holes, their stencil
// neighbours, the raster's edge).
Raster<float> runSlope(HeightInput const& input, SlopeOptions const& options, Tiling const& tiling,
                       RunContext const& context);

// The operation named subtract, add, divide or multiply; InputError otherwise.
Rastrum::Operandi::Operation arithmeticNamed(std::string const& name);
// first op second, cell by cell; NaN where either input is a hole (0 in
// integer results). The inputs must have the same size and georeferencing
// (InputError naming both); an integer division by zero at a data cell is an
// InputError too, since the library would end the process.
template <class T>
Raster<CalcResult<T>> runCalc(Rastrum::Operandi::Operation operation, HeightView<T> const& first,
                              HeightView<T> const& second, Tiling const& tiling, RunContext const& context);
template <class T>
Raster<CalcResult<T>> runCalc(Rastrum::Operandi::Operation operation, HeightInputOf<T> const& first,
                              HeightInputOf<T> const& second, Tiling const& tiling, RunContext const& context) {
    return runCalc(operation, viewOf(first), viewOf(second), tiling, context);
}

struct OverwriteOptions {
    std::vector<std::pair<double, double>> ranges; // closed intervals of heights
    bool invert = false;                           // write outside the intervals instead
    bool includeHoles = false;                     // let an inverted write reach hole cells too
    int value = 1;                                 // its low 8 bits are written
};
// The cell-type codes, with `value` written where the height lies in (or
// outside) the intervals. Hole heights are NaN, which lies in no interval, so
// only an inverted write reaches holes, and only with includeHoles.
template <class T>
Raster<std::uint8_t> runOverwrite(HeightView<T> const& input, OverwriteOptions const& options, Tiling const& tiling,
                                  RunContext const& context);
template <class T>
Raster<std::uint8_t> runOverwrite(HeightInputOf<T> const& input, OverwriteOptions const& options,
                                  Tiling const& tiling, RunContext const& context) {
    return runOverwrite(viewOf(input), options, tiling, context);
}

// The marker density, one Float32 layer per input layer. Every fragment is
// scaled to its own peak of 1, so the result depends on the fragment size and
// has seams where fragments meet; a fragment as large as the volume avoids them.
Raster<float> runIso(MarkerVolume const& volume, Tiling const& tiling, RunContext const& context);

// The triangle surfaces are in mesh/.

} // namespace rastrum_host

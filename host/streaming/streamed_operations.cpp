#include "streaming/streamed_operations.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/errors.hpp"

namespace rastrum_host {
namespace {

// What a fragment costs besides its cells: its arrays, fields and positions
// (measured: tiny fragments cost about 1.7 KB each).
std::uint64_t constexpr FragmentBytes = 2048;

// Bytes a cell of a band costs while computed: the band read, its fragments'
// fields (the input's and the result's) and their share of each fragment's
// own cost, and the result stitched and written.
std::uint64_t cellBytes(std::uint64_t input, std::uint64_t result, Tiling const& tiling, std::uint64_t overlap) {
    auto const size = static_cast<double>(tiling.fragmentSize);
    auto const step = size - static_cast<double>(std::min<std::uint64_t>(tiling.overlap.value_or(overlap),
                                                                          tiling.fragmentSize - 1));
    auto const copies = static_cast<std::uint64_t>(std::ceil(size * size / (step * step)));
    auto const perFragment = static_cast<std::uint64_t>(std::ceil(static_cast<double>(FragmentBytes) / (step * step)));
    // One more input read, and one more result written, while a band is computed.
    return 2 * input + (input + result) * copies + 4 * result + perFragment;
}

StreamShape shapeOf(HeightReader const& reader, std::uint64_t overlap, std::uint64_t bytes) {
    return {.width = reader.width(),
            .height = reader.height(),
            .northUp = placementOf(reader.georef(), reader.height(), reader.path()).northUp,
            .overlap = overlap,
            .cellBytes = bytes};
}

// A height operation from a band's input, as T, to its result raster.
template <class T = float, class Run>
void streamHeights(HeightReader const& input, BandWriter& output, Tiling const& tiling, StreamSettings const& settings,
                   RunContext const& context, std::uint64_t overlap, std::uint64_t resultBytes, std::string const& label,
                   Run const& run) {
    auto const height = sizeof(T) + 1; // heights and cell-type codes
    auto const shape = shapeOf(input, overlap, cellBytes(height, resultBytes, tiling, overlap));
    streamBands(
        shape, tiling, settings, context, label, input.path(),
        [&](Band const& band, HeightInputOf<T> spare) { return input.read<T>(band.firstRow, band.rows, std::move(spare)); },
        run,
        [&](auto const& result, Band const& band) {
            output.write(result, band.ownedFirstRow - band.firstRow, band.ownedRows);
        });
}

} // namespace

HeightInput wholeRaster(HeightReader const& reader) {
    HeightInput whole;
    whole.source = reader.path();
    whole.heights.width = reader.width();
    whole.heights.height = reader.height();
    whole.georef = reader.georef();
    return whole;
}

ResultLayout resultLayout(HeightReader const& reader, GDALDataType type, std::optional<double> holeNodata,
                          bool keepsUnits) {
    return {.width = reader.width(),
            .height = reader.height(),
            .bands = 1,
            .type = type,
            .georef = reader.georef(),
            .holeNodata = holeNodata,
            .metadataFrom = reader.dataset(),
            .firstMetadataBand = reader.band(),
            .keepsUnits = keepsUnits};
}

void streamMask(HeightReader const& input, BandWriter& output, Tiling const& tiling, StreamSettings const& settings,
                RunContext const& context) {
    streamHeights(input, output, tiling, settings, context, 0, sizeof(float), "Mask",
                  [](HeightInput const& in, Tiling const& t, RunContext const& c) { return runMask(in, t, c); });
}

void streamSmooth(HeightReader const& input, BandWriter& output, SmoothOptions const& options, Tiling const& tiling,
                  StreamSettings const& settings, RunContext const& context) {
    checkFragments(tiling, smoothNeeds(effectiveWindow(options.window)));
    auto const smooth = [&]<class T>(T) {
        streamHeights<T>(input, output, tiling, settings, context, effectiveWindow(options.window) - 1, sizeof(T),
                         options.gaussian ? "Gaussian smoothing" : "Bilateral smoothing",
                         [&](HeightInputOf<T> const& in, Tiling const& t, RunContext const& c) {
                             return runSmooth(in, options, t, c);
                         });
    };
    output.type() == GDT_Float64 ? smooth(double{}) : smooth(float{});
}

namespace {

// The gradient blanks the raster's edge rows, which a band cannot tell from
// its own: with the overlap the stencil needs, a band's own edge rows belong
// to its neighbours, but with less (--allow-seams) the raster is one band.
StreamSettings gradientSettings(Tiling const& tiling, StreamSettings settings) {
    if (overlapFor(tiling, SobelOverlap) < SobelOverlap) {
        settings.memoryBytes = std::numeric_limits<std::uint64_t>::max();
    }
    return settings;
}

} // namespace

void streamSobel(HeightReader const& input, BandWriter& output, double slopeDegrees, bool keepPartial,
                 Tiling const& tiling, StreamSettings const& settings, RunContext const& context) {
    checkFragments(tiling, sobelNeeds());
    streamHeights(input, output, tiling, gradientSettings(tiling, settings), context, SobelOverlap, sizeof(float),
                  "Sobel", [&](HeightInput const& in, Tiling const& t, RunContext const& c) {
                      return runSobel(in, slopeDegrees, t, c, keepPartial);
                  });
}

void streamSlope(HeightReader const& input, BandWriter& output, SlopeOptions const& options, Tiling const& tiling,
                 StreamSettings const& settings, RunContext const& context) {
    checkFragments(tiling, sobelNeeds());
    // Degrees of a geographic CRS are measured at the whole raster's centre latitude, not a band's.
    auto const units = unitsPerCrsUnit(options, input.georef(), input.height());
    streamHeights(input, output, tiling, gradientSettings(tiling, settings), context, SobelOverlap, sizeof(float),
                  "Slope", [&](HeightInput const& in, Tiling const& t, RunContext const& c) {
                      return runSlope(in, options, units, t, c);
                  });
}

void streamOverwrite(HeightReader const& input, BandWriter& output, OverwriteOptions const& options,
                     Tiling const& tiling, StreamSettings const& settings, RunContext const& context) {
    streamHeights(input, output, tiling, settings, context, 0, 1, "Overwrite",
                  [&](HeightInput const& in, Tiling const& t, RunContext const& c) {
                      return runOverwrite(in, options, t, c);
                  });
}

void streamCalc(Rastrum::Operandi::Operation operation, HeightReader const& first, HeightReader const& second,
                BandWriter& output, Tiling const& tiling, StreamSettings const& settings, RunContext const& context) {
    // Bands agree in height whatever the rasters do; runCalc checks the rest on each band.
    if (first.height() != second.height() || first.width() != second.width()) {
        auto const size = [](HeightReader const& r) {
            return std::to_string(r.width()) + " x " + std::to_string(r.height());
        };
        throw InputError(first.path() + " and " + second.path() + " differ in size: " + size(first) + " against " +
                         size(second) + " cells");
    }
    auto const calc = [&]<class T>(T) {
        auto const heights = 2 * (sizeof(T) + 1);
        auto const shape = shapeOf(first, 0, cellBytes(heights, sizeof(T) + 1, tiling, 0));
        streamBands(
            shape, tiling, settings, context, "Raster arithmetic", first.path(),
            [&](Band const& band, std::pair<HeightInputOf<T>, HeightInputOf<T>> spare) {
                return std::pair(first.read<T>(band.firstRow, band.rows, std::move(spare.first)),
                                 second.read<T>(band.firstRow, band.rows, std::move(spare.second)));
            },
            [&](auto const& inputs, Tiling const& banded, RunContext const& ctx) {
                return runCalc(operation, inputs.first, inputs.second, banded, ctx);
            },
            [&](auto const& result, Band const& band) {
                output.write(result, band.ownedFirstRow - band.firstRow, band.ownedRows);
            });
    };
    output.type() == GDT_Float64 ? calc(double{}) : calc(float{});
}

void streamIso(MarkerReader const& input, BandWriter& output, Tiling const& tiling, StreamSettings const& settings,
               RunContext const& context) {
    checkFragments(tiling, isoNeeds());
    auto const layers = input.layers();
    StreamShape const shape{.width = input.width(),
                            .height = input.height(),
                            .northUp = placementOf(input.georef(), input.height(), input.path()).northUp,
                            .overlap = IsoOverlap,
                            .cellBytes = cellBytes(2 * layers, 4 * layers, tiling, IsoOverlap)};
    streamBands(
        shape, tiling, settings, context, "Iso density", input.path(),
        [&](Band const& band, MarkerVolume const&) { return input.read(band.firstRow, band.rows); },
        [](MarkerVolume const& volume, Tiling const& banded, RunContext const& ctx) {
            return runIso(volume, banded, ctx);
        },
        [&](auto const& result, Band const& band) {
            output.write(result, band.ownedFirstRow - band.firstRow, band.ownedRows);
        });
}

} // namespace rastrum_host

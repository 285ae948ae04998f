#include "commands.hpp"

#include <limits>
#include <optional>

#include "atomic_output.hpp"
#include "info.hpp"

namespace rastrum_host {
namespace {

double constexpr FloatNodata = std::numeric_limits<double>::quiet_NaN();

// Refuses an unknown format or an existing output before the work starts.
void checkOutput(OutputArgs const& output) {
    outputDriver(output.path, output.options.format);
    AtomicOutput const probe(output.path, output.options.overwrite);
}

template <class T>
void write(OutputArgs const& output, Raster<T> const& raster, Georeference const& georef,
           std::optional<double> nodata) {
    writeRaster(output.path, raster, georef, output.options, nodata);
}

} // namespace

std::string commandInfo(InputArgs const& input, Tiling const& tiling) {
    return describeRaster(input.path, input.read, tiling);
}

void commandMask(InputArgs const& input, OutputArgs const& output, Tiling const& tiling, RunContext const& context) {
    checkOutput(output);
    auto const heights = readHeights(input.path, input.read);
    write(output, runMask(heights, tiling, context), heights.georef, std::nullopt);
}

void commandSmooth(InputArgs const& input, OutputArgs const& output, SmoothOptions const& options,
                   Tiling const& tiling, RunContext const& context) {
    checkOutput(output);
    auto const heights = readHeights(input.path, input.read);
    write(output, runSmooth(heights, options, tiling, context), heights.georef, FloatNodata);
}

void commandSobel(InputArgs const& input, OutputArgs const& output, double slopeDegrees, Tiling const& tiling,
                  RunContext const& context) {
    checkOutput(output);
    auto const heights = readHeights(input.path, input.read);
    write(output, runSobel(heights, slopeDegrees, tiling, context), heights.georef, FloatNodata);
}

void commandCalc(std::string const& operation, InputArgs const& first, InputArgs const& second,
                 OutputArgs const& output, Tiling const& tiling, RunContext const& context) {
    auto const arithmetic = arithmeticNamed(operation);
    checkOutput(output);
    auto const a = readHeights(first.path, first.read);
    auto const b = readHeights(second.path, second.read);
    write(output, runCalc(arithmetic, a, b, tiling, context), a.georef, FloatNodata);
}

void commandOverwrite(InputArgs const& input, OutputArgs const& output, OverwriteOptions const& options,
                      Tiling const& tiling, RunContext const& context) {
    checkOutput(output);
    auto const heights = readHeights(input.path, input.read);
    write(output, runOverwrite(heights, options, tiling, context), heights.georef, std::nullopt);
}

void commandIso(std::string const& input, OutputArgs const& output, Tiling const& tiling, RunContext const& context) {
    checkOutput(output);
    auto const volume = readMarkerVolume(input);
    write(output, runIso(volume, tiling, context), volume.georef, FloatNodata);
}

} // namespace rastrum_host

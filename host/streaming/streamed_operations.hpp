#pragma once

#include "io/band_writer.hpp"
#include "io/raster_reader.hpp"
#include "operations/operations.hpp"
#include "streaming/streamed_run.hpp"

// The operations run a band at a time from a reader into a writer (see
// streamed_run.hpp); each gives, bit for bit, what its in-memory run gives on
// the whole raster. The writer's layout comes from resultLayout; smoothing and
// arithmetic compute in double precision when the writer's type is Float64.
namespace rastrum_host {

// The whole raster's size, place and name without its cells, for what needs
// no more (the plane-gradient note).
HeightInput wholeRaster(HeightReader const& reader);

// The layout of a result of `type` for a raster read by `reader`; `keepsUnits`
// when the result is in the heights' units.
ResultLayout resultLayout(HeightReader const& reader, GDALDataType type, std::optional<double> holeNodata,
                          bool keepsUnits = false);

void streamMask(HeightReader const& input, BandWriter& output, Tiling const& tiling, StreamSettings const& settings,
                RunContext const& context);
void streamSmooth(HeightReader const& input, BandWriter& output, SmoothOptions const& options, Tiling const& tiling,
                  StreamSettings const& settings, RunContext const& context);
void streamSobel(HeightReader const& input, BandWriter& output, double slopeDegrees, bool keepPartial,
                 Tiling const& tiling, StreamSettings const& settings, RunContext const& context);
void streamSlope(HeightReader const& input, BandWriter& output, SlopeOptions const& options, Tiling const& tiling,
                 StreamSettings const& settings, RunContext const& context);
// InputError naming both files when they differ in size or georeferencing.
void streamCalc(Rastrum::Operandi::Operation operation, HeightReader const& first, HeightReader const& second,
                BandWriter& output, Tiling const& tiling, StreamSettings const& settings, RunContext const& context);
void streamOverwrite(HeightReader const& input, BandWriter& output, OverwriteOptions const& options,
                     Tiling const& tiling, StreamSettings const& settings, RunContext const& context);
void streamIso(MarkerReader const& input, BandWriter& output, Tiling const& tiling, StreamSettings const& settings,
               RunContext const& context);

} // namespace rastrum_host

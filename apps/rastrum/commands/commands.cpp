#include "commands/commands.hpp"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <limits>
#include <optional>

#include "io/atomic_output.hpp"
#include "core/errors.hpp"
#include "commands/info.hpp"
#include "mesh/surface.hpp"
#include "mesh/surface_input.hpp"
#include "preview/preview.hpp"
#include "streaming/streamed_operations.hpp"

namespace rastrum_host {
namespace {

double constexpr FloatNodata = std::numeric_limits<double>::quiet_NaN();

// How the preview of a result is drawn: which band, in which style.
struct Picture {
    PreviewStyle style;
    int band = 1;
};

void checkPreview(OutputArgs const& output) {
    if (output.preview.empty()) {
        return;
    }
    std::string extension = std::filesystem::path(output.preview).extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension != ".png") {
        throw InputError("--preview " + output.preview + ": the preview is a PNG picture; name it .png");
    }
    AtomicOutput const probe(output.preview, output.options.overwrite);
}

// Refuses an unknown format, an existing output or an unsuitable preview
// before the work starts.
void checkOutput(OutputArgs const& output) {
    for (auto const& warning : creationOptionWarnings(outputDriver(output.path, output.options.format),
                                                      output.options.creationOptions)) {
        std::cerr << "rastrum: warning: " << warning << '\n';
    }
    if (!isStandardOutput(output.path)) {
        AtomicOutput const probe(output.path, output.options.overwrite);
    }
    checkPreview(output);
}

// The result's type: -ot when the subcommand computes in it, else `standard`.
GDALDataType resultType(OutputArgs const& output, std::string const& subcommand,
                        std::vector<GDALDataType> const& computed, GDALDataType standard) {
    if (output.type.empty()) {
        return standard;
    }
    auto const type = GDALGetDataTypeByName(output.type.c_str());
    if (std::ranges::find(computed, type) != computed.end()) {
        return type;
    }
    std::string names;
    for (auto const each : computed) {
        names += (names.empty() ? "" : " or ") + std::string(GDALGetDataTypeName(each));
    }
    throw InputError("-ot " + output.type + ": " + subcommand + " writes " + names);
}

// Smoothing and arithmetic keep Float64 heights in double precision.
GDALDataType heightType(OutputArgs const& output, std::string const& subcommand, HeightReader const& heights) {
    return resultType(output, subcommand, {GDT_Float32, GDT_Float64},
                      heights.type() == GDT_Float64 ? GDT_Float64 : GDT_Float32);
}

// Renders the preview, when asked for, beside a result that is about to be
// committed; it appears only once the result did. A preview is an extra: when
// it cannot be drawn (a result without data, say) a warning says why and the
// result is kept.
void renderPicture(std::optional<AtomicOutput>& png, OutputArgs const& output, GDALDatasetH dataset,
                   Picture picture) {
    if (output.preview.empty()) {
        return;
    }
    try {
        png.emplace(output.preview, output.options.overwrite);
        renderPreview(dataset, picture.band, picture.style, png->tmpPath());
    } catch (std::exception const& error) {
        png.reset();
        std::cerr << "rastrum: warning: " << output.preview << ": " << error.what() << "; the result is kept\n";
    }
}

// Runs `stream` from the input into a new result of `type`, renders the
// preview from what was written, and puts both in place.
template <class Stream>
void streamed(OutputArgs const& output, ResultLayout const& layout, Picture picture, Stream const& stream) {
    BandWriter result(output.path, output.options, layout);
    stream(result);
    std::optional<AtomicOutput> png;
    GDALFlushCache(result.dataset());
    renderPicture(png, output, result.dataset(), picture);
    result.commit();
    if (png) {
        png->commit();
    }
}

} // namespace

std::string commandInfo(InputArgs const& input, Tiling const& tiling) {
    return describeRaster(input.path, input.read, tiling);
}

void commandMask(InputArgs const& input, OutputArgs const& output, Tiling const& tiling, RunContext const& context) {
    checkOutput(output);
    HeightReader const heights(input.path, input.read);
    auto const type = resultType(output, "mask", {GDT_Byte}, GDT_Byte);
    streamed(output, resultLayout(heights, type, std::nullopt), {PreviewStyle::Ramp}, [&](BandWriter& result) {
        streamMask(heights, result, tiling, output.stream, context);
    });
}

void commandSmooth(InputArgs const& input, OutputArgs const& output, SmoothOptions const& options,
                   Tiling const& tiling, RunContext const& context) {
    checkOutput(output);
    HeightReader const heights(input.path, input.read);
    auto const type = heightType(output, "smooth", heights);
    streamed(output, resultLayout(heights, type, FloatNodata, true), {PreviewStyle::Relief}, [&](BandWriter& result) {
        streamSmooth(heights, result, options, tiling, output.stream, context);
    });
}

std::string commandSobel(InputArgs const& input, OutputArgs const& output, double slopeDegrees, Tiling const& tiling,
                         RunContext const& context, bool keepPartial) {
    checkOutput(output);
    HeightReader const heights(input.path, input.read);
    auto const type = resultType(output, "sobel", {GDT_Float32}, GDT_Float32);
    streamed(output, resultLayout(heights, type, FloatNodata), {PreviewStyle::Ramp}, [&](BandWriter& result) {
        streamSobel(heights, result, slopeDegrees, keepPartial, tiling, output.stream, context);
    });
    return planeGradientNote(wholeRaster(heights), slopeDegrees);
}

void commandSlope(InputArgs const& input, OutputArgs const& output, SlopeOptions const& options,
                  Tiling const& tiling, RunContext const& context) {
    checkOutput(output);
    HeightReader const heights(input.path, input.read);
    auto const type = resultType(output, "slope", {GDT_Float32}, GDT_Float32);
    streamed(output, resultLayout(heights, type, FloatNodata), {PreviewStyle::Ramp}, [&](BandWriter& result) {
        streamSlope(heights, result, options, tiling, output.stream, context);
    });
}

void commandCalc(std::string const& operation, InputArgs const& first, InputArgs const& second,
                 OutputArgs const& output, Tiling const& tiling, RunContext const& context) {
    auto const arithmetic = arithmeticNamed(operation);
    checkOutput(output);
    HeightReader const a(first.path, first.read);
    HeightReader const b(second.path, second.read);
    // Differences read best around zero.
    auto const style = arithmetic == Rastrum::Operandi::Subtract ? PreviewStyle::Diverging : PreviewStyle::Ramp;
    // Both in double precision when either is Float64.
    auto const type = std::max(heightType(output, "calc", a), heightType(output, "calc", b));
    // Sums and differences are heights; products and quotients are not.
    bool const heights = arithmetic == Rastrum::Operandi::Add || arithmetic == Rastrum::Operandi::Subtract;
    streamed(output, resultLayout(a, type, FloatNodata, heights), {style}, [&](BandWriter& result) {
        streamCalc(arithmetic, a, b, result, tiling, output.stream, context);
    });
}

void commandOverwrite(InputArgs const& input, OutputArgs const& output, OverwriteOptions const& options,
                      Tiling const& tiling, RunContext const& context) {
    checkOutput(output);
    HeightReader const heights(input.path, input.read);
    auto const type = resultType(output, "overwrite", {GDT_Byte}, GDT_Byte);
    streamed(output, resultLayout(heights, type, std::nullopt), {PreviewStyle::Ramp}, [&](BandWriter& result) {
        streamOverwrite(heights, result, options, tiling, output.stream, context);
    });
}

void commandIso(std::string const& input, OutputArgs const& output, Tiling const& tiling, RunContext const& context) {
    checkOutput(output);
    MarkerReader const volume(input);
    // The middle layer shows the most of a density.
    int const middle = static_cast<int>(volume.layers() + 1) / 2;
    ResultLayout const layout{.width = volume.width(),
                              .height = volume.height(),
                              .bands = volume.layers(),
                              .type = resultType(output, "iso", {GDT_Float32}, GDT_Float32),
                              .georef = volume.georef(),
                              .holeNodata = FloatNodata,
                              .metadataFrom = volume.dataset()};
    streamed(output, layout, {PreviewStyle::Ramp, middle}, [&](BandWriter& result) {
        streamIso(volume, result, tiling, output.stream, context);
    });
}

std::string commandMesh(InputArgs const& input, OutputArgs const& output, MeshOptions const& options,
                        Tiling const& tiling, RunContext const& context) {
    UpAxis const up = meshUpAxis(output.path, options.up);
    AtomicOutput mesh(output.path, output.options.overwrite);
    checkPreview(output);
    auto const heights = readHeights(input.path, input.read);
    auto const file = openMeshFile(mesh.tmpPath(), surfaceOrigin(heights), up);
    if (options.maxError) {
        streamSimplifiedSurface(heights, *options.maxError, *file);
    } else {
        streamWeldedSurface(heights, tiling, context, *file);
    }
    file->finish();
    std::optional<AtomicOutput> png;
    if (!output.preview.empty()) {
        auto const memory = inMemory(output.preview, heights.heights, heights.georef, FloatNodata);
        renderPicture(png, output, memory.get(), {PreviewStyle::Relief});
    }
    mesh.commit();
    if (png) {
        png->commit();
    }
    return geographicNote(heights);
}

} // namespace rastrum_host

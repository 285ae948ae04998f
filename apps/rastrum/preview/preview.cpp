#include "preview/preview.hpp"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_string.h>
#include <gdal_utils.h>
#include <ogr_srs_api.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <ranges>
#include <span>
#include <string>
#include <vector>

#include "core/errors.hpp"
#include "preview/canvas.hpp"

namespace rastrum_host {
namespace {

// Viridis at eight even steps: perceptually uniform and readable without colour vision.
constexpr std::array<Colour, 8> viridis{{{68, 1, 84},
                                         {70, 50, 126},
                                         {54, 92, 141},
                                         {39, 127, 142},
                                         {31, 161, 135},
                                         {74, 193, 109},
                                         {160, 218, 57},
                                         {253, 231, 37}}};

// Red-blue diverging ramp, blue end first, white in the middle.
constexpr std::array<Colour, 7> blueWhiteRed{{{33, 102, 172},
                                              {103, 169, 207},
                                              {209, 229, 240},
                                              {247, 247, 247},
                                              {253, 219, 199},
                                              {239, 138, 98},
                                              {178, 24, 43}}};

constexpr double metresPerDegree = 111120.0;
constexpr Colour white{255, 255, 255};
constexpr Colour black{0, 0, 0};
constexpr Colour hole{HoleColour[0], HoleColour[1], HoleColour[2]};
constexpr int legendHeight = 8 + 12 + 6 + Canvas::TextHeight + 6;
constexpr int margin = 8;

struct CloseDataset {
    void operator()(void* dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<void, CloseDataset>;

std::string failure(std::string const& what) {
    std::string message = "cannot render the preview: " + what;
    if (CPLGetLastErrorType() >= CE_Failure) {
        message += std::string(" (") + CPLGetLastErrorMsg() + ")";
    }
    return message;
}

// Runs a GDAL utility whose options are given as arguments into an in-memory dataset.
template <class Options, class New, class Free, class Run>
Dataset inMemory(std::vector<std::string> arguments, New make, Free release, Run run) {
    arguments.insert(arguments.begin(), {"-of", "MEM"});
    CPLStringList list;
    for (auto const& argument : arguments) {
        list.AddString(argument.c_str());
    }
    std::unique_ptr<Options, Free> const options(make(list.List(), nullptr), release);
    return Dataset(run(options.get()));
}

// The band alone as Float64, averaged down so that its long side is at most MaxPreviewSide.
Dataset fitted(GDALDatasetH source, int band) {
    int const width = GDALGetRasterXSize(source);
    int const height = GDALGetRasterYSize(source);
    double const shrink = std::min(1.0, static_cast<double>(MaxPreviewSide) / std::max(width, height));
    auto const side = [&](int cells) { return std::to_string(std::max(1, static_cast<int>(std::lround(cells * shrink)))); };
    return inMemory<GDALTranslateOptions>(
        {"-b", std::to_string(band), "-ot", "Float64", "-r", "average", "-outsize", side(width), side(height)},
        GDALTranslateOptionsNew, GDALTranslateOptionsFree,
        [&](GDALTranslateOptions* options) { return GDALTranslate("", source, options, nullptr); });
}

bool isGeographic(GDALDatasetH source) {
    OGRSpatialReferenceH const srs = GDALGetSpatialRef(source);
    return srs != nullptr && OSRIsGeographic(srs) != 0;
}

// The band's values, NaN where it has no data.
std::vector<double> valuesOf(GDALDatasetH dataset) {
    GDALRasterBandH const band = GDALGetRasterBand(dataset, 1);
    int const width = GDALGetRasterXSize(dataset);
    int const height = GDALGetRasterYSize(dataset);
    std::vector<double> values(static_cast<std::size_t>(width * height));
    if (GDALRasterIO(band, GF_Read, 0, 0, width, height, values.data(), width, height, GDT_Float64, 0, 0) != CE_None) {
        return {};
    }
    int hasNodata = 0;
    double const nodata = GDALGetRasterNoDataValue(band, &hasNodata);
    for (double& value : values) {
        value = (hasNodata != 0 && value == nodata) || !std::isfinite(value) ? NAN : value;
    }
    return values;
}

// The value below which `fraction` of the values lie.
double percentile(std::vector<double> values, double fraction) {
    auto const at = values.begin() + static_cast<std::ptrdiff_t>(fraction * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

Colour along(std::span<Colour const> stops, double t) {
    double const position = std::clamp(t, 0.0, 1.0) * static_cast<double>(stops.size() - 1);
    auto const i = std::min(static_cast<std::size_t>(position), stops.size() - 2);
    double const f = position - static_cast<double>(i);
    Colour colour{};
    for (std::size_t c = 0; c < 3; ++c) {
        colour[c] = static_cast<std::uint8_t>(std::lround(stops[i][c] + f * (stops[i + 1][c] - stops[i][c])));
    }
    return colour;
}

std::string label(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.4g", value);
    return text.data();
}

// How values become colours, and the values at the legend's ends.
struct Stretch {
    std::span<Colour const> stops;
    double low = 0.0;
    double high = 1.0;
    Colour at(double value) const { return along(stops, (value - low) / (high - low)); }
};

Stretch stretchOf(std::vector<double> const& values, PreviewStyle style) {
    if (style == PreviewStyle::Relief) {
        // A loop rather than a filtered view, which clang 14 (the fuzz build) cannot compile.
        double low = HUGE_VAL;
        double high = -HUGE_VAL;
        for (double const value : values) {
            low = std::isnan(value) ? low : std::min(low, value);
            high = std::isnan(value) ? high : std::max(high, value);
        }
        return {{}, low, high};
    }
    std::vector<double> data;
    for (double const value : values) {
        if (!std::isnan(value)) {
            data.push_back(style == PreviewStyle::Diverging ? std::abs(value) : value);
        }
    }
    if (style == PreviewStyle::Diverging) {
        double const reach = std::max(percentile(data, 0.98), 1e-12);
        return {blueWhiteRed, -reach, reach};
    }
    double const low = percentile(data, 0.02);
    double const high = percentile(data, 0.98);
    return {viridis, low, high > low ? high : low + 1.0};
}

// The map in colours, on a canvas wide enough for the legend below it.
Canvas mapped(std::vector<double> const& values, std::vector<double> const& shade, int width, int height,
              Stretch const& stretch) {
    int const legendWidth = 2 * Canvas::textWidth("-0.0000e+00") + 3 * margin;
    Canvas canvas(std::max(width, legendWidth), height + legendHeight, white);
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            auto const i = static_cast<std::size_t>(row * width + column);
            bool const none = std::isnan(values[i]) || (!shade.empty() && std::isnan(shade[i]));
            auto const grey = shade.empty() || none ? std::uint8_t{0} : static_cast<std::uint8_t>(shade[i]); // no NaN cast
            canvas.set(column, row, none ? hole : shade.empty() ? stretch.at(values[i]) : Colour{grey, grey, grey});
        }
    }
    return canvas;
}

// The ramp from end to end with the values at its ends (and 0 in the middle
// of a diverging one); a relief only gets the range of its heights.
void drawLegend(Canvas& canvas, int top, Stretch const& stretch, bool bar) {
    int const length = canvas.width() - 2 * margin;
    if (bar) {
        for (int x = 0; x < length; ++x) {
            canvas.fill(margin + x, top + 8, 1, 12,
                        along(stretch.stops, static_cast<double>(x) / std::max(length - 1, 1)));
        }
    }
    int const text = top + 8 + 12 + 6;
    std::string const high = label(stretch.high);
    canvas.write(margin, text, label(stretch.low), black);
    canvas.write(canvas.width() - margin - Canvas::textWidth(high), text, high, black);
    if (bar && stretch.low < 0.0 && stretch.high > 0.0) {
        canvas.write(canvas.width() / 2 - Canvas::textWidth("0") / 2, text, "0", black);
    }
}

void writePng(Canvas const& canvas, std::filesystem::path const& png) {
    Dataset const memory(GDALCreate(GDALGetDriverByName("MEM"), "", canvas.width(), canvas.height(), 3, GDT_Byte,
                                    nullptr));
    auto* pixels = const_cast<std::uint8_t*>(canvas.pixels().data());
    if (!memory || GDALDatasetRasterIO(memory.get(), GF_Write, 0, 0, canvas.width(), canvas.height(), pixels,
                                       canvas.width(), canvas.height(), GDT_Byte, 3, nullptr, 3,
                                       3 * canvas.width(), 1) != CE_None) {
        throw InputError(failure("out of memory"));
    }
    CPLErrorReset();
    Dataset const picture(GDALCreateCopy(GDALGetDriverByName("PNG"), png.c_str(), memory.get(), FALSE, nullptr,
                                         nullptr, nullptr));
    if (!picture || CPLGetLastErrorType() >= CE_Failure) {
        throw InputError(failure("writing failed"));
    }
}

} // namespace

void renderPreview(GDALDatasetH source, int band, PreviewStyle style, std::filesystem::path const& png) {
    CPLErrorHandlerPusher const quiet(CPLQuietErrorHandler);
    // No .aux.xml beside the picture: the caller renames the picture alone.
    CPLConfigOptionSetter const noSideFile("GDAL_PAM_ENABLED", "NO", false);
    CPLErrorReset();
    if (band < 1 || band > GDALGetRasterCount(source)) {
        throw InputError(failure("there is no band " + std::to_string(band)));
    }
    Dataset const small = fitted(source, band);
    auto const values = small ? valuesOf(small.get()) : std::vector<double>{};
    if (std::ranges::all_of(values, [](double value) { return std::isnan(value); })) {
        throw InputError(failure("the band holds no data"));
    }
    int const width = GDALGetRasterXSize(small.get());
    int const height = GDALGetRasterYSize(small.get());

    std::vector<double> shade;
    auto const stretch = stretchOf(values, style);
    if (style == PreviewStyle::Relief) {
        std::vector<std::string> arguments{"-multidirectional", "-compute_edges"};
        if (isGeographic(small.get())) {
            arguments.insert(arguments.end(), {"-s", std::to_string(metresPerDegree)});
        }
        Dataset const relief = inMemory<GDALDEMProcessingOptions>(
            arguments, GDALDEMProcessingOptionsNew, GDALDEMProcessingOptionsFree,
            [&](GDALDEMProcessingOptions* options) {
                return GDALDEMProcessing("", small.get(), "hillshade", nullptr, options, nullptr);
            });
        shade = relief ? valuesOf(relief.get()) : std::vector<double>{};
        if (shade.size() != values.size()) {
            throw InputError(failure("the hillshade failed"));
        }
    }
    auto canvas = mapped(values, shade, width, height, stretch);
    drawLegend(canvas, height, stretch, style != PreviewStyle::Relief);
    writePng(canvas, png);
}

} // namespace rastrum_host

#include "preview/preview.hpp"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_string.h>
#include <cpl_vsi.h>
#include <gdal_utils.h>
#include <ogr_srs_api.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

#include "core/errors.hpp"

namespace rastrum_host {
namespace {

using Colour = std::array<int, 3>;

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

// A colour table for color-relief: the stops spread evenly from low to high.
std::string colourTable(std::span<Colour const> stops, double low, double high) {
    std::string table;
    for (std::size_t i = 0; i < stops.size(); ++i) {
        double const value = low + (high - low) * static_cast<double>(i) / static_cast<double>(stops.size() - 1);
        std::array<char, 96> line{};
        std::snprintf(line.data(), line.size(), "%.17g %d %d %d 255\n", value, stops[i][0], stops[i][1],
                      stops[i][2]);
        table += line.data();
    }
    return table + "nv 0 0 0 0\n";
}

// A color-relief table in GDAL's in-memory file system, removed with this object.
class MemoryFile {
public:
    explicit MemoryFile(std::string const& text) : name_("/vsimem/rastrum_preview_" + std::to_string(++counter_) + ".txt") {
        VSILFILE* file = VSIFOpenL(name_.c_str(), "wb");
        VSIFWriteL(text.data(), 1, text.size(), file);
        VSIFCloseL(file);
    }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;
    ~MemoryFile() { VSIUnlink(name_.c_str()); }
    char const* name() const { return name_.c_str(); }

private:
    static inline std::atomic<unsigned> counter_{0};
    std::string name_;
};

std::string failure(std::filesystem::path const& png, std::string const& what) {
    std::string message = png.string() + ": cannot render the preview: " + what;
    if (CPLGetLastErrorType() >= CE_Failure) {
        message += std::string(" (") + CPLGetLastErrorMsg() + ")";
    }
    return message;
}

std::string tableFor(GDALRasterBandH band, PreviewStyle style, std::filesystem::path const& png) {
    std::array<double, 2> range{};
    if (GDALComputeRasterMinMax(band, FALSE, range.data()) != CE_None) {
        throw InputError(failure(png, "the band holds no data"));
    }
    if (style == PreviewStyle::Diverging) {
        double const reach = std::max(std::abs(range[0]), std::abs(range[1]));
        return colourTable(blueWhiteRed, -std::max(reach, 1e-12), std::max(reach, 1e-12));
    }
    return colourTable(viridis, range[0], range[1] > range[0] ? range[1] : range[0] + 1.0);
}

bool isGeographic(GDALDatasetH source) {
    OGRSpatialReferenceH const srs = GDALGetSpatialRef(source);
    return srs != nullptr && OSRIsGeographic(srs) != 0;
}

} // namespace

void renderPreview(GDALDatasetH source, int band, PreviewStyle style, std::filesystem::path const& png) {
    CPLErrorHandlerPusher const quiet(CPLQuietErrorHandler);
    // No .aux.xml beside the picture: the caller renames the picture alone.
    CPLConfigOptionSetter const noSideFile("GDAL_PAM_ENABLED", "NO", false);
    CPLErrorReset();
    if (band < 1 || band > GDALGetRasterCount(source)) {
        throw InputError(png.string() + ": cannot render the preview: there is no band " + std::to_string(band));
    }

    CPLStringList arguments;
    arguments.AddString("-of");
    arguments.AddString("PNG");
    arguments.AddString("-b");
    arguments.AddString(std::to_string(band).c_str());
    std::unique_ptr<MemoryFile> table;
    char const* processing = "hillshade";
    if (style == PreviewStyle::Relief) {
        arguments.AddString("-multidirectional");
        arguments.AddString("-compute_edges");
        if (isGeographic(source)) {
            arguments.AddString("-s");
            arguments.AddString(std::to_string(metresPerDegree).c_str());
        }
    } else {
        processing = "color-relief";
        arguments.AddString("-alpha");
        table = std::make_unique<MemoryFile>(tableFor(GDALGetRasterBand(source, band), style, png));
    }

    std::unique_ptr<GDALDEMProcessingOptions, decltype(&GDALDEMProcessingOptionsFree)> const options(
        GDALDEMProcessingOptionsNew(arguments.List(), nullptr), &GDALDEMProcessingOptionsFree);
    GDALDatasetH const picture = GDALDEMProcessing(png.c_str(), source, processing,
                                                   table ? table->name() : nullptr, options.get(), nullptr);
    if (picture == nullptr) {
        throw InputError(failure(png, "writing failed"));
    }
    // Closing writes the rest of the file; its failures show only as the last error.
    CPLErrorReset();
    GDALClose(picture);
    if (CPLGetLastErrorType() >= CE_Failure) {
        throw InputError(failure(png, "writing failed"));
    }
}

} // namespace rastrum_host

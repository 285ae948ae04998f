#pragma once

#include <gdal.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace rastrum_host {

// How a result is written, as GDAL's own tools take it.
struct OutputOptions {
    std::string format;                        // a GDAL driver's short name (-of); empty: from the extension
    bool overwrite = false;                    // replace an existing output (--overwrite)
    std::vector<std::string> creationOptions;  // NAME=VALUE (-co), over the defaults
    std::optional<double> nodata;              // the nodata value of float results (--dstnodata)
};

// GDAL's name for standard output: a result for it is written as a file of
// its own (GeoTIFF unless -of says otherwise) whose bytes are then copied
// out, since few drivers stream; side files (.prj, .aux.xml) are not.
bool isStandardOutput(std::filesystem::path const& path);

// The GDAL driver that writes `path`: the one named by `format`, else the first
// raster driver that lists the file's extension. InputError when there is
// none or it cannot write rasters.
GDALDriverH outputDriver(std::filesystem::path const& path, std::string const& format);

// What writing a result of `type` in `bands` bands to `path` takes: its
// driver, whether it goes through a staged GeoTIFF (drivers without direct
// writing), the creation options, and the nodata value of holes. InputError,
// before any work, for a format that cannot hold such a result.
struct OutputPlan {
    GDALDriverH driver = nullptr;
    bool staged = false;
    std::vector<std::string> creationOptions;
    std::optional<double> nodata;
};
OutputPlan planOutput(std::filesystem::path const& path, OutputOptions const& options, GDALDataType type,
                      int bands, std::optional<double> holeNodata);

// GDAL's own warnings on creation options `driver` does not know or values
// it does not recognise (as gdal_translate shows them); GDAL ignores those.
std::vector<std::string> creationOptionWarnings(GDALDriverH driver, std::vector<std::string> const& options);

// The creation options for a GeoTIFF written directly: tiled, compressed
// (ZSTD level 1 with a predictor), BIGTIFF when needed, with `given`
// (NAME=VALUE) taking precedence; compressed on GDAL's threads.
std::vector<std::string> geotiffOptions(std::vector<std::string> const& given);

// The finite value holes get where a format does not record NaN as nodata:
// the lowest Float32, -3.4028234663852886e38.
double finiteNodata();

} // namespace rastrum_host

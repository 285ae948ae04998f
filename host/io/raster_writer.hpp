#pragma once

#include <gdal.h>

#include <filesystem>
#include <optional>
#include <string>

#include "io/gdal_dataset.hpp"
#include "core/raster.hpp"

namespace rastrum_host {

struct OutputOptions {
    std::string format;     // a GDAL driver's short name (-of); empty: from the file's extension
    bool overwrite = false; // replace an existing output (--overwrite)
};

// The GDAL driver that writes `path`: the one named by `format`, else the first
// raster driver that lists the file's extension. InputError when there is
// none or it cannot write rasters.
GDALDriverH outputDriver(std::filesystem::path const& path, std::string const& format);

// A float or unsigned 8-bit raster as an in-memory GDAL dataset with the given
// georeferencing and, when given, the nodata value of every band; `path`
// names the output in messages.
template <class T>
Dataset inMemory(std::filesystem::path const& path, Raster<T> const& raster, Georeference const& georef,
                 std::optional<double> nodata);

// Copies a dataset to tmpPath in the format of `path` (see outputDriver).
void writeDataset(GDALDatasetH dataset, std::filesystem::path const& tmpPath, std::filesystem::path const& path,
                  OutputOptions const& options);

// Writes a float, unsigned 8-bit or unsigned 16-bit raster with the given georeferencing and,
// when given, the nodata value of every band. All or nothing: see AtomicOutput.
template <class T>
void writeRaster(std::filesystem::path const& path, Raster<T> const& raster, Georeference const& georef,
                 OutputOptions const& options, std::optional<double> nodata);

} // namespace rastrum_host

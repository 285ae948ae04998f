#pragma once

#include <gdal.h>

#include <filesystem>
#include <optional>
#include <string>

#include "io/gdal_dataset.hpp"
#include "io/output_format.hpp"
#include "core/raster.hpp"

namespace rastrum_host {

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

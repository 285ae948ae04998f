#pragma once

#include <gdal.h>

#include <memory>
#include <string>

#include "core/raster.hpp"

namespace rastrum_host {

struct DatasetCloser {
    void operator()(void* dataset) const { GDALClose(dataset); }
};
// An open GDAL dataset, closed (and, when written, flushed) on destruction.
using Dataset = std::unique_ptr<void, DatasetCloser>;

// Registers GDAL's drivers once and keeps GDAL's own messages off the
// terminal: the host reports problems itself, quoting GDAL's last message.
void useGdal();

// The last message GDAL raised, or a generic text when it raised none.
std::string gdalMessage();

// Opens a raster for reading; InputError naming the file when it is missing,
// unreadable or not a raster GDAL knows.
Dataset openRaster(std::string const& path);

Georeference georeferenceOf(GDALDatasetH dataset);

} // namespace rastrum_host

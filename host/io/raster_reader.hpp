#pragma once

#include <string>

#include "core/raster.hpp"

namespace rastrum_host {

struct ReadOptions {
    int band = 1;                  // 1-based, as GDAL counts (-b)
    std::string cellTypesPath;     // unsigned 8-bit codes instead of the nodata mask (--cell-types)
    bool terrainRgb = false;       // bands 1 to 3 encode the height (--terrain-rgb)
};

// Reads the heights of one band (or of a terrain-RGB encoding). Cells GDAL
// masks as nodata, and NaN heights, get cell type 1 and a NaN height; all
// others cell type 0, unless --cell-types supplies the codes.
HeightInput readHeights(std::string const& path, ReadOptions const& options);

// Reads every band of an integer raster as one layer of a marker volume.
MarkerVolume readMarkerVolume(std::string const& path);

} // namespace rastrum_host

#pragma once

#include <string>

#include "io/raster_reader.hpp"
#include "tiling/tiled_grid.hpp"

namespace rastrum_host {

// What `rastrum info` prints: size, bands, element type, georeferencing, CRS,
// nodata, holes, the range of the heights of data cells, and how the raster
// would be cut into fragments.
std::string describeRaster(std::string const& path, ReadOptions const& options, Tiling const& tiling);

} // namespace rastrum_host

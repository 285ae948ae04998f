#pragma once

#include <string>

#include "core/raster.hpp"
#include "mesh/mesh_sink.hpp"

namespace rastrum_host {

// InputError naming the file and the cell when a data cell's height cannot
// be a vertex: not finite (a nodata cell that --cell-types calls data, an
// infinity), or of a size no terrain has, such as -3.4028235e38, a common
// nodata value the file does not declare. One such cell would otherwise put
// every other vertex out of reach of single precision.
void requireMeshableHeights(HeightInput const& input);

// The point mesh files store their vertices relative to: the western and
// southern cell centres and the lowest data height, rounded down to whole
// units and exact in single precision, so that a float of it is the very
// value subtracted.
MeshPoint surfaceOrigin(HeightInput const& input);

// A note for rasters whose CRS is geographic, empty for others: a surface's x
// and y are then degrees beside heights in metres, which viewers show
// stretched tall; it says by how much and names the UTM zone to reproject to.
std::string geographicNote(HeightInput const& input);

} // namespace rastrum_host

#pragma once

#include <cstdint>
#include <vector>

namespace rastrum_host {

// Two surveys of a generated river valley, for demonstrations: the second one
// after the banks were eroded, a landslide went down and a fan was deposited,
// so that the difference of the two ("DEM of difference") shows all three.
//
// Rasters are row-major, row 0 = north, like a GeoTIFF; the georeference is the
// GDAL geotransform (originX, spacing, 0, originY, 0, -spacing), i.e. the origin
// is the top-left corner of the top-left cell. Heights in metres.
//
// Layout, as fractions of the width (u, from west) and height (v, from north):
// - A river runs from north to south, meandering about u = 0.5 in a valley
//   whose floor falls to the south; fractal relief around it.
// - Holes (nodata in both surveys): a lake, an elliptical widening of the river
//   at v = 0.3; a strip outside the survey, u > 0.94 and v < 0.3; scattered
//   dropouts, 0.5 % of the cells. Together about 3 % of the grid. Heights
//   under holes are still filled in; `holes` says which cells are nodata.
// - Changes from `before` to `after`: the banks are eroded by up to 1.5 m north
//   of v = 0.7; a landslide scar up to 3 m deep lies on the east valley side at
//   v = 0.5; a fan of deposits up to 2.5 m thick spreads downstream from the
//   river at v = 0.8. Nothing else changes.
struct DemoTerrain {
    std::uint32_t width, height;
    double originX, originY, spacing;
    std::vector<float> before, after;
    std::vector<std::uint8_t> holes; // 1 = nodata
    std::vector<double> channelColumn; // per row, the column of the river's centre line
};

// The same width, height and seed give the same terrain on every platform.
// Throws std::invalid_argument for grids smaller than 16 x 16.
DemoTerrain generateDemoTerrain(std::uint32_t width, std::uint32_t height, std::uint64_t seed);

// Markers for iso-surfaces of the deposits: a width x height x layers volume
// (x fastest, then rows, then layers), 1 in layer k where at least
// (k + 1) * layerThickness metres were deposited on a data cell, 0 elsewhere.
std::vector<std::uint16_t> depositionMarkers(DemoTerrain const& terrain, std::uint32_t layers, float layerThickness);

} // namespace rastrum_host

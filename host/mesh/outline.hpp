#pragma once

#include <cstdint>
#include <vector>

#include "mesh/face_scan.hpp"

namespace rastrum_host {

// The corners of the convex hull of the data cells in columns from to to,
// counter-clockwise, no three collinear; fewer than three when those cells
// span no area.
std::vector<GridPoint> hullCorners(ScanGrid const& grid, std::int32_t from, std::int32_t to);

// The cells of a column of data cells, from south to north, that keep every
// cell of it within maxError of the line through its neighbours among them,
// bar the column's two ends, which are always kept and left out here.
std::vector<GridPoint> seamCorners(ScanGrid const& grid, std::int32_t column, double maxError);

} // namespace rastrum_host

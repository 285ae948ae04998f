#pragma once

#include <array>

#include "mesh/face_scan.hpp"

namespace rastrum_host {

// The plane through a face's corners, evaluated as a slope along each row;
// the threshold is the error bound lowered by a bound on that rounding.
struct FacePlane {
    double h0;
    double slopeX;
    double slopeY;
    double threshold;
};

// Scans a face block by block, a whole 4 x 4 block of cells at once, for
// faces that span fewer than BlockScanReach columns and rows (whose edge
// areas stay below 2^31, exact in the lanes); the results are those of a
// scan row by row. `path` names the lanes, one of the block paths.
constexpr std::int32_t BlockScanReach = 1 << 14;
void worstCellByBlocks(ScanPath path, ScanGrid const& grid, std::array<GridPoint, 3> const& corners, FacePlane const& plane,
                       FaceFinding& found);
bool withinErrorByBlocks(ScanPath path, ScanGrid const& grid, std::array<GridPoint, 3> const& corners, FacePlane const& plane);

} // namespace rastrum_host

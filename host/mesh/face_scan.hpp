#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/raster.hpp"
#include "mesh/grid_triangulation.hpp"
#include "tiling/tiled_grid.hpp"

namespace rastrum_host {

// The heights and cell types a surface is made of, addressed by grid cell.
struct ScanGrid {
    float const* heights;
    std::uint8_t const* types;
    std::int32_t columns;
    std::int32_t rows;
    bool northUp;
    GridPlacement placement;
    // The columns the scans look at: a part refined on its own leaves out its seam.
    std::int32_t scanFrom;
    std::int32_t scanTo;

    std::size_t rowStart(std::int32_t y) const {
        return static_cast<std::size_t>(northUp ? rows - 1 - y : y) * static_cast<std::size_t>(columns);
    }
    double height(GridPoint c) const { return heights[rowStart(c.y) + static_cast<std::size_t>(c.x)]; }
    bool isData(GridPoint c) const { return !isHole(types[rowStart(c.y) + static_cast<std::size_t>(c.x)]); }
};

// A face's data cell farthest from its plane, among those that are not its corners.
struct FaceFinding {
    double error;     // negative when the face holds no data cell but its corners
    double threshold; // the error bound, lowered by a bound on the rounding of the plane
    GridPoint worst;
    bool coversHole;
};

// Scans the cells inside the counter-clockwise triangle or on its edges.
FaceFinding worstCell(ScanGrid const& grid, std::array<GridPoint, 3> const& corners, double maxError);
// Whether a data cell of the triangle is within the error of its plane, as the scans find it.
bool cellWithinError(ScanGrid const& grid, std::array<GridPoint, 3> const& corners, GridPoint cell, double maxError);
// Whether every cell of the triangle is data within the error of its plane.
bool withinError(ScanGrid const& grid, std::array<GridPoint, 3> const& corners, double maxError);

} // namespace rastrum_host

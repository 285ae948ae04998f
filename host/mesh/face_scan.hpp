#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/grid_triangulation.hpp"
#include "tiling/tiled_grid.hpp"

namespace rastrum_host {

// The heights of a grid in blocks of 4 x 4 cells, one cache line each, so
// that the cells of a small triangle share few lines; rows count from the
// south and holes hold NaN (data cells never do).
class CellBlocks {
public:
    CellBlocks(float const* heights, std::uint8_t const* types, std::int32_t columns, std::int32_t rows, bool northUp);
    CellBlocks(CellBlocks const&) = delete;
    CellBlocks& operator=(CellBlocks const&) = delete;
    float const* cells() const { return cells_; }
    std::size_t rowOfBlocks() const { return rowOfBlocks_; }

private:
    std::vector<float> storage_;
    float* cells_;
    std::size_t rowOfBlocks_; // floats in a row of blocks
};

// The heights a surface is made of, addressed by grid cell.
struct ScanGrid {
    float const* cells; // as CellBlocks lays them out
    std::size_t rowOfBlocks;
    std::int32_t columns;
    std::int32_t rows;
    GridPlacement placement;
    // The columns the scans look at: a part refined on its own leaves out its seam.
    std::int32_t scanFrom;
    std::int32_t scanTo;

    // Where row y's cells of the block row start, and where cell x lies from there.
    std::size_t rowStart(std::int32_t y) const {
        auto const row = static_cast<std::size_t>(y);
        return (row >> 2) * rowOfBlocks + (row & 3) * 4;
    }
    static std::size_t column(std::int32_t x) {
        auto const c = static_cast<std::size_t>(x);
        return (c >> 2) * 16 + (c & 3);
    }
    double height(GridPoint c) const { return cells[rowStart(c.y) + column(c.x)]; }
    bool isData(GridPoint c) const { return !std::isnan(cells[rowStart(c.y) + column(c.x)]); }
};

// A face's data cell farthest from its plane, among those that are not its corners.
struct FaceFinding {
    double error;     // negative when the face holds no data cell but its corners
    double threshold; // the error bound, lowered by a bound on the rounding of the plane
    GridPoint worst;
    bool coversHole;
};

// How faces are scanned: row by row, or by blocks of cells in the lanes of
// an instruction set; every way finds the same. The widest this processor
// runs is used unless told otherwise.
enum class ScanPath { Rows, Blocks, Avx2Blocks, Avx512Blocks };
ScanPath widestScanPath();
ScanPath scanPath();
void useScanPath(ScanPath path); // held to the widest this processor runs

// Scans the cells inside the counter-clockwise triangle or on its edges.
FaceFinding worstCell(ScanGrid const& grid, std::array<GridPoint, 3> const& corners, double maxError);
// By how much a data cell of the triangle misses the error bound of its
// plane, as the scans find it: not positive when it is within.
double cellExcess(ScanGrid const& grid, std::array<GridPoint, 3> const& corners, GridPoint cell, double maxError);
// Whether every cell of the triangle is data within the error of its plane.
bool withinError(ScanGrid const& grid, std::array<GridPoint, 3> const& corners, double maxError);

} // namespace rastrum_host

#include "mesh/face_scan.hpp"

#include <algorithm>
#include <cstdint>
#include <cmath>
#include <limits>

#include "core/raster.hpp"
#include "mesh/block_scan.hpp"

namespace rastrum_host {

CellBlocks::CellBlocks(float const* heights, std::uint8_t const* types, std::int32_t columns, std::int32_t rows,
                       bool northUp)
    : rowOfBlocks_(static_cast<std::size_t>(columns + 3) / 4 * 16) {
    constexpr std::size_t Line = 16; // floats in a cache line, which blocks start on
    std::size_t const blockRows = static_cast<std::size_t>(rows + 3) / 4;
    storage_.assign(blockRows * rowOfBlocks_ + Line, std::numeric_limits<float>::quiet_NaN());
    auto const misalignment = reinterpret_cast<std::uintptr_t>(storage_.data()) / sizeof(float) % Line;
    cells_ = storage_.data() + (Line - misalignment) % Line;
    ScanGrid const grid{cells_, rowOfBlocks_, columns, rows, {}, 0, columns - 1};
    for (std::int32_t y = 0; y < rows; ++y) {
        auto const source = static_cast<std::size_t>(northUp ? rows - 1 - y : y) * static_cast<std::size_t>(columns);
        float* row = cells_ + grid.rowStart(y);
        auto const cell = [&](std::int32_t x) {
            std::size_t const i = source + static_cast<std::size_t>(x);
            return isHole(types[i]) ? std::numeric_limits<float>::quiet_NaN() : heights[i];
        };
        // Four cells of a row lie side by side in their block: copied four at a time.
        std::int32_t const whole = columns / 4 * 4;
        for (std::int32_t x = 0; x < whole; x += 4) {
            float* to = row + ScanGrid::column(x);
            for (std::int32_t k = 0; k < 4; ++k) {
                to[k] = cell(x + k);
            }
        }
        for (std::int32_t x = whole; x < columns; ++x) {
            row[ScanGrid::column(x)] = cell(x);
        }
    }
}

namespace {

// The threshold is lowered so far that no cell is ever found close enough
// when it is not.
FacePlane planeOf(ScanGrid const& grid, std::array<GridPoint, 3> const& c, double maxError) {
    double const h0 = grid.height(c[0]);
    double const dh1 = grid.height(c[1]) - h0, dh2 = grid.height(c[2]) - h0; // exact: differences of floats
    auto const x1 = static_cast<double>(c[1].x - c[0].x), y1 = static_cast<double>(c[1].y - c[0].y);
    auto const x2 = static_cast<double>(c[2].x - c[0].x), y2 = static_cast<double>(c[2].y - c[0].y);
    double const area = x1 * y2 - y1 * x2; // positive: faces are counter-clockwise
    double const slopeX = (dh1 * y2 - y1 * dh2) / area, slopeY = (x1 * dh2 - dh1 * x2) / area;
    auto const [xLow, xHigh] = extentOf(c[0].x, c[1].x, c[2].x);
    auto const [yLow, yHigh] = extentOf(c[0].y, c[1].y, c[2].y);
    double const reach = std::abs(h0) + std::abs(dh1) + std::abs(dh2) + std::abs(slopeX) * (xHigh - xLow) +
                         std::abs(slopeY) * (yHigh - yLow);
    return {h0, slopeX, slopeY, maxError - 16.0 * std::numeric_limits<double>::epsilon() * reach};
}

// How the face is scanned. Blocks cover the face's whole bounding box, which
// for a long sliver (along a diagonal outline, say) holds many times the
// face's cells: such faces, and faces too wide for the lanes, go row by row.
ScanPath pathFor(std::array<GridPoint, 3> const& c) {
    ScanPath const path = scanPath();
    auto const [xLow, xHigh] = extentOf(c[0].x, c[1].x, c[2].x);
    auto const [yLow, yHigh] = extentOf(c[0].y, c[1].y, c[2].y);
    std::int64_t const width = xHigh - xLow, height = yHigh - yLow;
    if (path == ScanPath::Rows || width >= BlockScanReach || height >= BlockScanReach) {
        return ScanPath::Rows;
    }
    constexpr std::int64_t FewBlocks = 64; // cells of the box below which blocks always pay
    std::int64_t const box = (width + 1) * (height + 1);
    std::int64_t const twiceCells = orientation(c[0], c[1], c[2]) + 2 * (width + height + 1); // about, by Pick
    return box <= FewBlocks || box <= 4 * twiceCells ? path : ScanPath::Rows;
}

// The quotient rounded down, for a positive divisor.
std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    std::int64_t const q = a / b;
    return a % b < 0 ? q - 1 : q;
}

// Calls visit(y, from, to) for each row y that holds cells inside the
// triangle or on its edges, from and to its first and last such column,
// clipped to the scanned columns, while visit returns true. For each edge,
// twice the signed area it makes with a cell, linear in the column, must not
// be negative.
template <typename Visit>
void forEachSpan(ScanGrid const& grid, std::array<GridPoint, 3> const& c, Visit&& visit) {
    auto const [yLow, yHigh] = extentOf(c[0].y, c[1].y, c[2].y);
    auto const [left, right] = extentOf(c[0].x, c[1].x, c[2].x);
    std::int32_t const xLow = std::max(left, grid.scanFrom), xHigh = std::min(right, grid.scanTo);
    if (xLow > xHigh) {
        return;
    }
    std::array<std::int64_t, 3> slope{}, offset{}; // the area of edge k at (x, y) is slope[k] * x + offset[k]
    for (std::size_t k = 0; k < 3; ++k) {
        GridPoint const a = c[k], b = c[(k + 1) % 3];
        slope[k] = a.y - b.y;
        offset[k] = std::int64_t{b.x - a.x} * (yLow - a.y) + std::int64_t{b.y - a.y} * a.x;
    }
    for (std::int32_t y = yLow; y <= yHigh; ++y) {
        std::int64_t from = xLow, to = xHigh;
        for (std::size_t k = 0; k < 3; ++k) {
            if (slope[k] > 0) {
                from = std::max(from, -floorDiv(offset[k], slope[k])); // the crossing rounded up
            } else if (slope[k] < 0) {
                to = std::min(to, floorDiv(offset[k], -slope[k]));
            } else if (offset[k] < 0) {
                to = from - 1;
            }
        }
        if (from <= to && !visit(y, static_cast<std::int32_t>(from), static_cast<std::int32_t>(to))) {
            return;
        }
        for (std::size_t k = 0; k < 3; ++k) {
            offset[k] += c[(k + 1) % 3].x - c[k].x;
        }
    }
}

} // namespace

FaceFinding worstCell(ScanGrid const& grid, std::array<GridPoint, 3> const& c, double maxError) {
    FacePlane const plane = planeOf(grid, c, maxError);
    FaceFinding found{-1.0, plane.threshold, {}, false};
    if (ScanPath const path = pathFor(c); path != ScanPath::Rows) {
        worstCellByBlocks(path, grid, c, plane, found);
        return found;
    }
    forEachSpan(grid, c, [&](std::int32_t y, std::int32_t from, std::int32_t to) {
        float const* heights = grid.cells + grid.rowStart(y);
        double const base = plane.h0 + plane.slopeY * (y - c[0].y);
        bool const cornerRow = y == c[0].y || y == c[1].y || y == c[2].y;
        for (std::int32_t x = from; x <= to; ++x) {
            float const height = heights[ScanGrid::column(x)];
            if (std::isnan(height)) {
                found.coversHole = true;
                continue;
            }
            double const error = std::abs(static_cast<double>(height) - (base + plane.slopeX * (x - c[0].x)));
            if (error > found.error && !(cornerRow && std::ranges::find(c, GridPoint{x, y}) != c.end())) {
                found.error = error;
                found.worst = {x, y};
            }
        }
        return true;
    });
    return found;
}

double cellExcess(ScanGrid const& grid, std::array<GridPoint, 3> const& c, GridPoint cell, double maxError) {
    FacePlane const plane = planeOf(grid, c, maxError);
    double const base = plane.h0 + plane.slopeY * (cell.y - c[0].y);
    return std::abs(grid.height(cell) - (base + plane.slopeX * (cell.x - c[0].x))) - plane.threshold;
}

bool withinError(ScanGrid const& grid, std::array<GridPoint, 3> const& c, double maxError) {
    FacePlane const plane = planeOf(grid, c, maxError);
    if (ScanPath const path = pathFor(c); path != ScanPath::Rows) {
        return withinErrorByBlocks(path, grid, c, plane);
    }
    bool within = true;
    forEachSpan(grid, c, [&](std::int32_t y, std::int32_t from, std::int32_t to) {
        float const* heights = grid.cells + grid.rowStart(y);
        double const base = plane.h0 + plane.slopeY * (y - c[0].y);
        for (std::int32_t x = from; within && x <= to; ++x) {
            double const height = heights[ScanGrid::column(x)]; // NaN at a hole fails the comparison
            within = std::abs(height - (base + plane.slopeX * (x - c[0].x))) <= plane.threshold;
        }
        return within;
    });
    return within;
}

} // namespace rastrum_host

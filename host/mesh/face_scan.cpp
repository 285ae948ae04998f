#include "mesh/face_scan.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace rastrum_host {
namespace {

// The plane through the corners' heights, evaluated as a slope along each
// row; the threshold is lowered by a bound on that rounding, so that no cell
// is ever found close enough when it is not.
struct Plane {
    double h0;
    double slopeX;
    double slopeY;
    double threshold;
    std::int32_t yLow;
    std::int32_t yHigh;
};

Plane planeOf(ScanGrid const& grid, std::array<GridPoint, 3> const& c, double maxError) {
    double const h0 = grid.height(c[0]);
    double const dh1 = grid.height(c[1]) - h0, dh2 = grid.height(c[2]) - h0; // exact: differences of floats
    auto const x1 = static_cast<double>(c[1].x - c[0].x), y1 = static_cast<double>(c[1].y - c[0].y);
    auto const x2 = static_cast<double>(c[2].x - c[0].x), y2 = static_cast<double>(c[2].y - c[0].y);
    double const area = x1 * y2 - y1 * x2; // positive: faces are counter-clockwise
    double const slopeX = (dh1 * y2 - y1 * dh2) / area, slopeY = (x1 * dh2 - dh1 * x2) / area;
    std::int32_t const yLow = std::min({c[0].y, c[1].y, c[2].y}), yHigh = std::max({c[0].y, c[1].y, c[2].y});
    std::int32_t const xLow = std::min({c[0].x, c[1].x, c[2].x}), xHigh = std::max({c[0].x, c[1].x, c[2].x});
    double const reach = std::abs(h0) + std::abs(dh1) + std::abs(dh2) + std::abs(slopeX) * (xHigh - xLow) +
                         std::abs(slopeY) * (yHigh - yLow);
    return {h0, slopeX, slopeY, maxError - 16.0 * std::numeric_limits<double>::epsilon() * reach, yLow, yHigh};
}

// The quotient rounded down, for a positive divisor.
std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    std::int64_t const q = a / b;
    return a % b < 0 ? q - 1 : q;
}

// The columns of row y inside the triangle or on its edges: for each edge,
// twice the signed area it makes with a cell, linear in the column, must not
// be negative. Clipped to the scanned columns.
std::pair<std::int32_t, std::int32_t> span(ScanGrid const& grid, std::array<GridPoint, 3> const& c, std::int32_t y) {
    std::int64_t from = grid.scanFrom, to = grid.scanTo;
    for (std::size_t k = 0; k < 3; ++k) {
        GridPoint const a = c[k], b = c[(k + 1) % 3];
        std::int64_t const slope = a.y - b.y; // the signed area is slope * x + offset
        std::int64_t const offset = std::int64_t{b.x - a.x} * (y - a.y) + std::int64_t{b.y - a.y} * a.x;
        if (slope == 0) {
            if (offset < 0) {
                return {1, 0};
            }
        } else if (slope > 0) {
            from = std::max(from, -floorDiv(offset, slope)); // the crossing rounded up
        } else {
            to = std::min(to, floorDiv(offset, -slope));
        }
    }
    return {static_cast<std::int32_t>(from), static_cast<std::int32_t>(to)};
}

} // namespace

FaceFinding worstCell(ScanGrid const& grid, std::array<GridPoint, 3> const& c, double maxError) {
    Plane const plane = planeOf(grid, c, maxError);
    FaceFinding found{-1.0, plane.threshold, {}, false};
    for (std::int32_t y = plane.yLow; y <= plane.yHigh; ++y) {
        auto const [from, to] = span(grid, c, y);
        std::size_t const row = grid.rowStart(y);
        float const* heights = grid.heights + row;
        std::uint8_t const* types = grid.types + row;
        double const base = plane.h0 + plane.slopeY * (y - c[0].y);
        bool const cornerRow = y == c[0].y || y == c[1].y || y == c[2].y;
        for (std::int32_t x = from; x <= to; ++x) {
            if (isHole(types[x])) {
                found.coversHole = true;
                continue;
            }
            double const error = std::abs(static_cast<double>(heights[x]) - (base + plane.slopeX * (x - c[0].x)));
            if (error > found.error && !(cornerRow && std::ranges::find(c, GridPoint{x, y}) != c.end())) {
                found.error = error;
                found.worst = {x, y};
            }
        }
    }
    return found;
}

bool cellWithinError(ScanGrid const& grid, std::array<GridPoint, 3> const& c, GridPoint cell, double maxError) {
    Plane const plane = planeOf(grid, c, maxError);
    double const base = plane.h0 + plane.slopeY * (cell.y - c[0].y);
    return std::abs(grid.height(cell) - (base + plane.slopeX * (cell.x - c[0].x))) <= plane.threshold;
}

bool withinError(ScanGrid const& grid, std::array<GridPoint, 3> const& c, double maxError) {
    Plane const plane = planeOf(grid, c, maxError);
    for (std::int32_t y = plane.yLow; y <= plane.yHigh; ++y) {
        auto const [from, to] = span(grid, c, y);
        std::size_t const row = grid.rowStart(y);
        double const base = plane.h0 + plane.slopeY * (y - c[0].y);
        for (std::int32_t x = from; x <= to; ++x) {
            if (isHole(grid.types[row + static_cast<std::size_t>(x)]) ||
                std::abs(static_cast<double>(grid.heights[row + static_cast<std::size_t>(x)]) -
                         (base + plane.slopeX * (x - c[0].x))) > plane.threshold) {
                return false;
            }
        }
    }
    return true;
}

} // namespace rastrum_host

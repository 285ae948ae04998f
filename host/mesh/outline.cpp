#include "mesh/outline.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace rastrum_host {

std::vector<GridPoint> hullCorners(ScanGrid const& grid, std::int32_t from, std::int32_t to) {
    // The monotone chain over each row's westernmost and easternmost data cell.
    std::vector<GridPoint> ends;
    for (std::int32_t y = 0; y < grid.rows; ++y) {
        std::int32_t west = from;
        while (west <= to && !grid.isData({west, y})) {
            ++west;
        }
        std::int32_t east = to;
        while (east > west && !grid.isData({east, y})) {
            --east;
        }
        if (west <= to) {
            ends.push_back({west, y});
            ends.push_back({east, y});
        }
    }
    std::ranges::sort(ends, [](GridPoint a, GridPoint b) { return a.x != b.x ? a.x < b.x : a.y < b.y; });
    std::vector<GridPoint> corners;
    for (int pass = 0; pass < 2 && !ends.empty(); ++pass) {
        std::size_t const start = corners.size();
        for (GridPoint p : ends) {
            while (corners.size() >= start + 2 && orientation(corners[corners.size() - 2], corners.back(), p) <= 0) {
                corners.pop_back();
            }
            corners.push_back(p);
        }
        corners.pop_back(); // the first point of the other chain
        std::ranges::reverse(ends);
    }
    return corners;
}

std::vector<GridPoint> seamCorners(ScanGrid const& grid, std::int32_t column, double maxError) {
    // Splits each span at its cell farthest from the line, while that one is too far.
    std::vector<GridPoint> kept;
    std::vector<std::pair<std::int32_t, std::int32_t>> spans{{0, grid.rows - 1}};
    while (!spans.empty()) {
        auto const [low, high] = spans.back();
        spans.pop_back();
        double const h0 = grid.height({column, low}), rise = grid.height({column, high}) - h0;
        // Lowered by a bound on the rounding of the line, as the face scans do.
        double const threshold = maxError - 16.0 * std::numeric_limits<double>::epsilon() * (std::abs(h0) + std::abs(rise));
        double worst = threshold;
        std::int32_t split = low;
        for (std::int32_t y = low + 1; y < high; ++y) {
            double const error = std::abs(grid.height({column, y}) - (h0 + rise * (y - low) / (high - low)));
            if (error > worst) {
                worst = error;
                split = y;
            }
        }
        if (split != low) {
            kept.push_back({column, split});
            spans.push_back({low, split});
            spans.push_back({split, high});
        }
    }
    std::ranges::sort(kept, [](GridPoint a, GridPoint b) { return a.y < b.y; });
    return kept;
}

} // namespace rastrum_host

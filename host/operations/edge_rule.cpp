#include "operations/edge_rule.hpp"

#include <algorithm>
#include <limits>

namespace rastrum_host {

void blankAroundHoles(Raster<float>& result, std::span<std::uint8_t const> cellTypes, std::uint32_t radius) {
    float constexpr none = std::numeric_limits<float>::quiet_NaN();
    std::int64_t const r = radius;
    for (std::uint32_t row = 0; row < result.height; ++row) {
        // Most rows hold no hole: a branch-free test, vectorised, skips them.
        std::uint8_t const* const types = cellTypes.data() + result.index(0, row);
        bool holes = false;
        for (std::uint32_t column = 0; column < result.width; ++column) {
            holes |= isHole(types[column]);
        }
        for (std::uint32_t column = 0; holes && column < result.width; ++column) {
            if (!isHole(cellTypes[result.index(column, row)])) {
                continue;
            }
            auto const rowEnd = std::min<std::int64_t>(row + r, result.height - 1);
            auto const columnEnd = std::min<std::int64_t>(column + r, result.width - 1);
            for (auto y = std::max<std::int64_t>(row - r, 0); y <= rowEnd; ++y) {
                for (auto x = std::max<std::int64_t>(column - r, 0); x <= columnEnd; ++x) {
                    result.values[result.index(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y))] = none;
                }
            }
        }
    }
}

} // namespace rastrum_host

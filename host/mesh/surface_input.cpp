#include "mesh/surface_input.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

#include "core/errors.hpp"
#include "tiling/tiled_grid.hpp"

namespace rastrum_host {
namespace {

// Far beyond any elevation in any unit, far below float's largest values.
double constexpr LargestHeight = 1e12;

double exactInFloat(double value) { return static_cast<double>(static_cast<float>(std::floor(value))); }

} // namespace

void requireMeshableHeights(HeightInput const& input) {
    auto const& heights = input.heights;
    // Almost every raster passes: one pass without branches says so, in the
    // lanes; only a failing one is searched again for the cell to name.
    // (The float nearest the bound lies below it: the same test in floats.)
    float const largest = static_cast<float>(LargestHeight);
    int failing = 0;
    for (std::size_t i = 0; i < heights.values.size(); ++i) {
        std::uint8_t const code = input.cellTypes[i];
        failing |= (code < 1 || code > 3) & !(std::abs(heights.values[i]) <= largest);
    }
    for (std::size_t i = 0; failing != 0 && i < heights.values.size(); ++i) {
        double const h = heights.values[i];
        if (isHole(input.cellTypes[i]) || std::abs(h) <= LargestHeight) {
            continue;
        }
        std::ostringstream message;
        message << input.source << ": the data cell at column " << i % heights.width << ", row "
                << i / heights.width << " has ";
        if (std::isnan(h)) {
            message << "no height (is it nodata that --cell-types calls data?)";
        } else {
            message.precision(9);
            message << "the height " << h << ", which no terrain has (an undeclared nodata value?); "
                    << "declare the nodata value in the file or mark such cells with --cell-types";
        }
        throw InputError(message.str());
    }
}

MeshPoint surfaceOrigin(HeightInput const& input) {
    auto const placement = placementOf(input.georef, input.heights.height, input.source);
    double low = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < input.heights.values.size(); ++i) {
        if (!isHole(input.cellTypes[i])) {
            low = std::min(low, static_cast<double>(input.heights.values[i]));
        }
    }
    return {exactInFloat(placement.origin[0]), exactInFloat(placement.origin[1]),
            exactInFloat(std::isfinite(low) ? low : 0.0)};
}

} // namespace rastrum_host

#include "mesh/surface_input.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

#include "core/errors.hpp"
#include "operations/operations.hpp"
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
        failing |= !isHole(input.cellTypes[i]) & !(std::abs(heights.values[i]) <= largest);
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

std::string geographicNote(HeightInput const& input) {
    auto const rows = input.heights.height;
    auto const [east, north] = unitsPerCrsUnit({}, input.georef, rows);
    if (east == 1.0 && north == 1.0) {
        return {};
    }
    auto const& t = input.georef.transform;
    double const longitude = t[0] + 0.5 * input.heights.width * t[1];
    double const latitude = t[3] + 0.5 * rows * t[5];
    int const zone = std::clamp(static_cast<int>(std::floor((longitude + 180.0) / 6.0)) + 1, 1, 60);
    std::ostringstream note;
    note << std::fixed;
    note.precision(1);
    note << input.source << ": x and y are degrees of a geographic CRS beside heights in their own units (a degree is "
         << east / 1000.0 << " km east and " << north / 1000.0
         << " km north here), so viewers show the surface stretched tall; reproject first for true proportions, e.g. to "
         << "its UTM zone: gdalwarp -t_srs EPSG:" << (latitude >= 0.0 ? 32600 : 32700) + zone
         << " (rio.reproject in Python)";
    return note.str();
}

} // namespace rastrum_host

#include <algorithm>

#include "operations/edge_rule.hpp"
#include "tiling/operation_support.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {

unsigned effectiveWindow(unsigned requested) {
    unsigned const window = std::max(requested, 3u);
    return window % 2 == 0 ? window + 1 : window;
}

Raster<float> runSmooth(HeightInput const& input, SmoothOptions const& options, Tiling const& tiling,
                        RunContext const& context) {
    auto const tiled = tileHeights(input, tiling, effectiveWindow(options.window) - 1);
    unsigned const unused = 0;
    expectSuccess(Rastrum::bilateralSmoothing(*tiled.grid(), HeightField, "Smoothed", options.window,
                                              options.sigmaSpatial, options.sigmaRange, unused, options.gaussian,
                                              context.progress),
                  "bilateralSmoothing");
    auto result = heightsResult(input, tiled.stitch(*resultField(*tiled.grid(), "Smoothed"), NoValue));
    if (!options.keepPartial) {
        blankRasterEdge(result, effectiveWindow(options.window) / 2);
    }
    return result;
}

} // namespace rastrum_host

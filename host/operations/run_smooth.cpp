#include <algorithm>

#include "operations/edge_rule.hpp"
#include "tiling/fragment_needs.hpp"
#include "tiling/operation_support.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {

unsigned effectiveWindow(unsigned requested) {
    unsigned const window = std::max(requested, 3u);
    return window % 2 == 0 ? window + 1 : window;
}

Raster<float> runSmooth(HeightInput const& input, SmoothOptions const& options, Tiling const& tiling,
                        RunContext const& context) {
    unsigned const window = effectiveWindow(options.window);
    checkFragments(tiling, {"smooth", 3, window - 1,
                            "window - 1 for a window of " + std::to_string(window) + ", so that no seams show"});
    auto const tiled = tileHeights(input, tiling, window - 1);
    unsigned const unused = 0;
    expectSuccess(Rastrum::bilateralSmoothing(*tiled.grid(), HeightField, "Smoothed", options.window,
                                              options.sigmaSpatial, options.sigmaRange, unused, options.gaussian,
                                              context.progress),
                  "bilateralSmoothing");
    auto result = heightsResult(input, tiled.stitch(*resultField(*tiled.grid(), "Smoothed"), NoValue));
    if (!options.keepPartial) {
        blankRasterEdge(result, window / 2);
    }
    return result;
}

} // namespace rastrum_host

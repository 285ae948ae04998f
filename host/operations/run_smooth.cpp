#include <algorithm>

#include "operations/edge_rule.hpp"
#include "tiling/operation_support.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {

unsigned effectiveWindow(unsigned requested) {
    unsigned const window = std::max(requested, 3u);
    return window % 2 == 0 ? window + 1 : window;
}

StencilNeeds smoothNeeds(unsigned window) {
    return {"smooth", 3, window - 1, "window - 1 for a window of " + std::to_string(window) + ", so that no seams show"};
}

template <class T>
Raster<T> runSmooth(HeightView<T> const& input, SmoothOptions const& options, Tiling const& tiling,
                    RunContext const& context) {
    unsigned const window = effectiveWindow(options.window);
    checkFragments(tiling, smoothNeeds(window));
    auto const tiled = tileHeights(input, tiling, window - 1);
    unsigned const unused = 0;
    expectSuccess(Rastrum::bilateralSmoothing(*tiled.grid(), HeightField, "Smoothed", options.window,
                                              options.sigmaSpatial, options.sigmaRange, unused, options.gaussian,
                                              context.progress),
                  "bilateralSmoothing");
    auto result = stitchHeights(tiled, *resultField(*tiled.grid(), "Smoothed"), input, missingValue<T>(),
                                context.spares.get());
    if constexpr (std::is_floating_point_v<T>) {
        if (!options.keepPartial) {
            blankRasterEdge(result, window / 2);
        }
    }
    return result;
}

#define RASTRUM_RUN_SMOOTH(T)                                                                                      \
    template Raster<T> runSmooth(HeightView<T> const&, SmoothOptions const&, Tiling const&, RunContext const&);
RASTRUM_RUN_SMOOTH(float)
RASTRUM_RUN_SMOOTH(double)
RASTRUM_RUN_SMOOTH(std::uint8_t)
RASTRUM_RUN_SMOOTH(std::uint16_t)
RASTRUM_RUN_SMOOTH(std::uint32_t)
RASTRUM_RUN_SMOOTH(unsigned long long)
RASTRUM_RUN_SMOOTH(int)

} // namespace rastrum_host

#include <cmath>
#include <limits>

#include "operations/edge_rule.hpp"
#include "operations/operations.hpp"
#include "operations/series.hpp"
#include "tiling/operation_support.hpp"

namespace rastrum_host {

StencilNeeds sobelNeeds() {
    return {"sobel", 3, SobelOverlap, "the 3 x 3 stencil reaches one point past each border"};
}

Raster<float> runSobel(HeightView<float> const& input, double slopeDegrees, Tiling const& tiling,
                       RunContext const& context, bool keepPartial) {
    return std::move(runSobel(std::span(&input, 1), 0, slopeDegrees, tiling, context, keepPartial).front());
}

std::vector<Raster<float>> runSobel(std::span<HeightView<float> const> steps, SeriesStep step, double slopeDegrees,
                                    Tiling const& tiling, RunContext const& context, bool keepPartial) {
    checkFragments(tiling, sobelNeeds());
    auto const run = stepsRun(steps.size(), step);
    auto const tiled = tileSeries(steps, tiling, SobelOverlap);
    auto bundle = bundleOf(tiled);
    std::string height = HeightField;
    // The library runs every slice when asked for the time NaN.
    double const time = step ? static_cast<double>(*step) : std::numeric_limits<double>::quiet_NaN();
    expectSuccess(Rastrum::sobelOperator(bundle, height, context.progress, "", time, slopeDegrees, CellTypeField),
                  "sobelOperator");
    std::vector<Raster<float>> results;
    for (auto const index : run) {
        auto const& input = steps[index];
        auto const& grid = *tiled[index].grid();
        results.push_back(
            stitchHeights(tiled[index], *resultField(grid, HeightField + "_Sobel"), input, NoValue, context.spares.get()));
        if (!keepPartial) {
            blankRasterEdge(results.back(), 1);
            blankAroundHoles(results.back(), input.cellTypes, 1);
        }
    }
    return results;
}

} // namespace rastrum_host

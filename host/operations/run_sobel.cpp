#include "operations/edge_rule.hpp"
#include "operations/operations.hpp"
#include "tiling/fragment_needs.hpp"
#include "tiling/operation_support.hpp"

namespace rastrum_host {

Raster<float> runSobel(HeightInput const& input, double slopeDegrees, Tiling const& tiling, RunContext const& context,
                       bool keepPartial) {
    checkFragments(tiling, {"sobel", 3, SobelOverlap, "the 3 x 3 stencil reaches one point past each border"});
    auto const tiled = tileHeights(input, tiling, SobelOverlap);
    auto bundle = bundleOf(tiled);
    std::string height = HeightField;
    expectSuccess(Rastrum::sobelOperator(bundle, height, context.progress, "", 0.0, slopeDegrees, CellTypeField),
                  "sobelOperator");
    auto result = heightsResult(input, tiled.stitch(*resultField(*tiled.grid(), HeightField + "_Sobel"), NoValue));
    if (!keepPartial) {
        blankRasterEdge(result, 1);
        blankAroundHoles(result, input.cellTypes, 1);
    }
    return result;
}

} // namespace rastrum_host

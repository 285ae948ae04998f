#include "operations/edge_rule.hpp"
#include "operations/operations.hpp"
#include "tiling/operation_support.hpp"

namespace rastrum_host {

StencilNeeds sobelNeeds() {
    return {"sobel", 3, SobelOverlap, "the 3 x 3 stencil reaches one point past each border"};
}

Raster<float> runSobel(HeightView<float> const& input, double slopeDegrees, Tiling const& tiling,
                       RunContext const& context, bool keepPartial) {
    checkFragments(tiling, sobelNeeds());
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

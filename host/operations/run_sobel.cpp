#include "tiling/fragment_needs.hpp"
#include "tiling/operation_support.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {

Raster<float> runSobel(HeightInput const& input, double slopeDegrees, Tiling const& tiling, RunContext const& context) {
    checkFragments(tiling, {"sobel", 3, SobelOverlap, "the 3 x 3 stencil reaches one point past each border"});
    auto const tiled = tileHeights(input, tiling, SobelOverlap);
    auto bundle = bundleOf(tiled);
    std::string height = HeightField;
    expectSuccess(Rastrum::sobelOperator(bundle, height, context.progress, "", 0.0, slopeDegrees, CellTypeField),
                  "sobelOperator");
    return heightsResult(input, tiled.stitch(*resultField(*tiled.grid(), HeightField + "_Sobel"), NoValue));
}

} // namespace rastrum_host

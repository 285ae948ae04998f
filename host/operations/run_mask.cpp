#include "tiling/operation_support.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {

Raster<float> runMask(HeightInput const& input, Tiling const& tiling, RunContext const& context) {
    auto const tiled = tileHeights(input, tiling, 0);
    auto bundle = bundleOf(tiled);
    expectSuccess(Rastrum::binaryOperator(bundle, CellTypeField, context.progress, "", 0.0), "binaryOperator");
    auto const mask = tiled.stitch(*resultField(*tiled.grid(), "Binary"), 0.0f);
    return {.width = input.heights.width, .height = input.heights.height, .bands = 1, .values = mask};
}

} // namespace rastrum_host

#include "tiling/operation_support.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {

template <class T>
Raster<float> runMask(HeightView<T> const& input, Tiling const& tiling, RunContext const& context) {
    auto const tiled = tileHeights(input, tiling, 0);
    auto bundle = bundleOf(tiled);
    expectSuccess(Rastrum::binaryOperator(bundle, CellTypeField, context.progress, "", 0.0), "binaryOperator");
    auto mask = tiled.stitch(*resultField(*tiled.grid(), "Binary"), 0.0f);
    return {.width = input.width, .height = input.height, .bands = 1, .values = std::move(mask)};
}

#define RASTRUM_RUN_MASK(T) template Raster<float> runMask(HeightView<T> const&, Tiling const&, RunContext const&);
RASTRUM_RUN_MASK(float)
RASTRUM_RUN_MASK(double)
RASTRUM_RUN_MASK(std::uint8_t)
RASTRUM_RUN_MASK(std::uint16_t)
RASTRUM_RUN_MASK(std::uint32_t)
RASTRUM_RUN_MASK(unsigned long long)
RASTRUM_RUN_MASK(int)

} // namespace rastrum_host

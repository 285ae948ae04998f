#include "operations/operations.hpp"
#include "operations/series.hpp"
#include "tiling/operation_support.hpp"

namespace rastrum_host {

template <class T>
std::vector<Raster<float>> runMask(std::span<HeightView<T> const> steps, SeriesStep step, Tiling const& tiling,
                                   RunContext const& context) {
    auto const run = stepsRun(steps.size(), step);
    auto const tiled = tileSeries(steps, tiling, 0, Fields::TypesOnly);
    auto bundle = bundleOf(tiled);
    std::vector<Raster<float>> results;
    // The library runs the one slice whose time it is given.
    for (auto const index : run) {
        expectSuccess(Rastrum::binaryOperator(bundle, CellTypeField, context.progress, "", static_cast<double>(index)),
                      "binaryOperator");
        auto mask = tiled[index].stitch(*resultField(*tiled[index].grid(), "Binary"), 0.0f, context.spares.get());
        results.push_back({.width = steps[index].width, .height = steps[index].height, .bands = 1, .values = std::move(mask)});
    }
    return results;
}

template <class T>
Raster<float> runMask(HeightView<T> const& input, Tiling const& tiling, RunContext const& context) {
    return std::move(runMask(std::span(&input, 1), 0, tiling, context).front());
}

#define RASTRUM_RUN_MASK(T)                                                                                       \
    template Raster<float> runMask(HeightView<T> const&, Tiling const&, RunContext const&);                       \
    template std::vector<Raster<float>> runMask(std::span<HeightView<T> const>, SeriesStep, Tiling const&, RunContext const&);
RASTRUM_RUN_MASK(float)
RASTRUM_RUN_MASK(double)
RASTRUM_RUN_MASK(std::uint8_t)
RASTRUM_RUN_MASK(std::uint16_t)
RASTRUM_RUN_MASK(std::uint32_t)
RASTRUM_RUN_MASK(unsigned long long)
RASTRUM_RUN_MASK(int)

} // namespace rastrum_host

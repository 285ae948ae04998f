#include "tiling/operation_support.hpp"

#include <limits>
#include <stdexcept>

namespace rastrum_host {

TiledGrid tileHeights(HeightInput const& input, Tiling const& tiling, std::uint64_t defaultOverlap) {
    auto const& heights = input.heights;
    TiledGrid tiled({heights.width, heights.height, 1u}, placementOf(input.georef, heights.height, input.source),
                    tiling.fragmentSize, overlapFor(tiling, defaultOverlap));
    tiled.addField<float>(HeightField, heights.values);
    tiled.addField<std::uint8_t>(CellTypeField, input.cellTypes);
    return tiled;
}

Velum::BundlePtr bundleOf(TiledGrid const& tiled) {
    auto bundle = Velum::BundlePtr::create();
    (*bundle)[0.0]->setGrid("raster", tiled.grid());
    return bundle;
}

Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> resultField(Velum::Grid const& grid, std::string const& name) {
    Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const field = grid(name);
    if (!field) {
        throw std::logic_error("the library left no field " + name);
    }
    return field;
}

void expectSuccess(std::string const& message, char const* operation) {
    if (!message.empty()) {
        throw std::logic_error(std::string(operation) + " failed: " + message);
    }
}

Raster<float> heightsResult(HeightInput const& input, std::vector<float> values) {
    Raster<float> result{.width = input.heights.width, .height = input.heights.height, .bands = 1,
                         .values = std::move(values)};
    for (std::size_t i = 0; i < result.values.size(); ++i) {
        if (isHole(input.cellTypes[i])) {
            result.values[i] = std::numeric_limits<float>::quiet_NaN();
        }
    }
    return result;
}

} // namespace rastrum_host

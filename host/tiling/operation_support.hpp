#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "Velum/Bundle.hpp"
#include "Velum/RegularlyFragmentedField.hpp"
#include "core/raster.hpp"
#include "tiling/tiled_grid.hpp"

// Pieces the operations share: tiling a height raster, handing it to the
// library and taking results back.
namespace rastrum_host {

inline std::string const HeightField = "Height";
inline std::string const CellTypeField = "CellType";
// Result cells without a value: holes, and cells of fragments the library skipped.
inline constexpr float NoValue = std::numeric_limits<float>::quiet_NaN();

// What of a height raster an operation reads: the mask looks at the cell types alone.
enum class Fields { HeightsAndTypes, TypesOnly };

// The grid of a height raster with the fields "Height" and "CellType", cut with
// the overlap the operation needs (defaultOverlap) unless the tiling names one.
template <class T>
TiledGrid tileHeights(HeightView<T> const& input, Tiling const& tiling, std::uint64_t defaultOverlap,
                      Fields fields = Fields::HeightsAndTypes) {
    TiledGrid tiled({input.width, input.height, 1u}, placementOf(input.georef, input.height, std::string(input.source)),
                    tiling.fragmentSize, overlapFor(tiling, defaultOverlap), tiling.band);
    if (fields == Fields::HeightsAndTypes) {
        tiled.addField<T>(HeightField, input.heights);
    }
    tiled.addField<std::uint8_t>(CellTypeField, input.cellTypes);
    return tiled;
}
inline TiledGrid tileHeights(HeightInput const& input, Tiling const& tiling, std::uint64_t defaultOverlap) {
    return tileHeights(viewOf(input), tiling, defaultOverlap);
}

// What a result cell without a value holds: NaN, or 0 in integer results.
template <class T>
T missingValue() {
    return std::numeric_limits<T>::has_quiet_NaN ? std::numeric_limits<T>::quiet_NaN() : T{};
}

// A bundle whose one slice, at time 0, holds the grid.
Velum::BundlePtr bundleOf(TiledGrid const& tiled);
// A bundle whose slices, at times 0, 1, 2 ..., hold the grids of a series' steps.
Velum::BundlePtr bundleOf(std::span<TiledGrid const> steps);

// A field the library made; its absence is a fault of the host, not of the input.
Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> resultField(Velum::Grid const& grid, std::string const& name);

// Throws when a library call reports a failure: the host built its input, so
// this is a fault of the host, not of the user's input.
void expectSuccess(std::string const& message, char const* operation);

// Whether any code is a hole's; a chunk at a time, each one branch-free so
// that the compiler vectorises it.
inline bool anyHole(std::span<std::uint8_t const> cellTypes) {
    std::size_t constexpr Chunk = 4096;
    for (std::size_t first = 0; first < cellTypes.size(); first += Chunk) {
        auto const chunk = cellTypes.subspan(first, std::min(Chunk, cellTypes.size() - first));
        bool any = false;
        for (std::uint8_t const code : chunk) {
            any |= isHole(code);
        }
        if (any) {
            return true;
        }
    }
    return false;
}

// The result of a height operation in the input's shape: `field` stitched,
// NaN at the input's hole cells of floating-point results.
template <class T, class In>
Raster<T> stitchHeights(TiledGrid const& tiled, Velum::RegularlyFragmentedField<3> const& field,
                        HeightView<In> const& input, T missing, SpareBuffers* spares) {
    bool const blank = std::numeric_limits<T>::has_quiet_NaN && anyHole(input.cellTypes);
    return {.width = input.width,
            .height = input.height,
            .bands = 1,
            .values = tiled.stitch(field, missing, spares, blank ? input.cellTypes : std::span<std::uint8_t const>{})};
}

} // namespace rastrum_host

#pragma once

#include <cstdint>
#include <limits>
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

// The grid of a height raster with the fields "Height" and "CellType", cut with
// the overlap the operation needs (defaultOverlap) unless the tiling names one.
TiledGrid tileHeights(HeightInput const& input, Tiling const& tiling, std::uint64_t defaultOverlap);

// A bundle whose one slice, at time 0, holds the grid.
Velum::BundlePtr bundleOf(TiledGrid const& tiled);

// A field the library made; its absence is a fault of the host, not of the input.
Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> resultField(Velum::Grid const& grid, std::string const& name);

// Throws when a library call reports a failure: the host built its input, so
// this is a fault of the host, not of the user's input.
void expectSuccess(std::string const& message, char const* operation);

// A raster of the input's shape holding `values`, NaN at hole cells.
Raster<float> heightsResult(HeightInput const& input, std::vector<float> values);

} // namespace rastrum_host

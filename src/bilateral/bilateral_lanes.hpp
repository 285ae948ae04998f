#pragma once

#include <cstdint>
#include <vector>

#include "bilateral/smoothing_filters.hpp"
#include "frame/cell_types.hpp"

namespace Rastrum {

// The bilateral filter of a float or double fragment, several centre points
// at a time; `spatial` holds the spatial part of the exponent per window
// offset, entry (di + half) * (2 half + 1) + dj + half. Writes every cell and
// returns true, or returns false without writing when the fragment is
// narrower than a group of centres.
template <class T>
bool bilateralLanes(T const* input, unsigned char const* cellTypes, FragmentShape shape, std::int64_t half,
                    std::vector<double> const& spatial, double sigmaRange, CellTypeTable const& excluded, T* result);

} // namespace Rastrum

#pragma once

#include <cstddef>
#include <type_traits>

#include "Rastrum.hpp"
#include "frame/cell_types.hpp"

namespace Rastrum {

// Element type of the combination of two rasters of element type In.
template <class In>
using RasterResult = std::conditional_t<std::is_floating_point_v<In>, In, int>;

// out[i] = 0 where the merged mask marks a hole, else a[i] op b[i] computed in
// In's arithmetic (a signed int for the narrow integer types, unsigned for 32-
// and 64-bit unsigned) and converted to the result type. Signed results wrap.
// An integer division by zero outside a hole raises SIGFPE. The mask holds 0
// and 1 only, as mergeCellTypes makes it. Returns whether some out[i] is not
// 0. An operation outside Operandi prints "wrong input" and ends the process.
template <class In>
bool combineRasters(Operandi::Operation operation, In const* a, In const* b, unsigned char const* mask,
                    RasterResult<In>* out, std::size_t count, CellTypeTable const& hole);

// Merged mask of two cell-type arrays: 1 where either code is not a data code,
// else 0. Returns whether some cell is 0.
bool mergeCellTypes(unsigned char const* first, unsigned char const* second, unsigned char* mask, std::size_t count,
                    CellTypeTable const& data);

} // namespace Rastrum

#pragma once

#include <span>

#include "frame/cell_types.hpp"

namespace Rastrum {

// mask[p] = 1.0 where codes[p] is in `selected`, 0.0 elsewhere.
void binaryMask(std::span<unsigned char const> codes, std::span<float> mask, CellTypeTable const& selected);

} // namespace Rastrum

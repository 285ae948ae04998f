#pragma once

#include <cstdint>
#include <string>

#include "tiling/tiled_grid.hpp"

namespace rastrum_host {

// What an operation's stencil needs of its fragments: at least `points`
// points along x and y (smaller fragments give no result or the input back),
// and by default an overlap of `overlap` points, for the reason `why`.
struct StencilNeeds {
    std::string operation;
    std::uint64_t points = 1;
    std::uint64_t overlap = 0;
    std::string why;
};

// InputError naming --fragment-size when its fragments are smaller than the
// stencil, or not larger than the default overlap (an overlap given with
// --overlap is checked where the raster is cut, naming --overlap).
void checkFragments(Tiling const& tiling, StencilNeeds const& needs);

} // namespace rastrum_host

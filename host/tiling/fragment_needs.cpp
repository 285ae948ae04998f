#include "tiling/fragment_needs.hpp"

#include "core/errors.hpp"

namespace rastrum_host {

void checkFragments(Tiling const& tiling, StencilNeeds const& needs) {
    auto const size = "--fragment-size " + std::to_string(tiling.fragmentSize) + ": ";
    if (tiling.fragmentSize < needs.points) {
        auto const side = std::to_string(needs.points);
        throw InputError(size + needs.operation + " works on " + side + " x " + side +
                         " points, so fragments need at least " + side);
    }
    if (!tiling.overlap && needs.overlap >= tiling.fragmentSize) {
        throw InputError(size + "not larger than " + needs.operation + "'s default --overlap of " +
                         std::to_string(needs.overlap) + " (" + needs.why +
                         "); give a larger --fragment-size, or a smaller --overlap");
    }
}

} // namespace rastrum_host

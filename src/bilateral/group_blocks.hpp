#pragma once

#include <cstddef>

namespace Rastrum {

// Covers the centre positions [begin, end), at least `lanes` of them, with
// calls owner.smoothGroups<N>(row, at) of N side-by-side lane groups each,
// N = G where it fits and halved below that. The last block overlaps the one
// before rather than falling back to single groups, whose rounding chains
// would run one after another: it recomputes centres that depend on the input
// only, so the result is the same.
template <std::size_t G, class Owner, class Row, class Position>
[[gnu::always_inline]] inline void smoothInBlocks(Owner& owner, Row const& row, Position begin, Position end,
                                                  Position lanes) {
    auto const width = static_cast<Position>(G) * lanes;
    if (end - begin < width) {
        if constexpr (G > 1) {
            smoothInBlocks<G / 2>(owner, row, begin, end, lanes);
        }
        return;
    }
    auto at = begin;
    for (; at + width <= end; at += width) {
        owner.template smoothGroups<G>(row, at);
    }
    if (at < end) {
        owner.template smoothGroups<G>(row, end - width);
    }
}

} // namespace Rastrum

#include "streaming/band_plan.hpp"

#include <algorithm>



namespace rastrum_host {

std::vector<Band> planBands(std::uint32_t width, std::uint32_t height, bool northUp, std::uint64_t fragmentSize,
                            std::uint64_t overlap, std::uint64_t fragmentRowsPerBand) {
    checkTiling(fragmentSize, overlap);
    auto const step = fragmentSize - overlap;
    auto const fragmentRows = fragmentsAlong(height, fragmentSize, overlap);
    auto const columns = fragmentsAlong(width, fragmentSize, overlap);
    auto const owned = ownedRanges(height, fragmentRows, fragmentSize, step);
    auto const perBand = std::max<std::uint64_t>(fragmentRowsPerBand, 1);
    std::vector<Band> bands;
    for (std::uint64_t first = 0; first < fragmentRows; first += perBand) {
        auto const last = std::min(first + perBand, fragmentRows); // one past
        std::uint64_t const y0 = first * step;
        std::uint64_t const y1 = std::min<std::uint64_t>(height, (last - 1) * step + fragmentSize);
        std::uint64_t ownedLo = y1;
        std::uint64_t ownedHi = y0;
        for (auto f = first; f < last; ++f) {
            if (owned[f].first < owned[f].second) {
                ownedLo = std::min(ownedLo, owned[f].first);
                ownedHi = std::max(ownedHi, owned[f].second);
            }
        }
        ownedHi = std::max(ownedHi, ownedLo);
        // Grid row y is file row height - 1 - y when the raster is north up.
        auto const fileRow = [&](std::uint64_t lo, std::uint64_t hi) {
            return static_cast<std::uint32_t>(northUp ? height - hi : lo);
        };
        bands.push_back({.window = {.rows = height, .firstFragmentRow = first},
                         .firstRow = fileRow(y0, y1),
                         .rows = static_cast<std::uint32_t>(y1 - y0),
                         .ownedFirstRow = fileRow(ownedLo, ownedHi),
                         .ownedRows = static_cast<std::uint32_t>(ownedHi - ownedLo),
                         .fragments = (last - first) * columns});
    }
    if (northUp) {
        std::ranges::reverse(bands);
    }
    return bands;
}

} // namespace rastrum_host

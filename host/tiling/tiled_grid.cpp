#include "tiling/tiled_grid.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Rastrum.hpp"
#include "core/errors.hpp"

namespace rastrum_host {
namespace {

Velum::UniformGridLayout layoutOf(std::array<std::uint32_t, 3> const& shape, GridPlacement const& placement,
                                  std::uint64_t fragmentSize, std::uint64_t overlap) {
    checkTiling(fragmentSize, overlap);
    // Layers are never cut: a fragment holds every band of its cells.
    return {.points = {shape[0], shape[1], shape[2]},
            .pointsPerFragment = {fragmentSize, fragmentSize, std::max(shape[2], 1u)},
            .overlap = {overlap, overlap, 0u},
            .origin = placement.origin,
            .spacing = placement.spacing};
}

void setLayoutAttributes(Velum::Grid& grid, Velum::UniformGridLayout const& layout, Index counts) {
    Tensa::PhysicalSpace::point corner = layout.origin;
    Index perFragment = layout.pointsPerFragment;
    Index overlap = layout.overlap;
    // A fragment spans from its first to its last point.
    Tensa::PhysicalSpace::vector fragmentExtent;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        fragmentExtent[axis] = static_cast<double>(perFragment[axis] - 1) * layout.spacing[axis];
    }
    // The grid's points are the raster's cells themselves: nothing is shifted.
    Tensa::PhysicalSpace::vector cellShift{0.0, 0.0, 0.0};
    Rastrum::setAttribute(grid, counts, corner, perFragment, fragmentExtent, overlap, cellShift);
}

// The owned ranges of a band's fragments: those of the same fragments in the
// taller raster, counted from the band's first point row.
std::vector<std::pair<std::uint64_t, std::uint64_t>> bandOwnedRanges(BandWindow const& band, std::uint64_t fragments,
                                                                     std::uint64_t size, std::uint64_t step) {
    auto const all = ownedRanges(band.rows, fragmentsAlong(band.rows, size, size - step), size, step);
    std::uint64_t const first = band.firstFragmentRow * step;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> owned(fragments, {0, 0});
    for (std::uint64_t f = 0; f < fragments && band.firstFragmentRow + f < all.size(); ++f) {
        auto const [lo, hi] = all[band.firstFragmentRow + f];
        if (lo < hi) {
            owned[f] = {lo - first, hi - first};
        }
    }
    return owned;
}

} // namespace

void checkTiling(std::uint64_t fragmentSize, std::uint64_t overlap) {
    if (fragmentSize == 0) {
        throw InputError("--fragment-size: must be at least 1");
    }
    if (overlap >= fragmentSize) {
        throw InputError("--overlap " + std::to_string(overlap) + ": must be smaller than --fragment-size " +
                         std::to_string(fragmentSize));
    }
}

std::uint64_t fragmentsAlong(std::uint64_t points, std::uint64_t size, std::uint64_t overlap) {
    auto const step = size - overlap;
    return points == 0 ? 0 : points <= size ? 1 : 1 + (points - size + step - 1) / step;
}

// Each point goes to the fragment in which it lies farthest from a border with
// a neighbouring fragment (the raster's own edge is no such border); ties go
// to the earlier fragment. With an overlap of 2r every point gets a fragment
// in which it lies at least r points inside.
std::vector<std::pair<std::uint64_t, std::uint64_t>> ownedRanges(std::uint64_t points, std::uint64_t fragments,
                                                                 std::uint64_t size, std::uint64_t step) {
    std::uint64_t constexpr far = std::numeric_limits<std::uint64_t>::max();
    std::vector<std::pair<std::uint64_t, std::uint64_t>> owned(fragments, {0, 0});
    for (std::uint64_t p = 0; p < points; ++p) {
        std::uint64_t best = 0;
        std::uint64_t bestDepth = 0;
        std::uint64_t const first = p < size ? 0 : (p - size) / step + 1;
        for (std::uint64_t f = first; f < fragments && f * step <= p; ++f) {
            std::uint64_t const lo = f * step;
            std::uint64_t const hi = std::min(lo + size, points) - 1;
            std::uint64_t const depth = std::min(lo == 0 ? far : p - lo, hi == points - 1 ? far : hi - p);
            if (f == first || depth > bestDepth) {
                best = f;
                bestDepth = depth;
            }
        }
        if (owned[best].first == owned[best].second) {
            owned[best] = {p, p + 1};
        } else {
            owned[best].second = p + 1;
        }
    }
    return owned;
}

std::uint64_t overlapFor(Tiling const& tiling, std::uint64_t need) {
    auto const overlap = tiling.overlap.value_or(need);
    if (overlap < need && !tiling.allowSeams) {
        throw InputError("--overlap " + std::to_string(overlap) + ": this operation needs " + std::to_string(need) +
                         " points shared between fragments, or results show seams where fragments meet; "
                         "use --overlap " + std::to_string(need) + " or add --allow-seams");
    }
    return overlap;
}

GridPlacement placementOf(Georeference const& georef, std::uint32_t rows, std::string const& source) {
    if (!georef.hasTransform) {
        return {.origin = {0.5, 0.5, 0.0}, .spacing = {1.0, 1.0, 1.0}, .northUp = true};
    }
    auto const& t = georef.transform;
    if (t[2] != 0.0 || t[4] != 0.0 || !(t[1] > 0.0) || t[5] == 0.0 || !std::isfinite(t[0]) || !std::isfinite(t[3])) {
        throw InputError(source + ": rotated, mirrored or degenerate georeferencing is not supported");
    }
    bool const northUp = t[5] < 0.0;
    double const southernRowCentre = northUp ? t[3] + (rows - 0.5) * t[5] : t[3] + 0.5 * t[5];
    return {.origin = {t[0] + 0.5 * t[1], southernRowCentre, 0.0}, .spacing = {t[1], std::abs(t[5]), 1.0},
            .northUp = northUp};
}

TiledGrid::TiledGrid(std::array<std::uint32_t, 3> shape, GridPlacement const& placement, std::uint64_t fragmentSize,
                     std::uint64_t overlap, std::optional<BandWindow> const& band)
    : layout_(layoutOf(shape, placement, fragmentSize, overlap)),
      step_(fragmentSize - overlap, fragmentSize - overlap, layout_.pointsPerFragment[2]),
      northUp_(placement.northUp),
      builder_(layout_) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        auto const size = layout_.pointsPerFragment[axis];
        owned_[axis] = band && axis == 1 ? bandOwnedRanges(*band, fragmentCounts()[axis], size, step_[axis])
                                         : ownedRanges(layout_.points[axis], fragmentCounts()[axis], size, step_[axis]);
    }
    setLayoutAttributes(*grid(), layout_, fragmentCounts());
}

} // namespace rastrum_host

#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Tensa/PhysicalSpace.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/MultiIndex.hpp"
#include "Velum/RegularlyFragmentedField.hpp"
#include "Velum/UniformGridBuilder.hpp"
#include "core/raster.hpp"
#include "tiling/spare_buffers.hpp"

namespace rastrum_host {

using Index = Velum::MultiIndex<3>;

// A band of a taller raster: its southern point row (y = 0) is the first
// point row of fragment row `firstFragmentRow` of a raster of `rows` point
// rows. Its fragments are then exactly those of the taller raster, and each
// point is stitched from the fragment that owns it there, so results agree
// bit for bit with a run on the whole raster.
struct BandWindow {
    std::uint64_t rows = 0;
    std::uint64_t firstFragmentRow = 0;
};

// How a raster is cut: fragments of fragmentSize points along x and y, sharing
// `overlap` points with their neighbours. Without an overlap each operation
// takes the one its stencil needs; a smaller one cuts stencils at fragment
// borders and is refused unless seams are allowed.
struct Tiling {
    std::uint64_t fragmentSize = 256;
    std::optional<std::uint64_t> overlap;
    bool allowSeams = false;
    // Set when the raster is a band of whole fragment rows of a taller one.
    std::optional<BandWindow> band;
};

// The overlap to cut with for an operation whose stencil needs `need` shared
// points; InputError for a smaller one unless tiling.allowSeams.
std::uint64_t overlapFor(Tiling const& tiling, std::uint64_t need);

// For each fragment along an axis of `points` points, the half-open range of
// points it owns (see TiledGrid::stitch).
std::vector<std::pair<std::uint64_t, std::uint64_t>> ownedRanges(std::uint64_t points, std::uint64_t fragments,
                                                                 std::uint64_t size, std::uint64_t step);
// InputError naming the options when fragments cannot be cut so.
void checkTiling(std::uint64_t fragmentSize, std::uint64_t overlap);
// Fragments along an axis of `points` points.
std::uint64_t fragmentsAlong(std::uint64_t points, std::uint64_t size, std::uint64_t overlap);

// Where the cells of a raster lie as grid points: x is the column and y counts
// rows from the southern one, so that both spacings are positive (the
// triangulation relies on that); z is the band. Points sit at cell centres. A
// raster without georeferencing has its lower-left corner at the origin and
// cells of size 1.
struct GridPlacement {
    Tensa::PhysicalSpace::point origin;
    Tensa::PhysicalSpace::vector spacing{1.0, 1.0, 1.0};
    bool northUp = true;
};

// InputError naming `source` for a rotated or mirrored geotransform.
GridPlacement placementOf(Georeference const& georef, std::uint32_t rows, std::string const& source);

// The uniform grid of a raster of width x height cells and `layers` bands,
// cut into fragments of the whole depth, with the six layout attributes set.
// Fields are filled from, and stitched back into, values in file order.
class TiledGrid {
public:
    // InputError when the overlap is not smaller than the fragment size.
    TiledGrid(std::array<std::uint32_t, 3> shape, GridPlacement const& placement, std::uint64_t fragmentSize,
              std::uint64_t overlap, std::optional<BandWindow> const& band = std::nullopt);

    Lumen::StrongPtr<Velum::Grid> const& grid() const { return builder_.grid(); }
    Index const& fragmentCounts() const { return builder_.fragmentCounts(); }

    // Copies whole rows: a fragment's points along x are consecutive cells of a row.
    template <class T>
    void addField(std::string const& name, std::span<T const> valuesInFileOrder) const {
        builder_.addFieldByRows<T>(name, [&](Index const& first, std::uint64_t count, T* out) {
            std::copy_n(valuesInFileOrder.data() + fileIndex(first), count, out);
        });
    }

    // One value per cell, in file order, taken from the fragment in which the
    // cell lies farthest from a border with another fragment; `missing` where
    // that fragment has no data, or no fragment owns the cell (a band's halo).
    // Cells are appended in file order, so that each is written once, into a
    // buffer from `spares` when there is one. With `holes` (cell-type codes
    // in file order) the cells of hole codes get NaN, each run of cells while
    // it is still in the cache.
    template <class T>
    std::vector<T> stitch(Velum::RegularlyFragmentedField<3> const& field, T missing, SpareBuffers* spares = nullptr,
                          std::span<std::uint8_t const> holes = {}) const {
        auto const counts = fragmentCounts();
        std::vector<Lumen::StrongPtr<Velum::MemArray<3, T>>> fragments(counts.product());
        builder_.forEachFragment([&](Index const& fragment) {
            Lumen::StrongPtr<Velum::MemArray<3, T>> data = field.getData(field.getFragmentID(fragment));
            if (data && data->Size() == fragmentSize(fragment)) {
                fragments[fragment.linear(counts)] = std::move(data);
            }
        });
        auto const rowOwners = owners(1);
        auto const layerOwners = owners(2);
        std::vector<T> values = spares ? spares->take<T>() : std::vector<T>{};
        values.reserve(layout_.points.product());
        for (std::uint64_t z = 0; z < layout_.points[2]; ++z) {
            for (std::uint64_t row = 0; row < layout_.points[1]; ++row) {
                auto const y = northUp_ ? layout_.points[1] - 1 - row : row;
                std::uint64_t x = 0;
                for (std::uint64_t fx = 0; fx < counts[0] && rowOwners[y] != NoOwner && layerOwners[z] != NoOwner; ++fx) {
                    auto const& [x0, x1] = owned_[0][fx];
                    Index const fragment(fx, rowOwners[y], layerOwners[z]);
                    auto const& data = fragments[fragment.linear(counts)];
                    if (x0 == x1 || !data) {
                        continue;
                    }
                    values.insert(values.end(), x0 - x, missing);
                    Index const local(x0 - start(fragment, 0), y - start(fragment, 1), z - start(fragment, 2));
                    auto const* first = data->data() + local.linear(fragmentSize(fragment));
                    auto const at = values.size();
                    values.insert(values.end(), first, first + (x1 - x0));
                    if constexpr (std::numeric_limits<T>::has_quiet_NaN) {
                        blankHoles(values.data() + at, holes, at, x1 - x0);
                    }
                    x = x1;
                }
                values.insert(values.end(), layout_.points[0] - x, missing);
            }
        }
        return values;
    }

private:
    // NaN in `values` where holes[at, at + count) holds a hole's code;
    // branch-free over plain pointers, so that the compiler vectorises it.
    template <class T>
    static void blankHoles(T* values, std::span<std::uint8_t const> holes, std::size_t at, std::size_t count) {
        if (holes.empty()) {
            return;
        }
        std::uint8_t const* const types = holes.data() + at;
        for (std::size_t i = 0; i < count; ++i) {
            values[i] = isHole(types[i]) ? std::numeric_limits<T>::quiet_NaN() : values[i];
        }
    }

    // Position of a grid point's cell in file order.
    std::size_t fileIndex(Index const& p) const {
        auto const row = northUp_ ? layout_.points[1] - 1 - p[1] : p[1];
        return p[0] + layout_.points[0] * (row + layout_.points[1] * p[2]);
    }
    Index fragmentSize(Index const& fragment) const { return builder_.fragmentSize(fragment); }
    // Per point along `axis`: the fragment owning it, or NoOwner.
    static std::uint64_t constexpr NoOwner = ~std::uint64_t{0};
    std::vector<std::uint64_t> owners(std::size_t axis) const {
        std::vector<std::uint64_t> owner(layout_.points[axis], NoOwner);
        for (std::uint64_t f = 0; f < owned_[axis].size(); ++f) {
            std::fill(owner.begin() + static_cast<std::ptrdiff_t>(owned_[axis][f].first),
                      owner.begin() + static_cast<std::ptrdiff_t>(owned_[axis][f].second), f);
        }
        return owner;
    }
    std::uint64_t start(Index const& fragment, std::size_t axis) const { return fragment[axis] * step_[axis]; }

    Velum::UniformGridLayout layout_;
    Index step_;
    bool northUp_;
    Velum::UniformGridBuilder builder_;
    // Per axis and fragment: the half-open range of points the fragment owns.
    std::array<std::vector<std::pair<std::uint64_t, std::uint64_t>>, 3> owned_;
};

} // namespace rastrum_host

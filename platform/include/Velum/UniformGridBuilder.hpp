#pragma once

#include <string>

#include "Lumen/Cache.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Tensa/PhysicalSpace.hpp"
#include "Velum/Grid.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/MultiIndex.hpp"
#include "Velum/RegularlyFragmentedField.hpp"

namespace Velum {

// How a uniform grid of points is placed and cut into fragments. Neighbouring
// fragments share `overlap` points along each axis; the last fragment of an
// axis may be shorter.
struct UniformGridLayout {
    MultiIndex<3> points;
    MultiIndex<3> pointsPerFragment;
    MultiIndex<3> overlap;
    Tensa::PhysicalSpace::point origin;
    Tensa::PhysicalSpace::vector spacing{1.0, 1.0, 1.0};
};

// Builds a regularly fragmented uniform 3D grid: its Cartesian representation,
// uniform "Positions" (whole and per fragment) and its fragmentation. Hosts
// and tests fill vertex fields through it.
class UniformGridBuilder {
public:
    // Refuses (throws std::invalid_argument) a fragment size of 0 or an
    // overlap that is not smaller than the fragment size.
    explicit UniformGridBuilder(UniformGridLayout const& layout);

    Lumen::StrongPtr<Grid> const& grid() const { return grid_; }
    Lumen::StrongPtr<RegularlyFragmentedField<3>> const& positions() const { return positions_; }
    MultiIndex<3> const& fragmentCounts() const { return positions_->getFragmentCounts(); }

    // First grid point and extents of the fragment at an index.
    MultiIndex<3> fragmentStart(MultiIndex<3> const& fragment) const;
    MultiIndex<3> fragmentSize(MultiIndex<3> const& fragment) const;

    // Adds a vertex field whose value at grid point p is valueAt(p).
    template <class T, class ValueAt>
    Lumen::StrongPtr<RegularlyFragmentedField<3>> addField(std::string const& name, ValueAt&& valueAt) const {
        return addFieldByRows<T>(name, [&](MultiIndex<3> const& first, std::uint64_t count, T* out) {
            for (std::uint64_t x = 0; x < count; ++x) {
                out[x] = valueAt(MultiIndex<3>(first[0] + x, first[1], first[2]));
            }
        });
    }

    // Adds a vertex field a row of each fragment at a time: fillRow(first,
    // count, out) writes the values of the `count` points along x from grid
    // point `first` on, so that values held in rows are copied whole.
    template <class T, class FillRow>
    Lumen::StrongPtr<RegularlyFragmentedField<3>> addFieldByRows(std::string const& name, FillRow&& fillRow) const {
        auto field = Lumen::makeStrong<RegularlyFragmentedField<3>>(*positions_);
        forEachFragment([&](MultiIndex<3> const& fragment) {
            auto const start = fragmentStart(fragment);
            auto const size = fragmentSize(fragment);
            auto array = Lumen::makeStrong<MemArray<3, T>>(size, uninitialised);
            T* out = array->data();
            for (std::uint64_t z = 0; z < size[2]; ++z) {
                for (std::uint64_t y = 0; y < size[1]; ++y, out += size[0]) {
                    fillRow(MultiIndex<3>(start[0], start[1] + y, start[2] + z), size[0], out);
                }
            }
            field->setPersistentData(array, field->getFragmentID(fragment), Lumen::Cache::MemCache());
        });
        grid_->getCartesianRepresentation()->setField(name, field);
        return field;
    }

    // Visits every fragment index, first index fastest.
    template <class F>
    void forEachFragment(F&& visit) const {
        if (fragmentCounts().product() == 0) {
            return;
        }
        MultiIndex<3> fragment;
        do {
            visit(fragment);
        } while (fragment.inc(fragmentCounts()));
    }

private:
    UniformGridLayout layout_;
    Lumen::StrongPtr<Grid> grid_;
    Lumen::StrongPtr<RegularlyFragmentedField<3>> positions_;
};

} // namespace Velum

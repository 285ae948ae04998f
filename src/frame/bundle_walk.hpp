#pragma once

#include <cmath>
#include <string>
#include <vector>

#include "Lumen/Console.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Velum/Bundle.hpp"
#include "Velum/Grid.hpp"
#include "Velum/MultiIndex.hpp"
#include "Velum/Slice.hpp"

// The walk that bundle-level operations share: slices in ascending time, the
// grids of a slice in name order, and the list of a field's fragments.
namespace Rastrum::frame {

inline constexpr char const* BUNDLE_REFUSED = "Bundle need to be bound or is NullPtr";

enum class TimeMatch {
    Exact,         // only a slice whose time equals the requested time
    NanMatchesAll, // as Exact, but a NaN on either side matches every slice
};

inline bool timeMatches(double sliceTime, double requested, TimeMatch rule) {
    if (rule == TimeMatch::NanMatchesAll && (std::isnan(sliceTime) || std::isnan(requested))) {
        return true;
    }
    return sliceTime == requested;
}

enum class SliceLog {
    Times,  // " Data at T=" and the time, for every slice
    Silent,
};

// Hands the slices that match the time to onSlice, in ascending time; entries
// without a slice are passed over.
template <class OnSlice>
void forEachSliceAt(Velum::Bundle& bundle, double time, TimeMatch rule, SliceLog log, OnSlice&& onSlice) {
    for (auto const& [sliceTime, slice] : bundle.slices()) {
        if (!slice) {
            continue;
        }
        slice->accessSlice();
        if (log == SliceLog::Times) {
            Lumen::Console() << " Data at T=" << sliceTime;
        }
        if (timeMatches(sliceTime, time, rule)) {
            onSlice(*slice);
        }
    }
}

// Hands the grids of a slice to visit(name, grid) in name order, leaving out
// empty entries and, when gridName is not empty, every grid of another name.
// A visit that returns false ends the walk over this slice.
template <class Visit>
void forEachGrid(Velum::Slice const& slice, std::string const& gridName, Visit&& visit) {
    for (auto const& [name, grid] : slice.grids()) {
        if (!grid || (!gridName.empty() && name != gridName)) {
            continue;
        }
        if (!visit(name, grid)) {
            return;
        }
    }
}

// Every fragment index of a layout with these counts, first axis fastest; the
// position in the list is the fragment's number.
std::vector<Velum::MultiIndex<3>> fragmentList(Velum::MultiIndex<3> const& counts);

} // namespace Rastrum::frame

#include "Velum/UniformGridBuilder.hpp"

#include <algorithm>
#include <stdexcept>

#include "Velum/RegularlyFragmentedGrid.hpp"
#include "Velum/UniformCartesianArray.hpp"

namespace Velum {
namespace {

MultiIndex<3> fragmentCountsOf(UniformGridLayout const& layout) {
    MultiIndex<3> counts;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        auto const size = layout.pointsPerFragment[axis];
        auto const overlap = layout.overlap[axis];
        if (size == 0 || overlap >= size) {
            throw std::invalid_argument("fragment size must be positive and larger than the overlap");
        }
        auto const points = layout.points[axis];
        auto const step = size - overlap;
        counts[axis] = points == 0 ? 0 : points <= size ? 1 : 1 + (points - size + step - 1) / step;
    }
    return counts;
}

} // namespace

UniformGridBuilder::UniformGridBuilder(UniformGridLayout const& layout)
    : layout_(layout),
      grid_(Lumen::makeStrong<Grid>()),
      positions_(Lumen::makeStrong<RegularlyFragmentedField<3>>(fragmentCountsOf(layout), "RegularFragment")) {
    auto& cache = Lumen::Cache::MemCache();
    grid_->makeCartesianRepresentation(3)->setField("Positions", positions_);
    positions_->setPersistentData(
        Lumen::makeStrong<UniformCartesianArray>(layout.origin, layout.spacing, layout.points), nullptr, cache);
    forEachFragment([&](MultiIndex<3> const& fragment) {
        auto const start = fragmentStart(fragment);
        auto const array = Lumen::makeStrong<UniformCartesianArray>(
            UniformCartesianArray(layout.origin, layout.spacing, layout.points).position(start), layout.spacing,
            fragmentSize(fragment));
        positions_->setPersistentData(array, positions_->getFragmentID(fragment), cache);
    });
    RegularlyFragmentedGrid<3>::create(*grid_, positions_);
}

MultiIndex<3> UniformGridBuilder::fragmentStart(MultiIndex<3> const& fragment) const {
    MultiIndex<3> start;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        start[axis] = fragment[axis] * (layout_.pointsPerFragment[axis] - layout_.overlap[axis]);
    }
    return start;
}

MultiIndex<3> UniformGridBuilder::fragmentSize(MultiIndex<3> const& fragment) const {
    auto const start = fragmentStart(fragment);
    MultiIndex<3> size;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        size[axis] = std::min(layout_.pointsPerFragment[axis], layout_.points[axis] - start[axis]);
    }
    return size;
}

} // namespace Velum

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Lumen/StrongPtr.hpp"
#include "Velum/Bundle.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/MultiIndex.hpp"
#include "Velum/RegularlyFragmentedField.hpp"
#include "Velum/UniformCartesianArray.hpp"
#include "Velum/UniformGridBuilder.hpp"

namespace testing_support {

using Index = Velum::MultiIndex<3>;

inline Velum::UniformGridLayout layoutOf(Index points, Index perFragment) {
    return {.points = points, .pointsPerFragment = perFragment, .overlap = {}, .origin = {}, .spacing = {1, 1, 1}};
}

// A grid of `points` cut into fragments of `perFragment`, with a "CellType"
// field whose code at point p is codeAt(p).
template <class CodeAt>
Velum::UniformGridBuilder cellTypeGrid(Index points, Index perFragment, CodeAt&& codeAt) {
    Velum::UniformGridBuilder builder(layoutOf(points, perFragment));
    builder.addField<unsigned char>("CellType", [&](Index const& p) { return static_cast<unsigned char>(codeAt(p)); });
    return builder;
}

// The values of a field gathered into one array over the whole grid, in
// point order; points of fragments without data keep `missing`.
template <class T>
std::vector<T> gather(Velum::UniformGridBuilder const& builder, Velum::RegularlyFragmentedField<3> const& field,
                      T missing) {
    Lumen::StrongPtr<Velum::UniformCartesianArray> const whole = builder.positions()->getData();
    auto const total = whole->Size();
    std::vector<T> values(total.product(), missing);
    auto const counts = field.getFragmentCounts();
    if (counts.product() == 0) {
        return values;
    }
    Index fragment;
    do {
        Lumen::StrongPtr<Velum::MemArray<3, T>> const data = field.getData(field.getFragmentID(fragment));
        if (data && data->count() > 0) {
            auto const start = builder.fragmentStart(fragment);
            Index local;
            do {
                Index const global(start[0] + local[0], start[1] + local[1], start[2] + local[2]);
                values[global.linear(total)] = (*data)[local];
            } while (local.inc(data->Size()));
        }
    } while (fragment.inc(counts));
    return values;
}

} // namespace testing_support

#pragma once

#include "Lumen/StrongPtr.hpp"
#include "Tensa/BoundingBox.hpp"
#include "Velum/Field.hpp"
#include "Velum/FragmentID.hpp"

namespace Velum {

// The spatial box of one fragment: the range of its positions. Empty when the
// positions field holds no data for that fragment.
inline Tensa::BoundingBox getFragmentBBox(Field const& positions, Lumen::StrongPtr<FragmentID> const& fragment) {
    Tensa::BoundingBox box;
    if (auto const data = positions.getData(fragment)) {
        data->widenRange(box);
    }
    return box;
}

} // namespace Velum

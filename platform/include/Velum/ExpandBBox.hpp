#pragma once

#include "Lumen/InterfaceBase.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Tensa/BoundingBox.hpp"
#include "Velum/CreativeArrayBase.hpp"

namespace Velum {

// Whether widening a range may make a creator produce data it does not hold.
// This kit's creators always hold their data, so both modes read it as stored.
enum class DataCreationMode {
    OnlyExisting,
    CreateIfMissing,
};

// Widens `box` by the values of the creator's data, making the box when the
// handle is empty. Returns false when the creator yields no data.
bool ExpandBBox(Lumen::StrongPtr<Tensa::BoundingBox, Lumen::InterfaceBase>& box, CreativeArrayBase& creator,
                DataCreationMode mode);

} // namespace Velum

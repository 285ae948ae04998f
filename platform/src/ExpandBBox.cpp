#include "Velum/ExpandBBox.hpp"

namespace Velum {

bool ExpandBBox(Lumen::StrongPtr<Tensa::BoundingBox, Lumen::InterfaceBase>& box, CreativeArrayBase& creator,
                DataCreationMode) {
    auto const data = creator.getData();
    if (!data) {
        return false;
    }
    if (!box) {
        box = Lumen::makeStrong<Tensa::BoundingBox>();
    }
    data->widenRange(*box);
    return true;
}

} // namespace Velum

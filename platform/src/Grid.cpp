#include "Velum/Grid.hpp"

#include "Velum/FragmentLayout.hpp"
#include "Velum/RegularlyFragmentedField.hpp"

namespace Velum {

Lumen::StrongPtr<Representation> Grid::getCartesianRepresentation(std::string const& chart) const {
    auto const found = representations_.find(chart);
    return found == representations_.end() ? nullptr : found->second;
}

Lumen::StrongPtr<Representation> Grid::makeCartesianRepresentation(unsigned dimension, std::string const& chart) {
    auto representation = Lumen::makeStrong<Representation>(dimension);
    representations_[chart] = representation;
    return representation;
}

Lumen::StrongPtr<Field> Grid::CartesianPositions() const {
    auto const representation = getCartesianRepresentation();
    return representation ? representation->Positions() : nullptr;
}

Lumen::StrongPtr<Field> Grid::operator()(std::string const& field, std::string const& chart) const {
    auto const representation = getCartesianRepresentation(chart);
    return representation ? representation->findField(field) : nullptr;
}

FieldProxy Grid::operator[](std::string const& field) {
    auto representation = getCartesianRepresentation();
    if (!representation) {
        representation = makeCartesianRepresentation(3);
    }
    if (!representation->findField(field)) {
        Lumen::StrongPtr<FragmentLayout<3>> const layout = baseSpace_;
        Lumen::StrongPtr<Field> const made =
            layout ? Lumen::StrongPtr<Field>(Lumen::makeStrong<RegularlyFragmentedField<3>>(layout))
                   : Lumen::makeStrong<Field>();
        representation->setField(field, made);
    }
    return (*representation)[field];
}

} // namespace Velum

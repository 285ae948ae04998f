#include "Velum/Grid.hpp"

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

} // namespace Velum

#include "Velum/FragmentedUniformGrid3D.hpp"
#include "Velum/GridWithCartesianVertices.hpp"

namespace Velum {

bool GridWithCartesianVertices::assign(Lumen::StrongPtr<Grid> const& grid) {
    grid_ = grid;
    return grid_ && grid_->CartesianPositions();
}

Lumen::StrongPtr<Representation> GridWithCartesianVertices::representation() const {
    return grid_ ? grid_->getCartesianRepresentation() : nullptr;
}

Lumen::StrongPtr<Field> GridWithCartesianVertices::getVertexField(std::string const& name) const {
    auto const rep = representation();
    return rep ? rep->findField(name) : nullptr;
}

bool FragmentedUniformGrid3D::assign(Lumen::StrongPtr<Grid> const& grid) {
    positions_.reset();
    if (!RegularlyFragmentedGridWithCartesianVertices<3>::assign(grid)) {
        return false;
    }
    positions_ = grid->CartesianPositions()->getData();
    if (!positions_) {
        clearFragmentIDs();
        return false;
    }
    return true;
}

} // namespace Velum

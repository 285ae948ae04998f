#pragma once

#include <cstddef>
#include <string>

#include "Lumen/StrongPtr.hpp"
#include "Velum/GridWithCartesianVertices.hpp"
#include "Velum/RegularlyFragmentedField.hpp"
#include "Velum/RegularlyFragmentedGrid.hpp"

namespace Velum {

// A regularly fragmented grid with Cartesian vertices: vertex fields are cut
// like the positions.
template <std::size_t N>
class RegularlyFragmentedGridWithCartesianVertices : public RegularlyFragmentedGrid<N>,
                                                     public GridWithCartesianVertices {
public:
    // Both views must take; when one does not, the fragment identities are
    // dropped, while vertex fields can still be made if the grid is fragmented.
    bool assign(Lumen::StrongPtr<Grid> const& grid) {
        bool const fragmented = RegularlyFragmentedGrid<N>::assign(grid);
        bool const cartesian = GridWithCartesianVertices::assign(grid);
        if (!(fragmented && cartesian)) {
            this->clearFragmentIDs();
            return false;
        }
        return true;
    }

    // A new, empty vertex field cut like the grid; it replaces a field of the
    // same name. Empty when the grid has no fragmentation or no Cartesian
    // representation.
    Lumen::StrongPtr<RegularlyFragmentedField<N>> newVertexField(std::string const& name) {
        auto const rep = representation();
        auto const& layout = this->fragmentLayout();
        if (!rep || !layout) {
            return {};
        }
        auto field = Lumen::makeStrong<RegularlyFragmentedField<N>>(layout);
        rep->setField(name, field);
        return field;
    }
};

} // namespace Velum

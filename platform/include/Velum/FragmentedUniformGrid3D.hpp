#pragma once

#include "Lumen/StrongPtr.hpp"
#include "Velum/Grid.hpp"
#include "Velum/RegularlyFragmentedGridWithCartesianVertices.hpp"
#include "Velum/UniformCartesianArray.hpp"

namespace Velum {

// A regularly fragmented 3D grid whose Cartesian positions are uniform.
class FragmentedUniformGrid3D : public RegularlyFragmentedGridWithCartesianVertices<3> {
public:
    // Caches the whole grid's uniform positions. On failure the caches and the
    // fragment identities are cleared; the grid itself stays reachable.
    bool assign(Lumen::StrongPtr<Grid> const& grid);

    // Origin, spacing and size of the whole grid; empty unless assign succeeded.
    Lumen::StrongPtr<UniformCartesianArray> const& uniformPositions() const { return positions_; }

private:
    Lumen::StrongPtr<UniformCartesianArray> positions_;
};

} // namespace Velum

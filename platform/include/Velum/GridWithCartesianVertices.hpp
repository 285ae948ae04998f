#pragma once

#include <string>

#include "Lumen/StrongPtr.hpp"
#include "Velum/Field.hpp"
#include "Velum/Grid.hpp"
#include "Velum/Representation.hpp"

namespace Velum {

// View of a grid whose vertices carry Cartesian positions; vertex fields live
// on its Cartesian representation.
class GridWithCartesianVertices {
public:
    // True when the grid has a Cartesian representation with "Positions". The
    // grid is kept either way, so vertex fields can still be reached.
    bool assign(Lumen::StrongPtr<Grid> const& grid);

    Lumen::StrongPtr<Grid> const& grid() const { return grid_; }
    Lumen::StrongPtr<Representation> representation() const;
    Lumen::StrongPtr<Field> getVertexField(std::string const& name) const;

private:
    Lumen::StrongPtr<Grid> grid_;
};

} // namespace Velum

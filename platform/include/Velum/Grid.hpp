#pragma once

#include <map>
#include <string>

#include "Lumen/Attributes.hpp"
#include "Lumen/InterfaceBase.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Velum/Field.hpp"
#include "Velum/Representation.hpp"

namespace Velum {

// A grid: its representations by chart name, its attributes and its base
// space. The empty chart name is the Cartesian chart.
class Grid : public Lumen::InterfaceBase {
public:
    Lumen::StrongPtr<Representation> getCartesianRepresentation(std::string const& chart = "") const;
    Lumen::StrongPtr<Representation> makeCartesianRepresentation(unsigned dimension, std::string const& chart = "");

    // "Positions" of the Cartesian representation.
    Lumen::StrongPtr<Field> CartesianPositions() const;

    // A field of a representation, by name.
    Lumen::StrongPtr<Field> operator()(std::string const& field, std::string const& chart = "") const;

    Lumen::Attributes& attributes() { return attributes_; }
    Lumen::Attributes const& attributes() const { return attributes_; }

    // The vertex field of that name on the Cartesian representation, made
    // (cut like the grid when it is fragmented) if there is none yet.
    FieldProxy operator[](std::string const& field);

    // The grid's base space, the skeleton its vertices hang on: a
    // FragmentLayout<N> for a fragmented grid, TriangleCells for a triangle
    // surface; empty for a grid that has none yet.
    Lumen::StrongPtr<Lumen::InterfaceBase> const& baseSpace() const { return baseSpace_; }
    void setBaseSpace(Lumen::StrongPtr<Lumen::InterfaceBase> const& skeleton) { baseSpace_ = skeleton; }

private:
    std::map<std::string, Lumen::StrongPtr<Representation>> representations_;
    Lumen::StrongPtr<Lumen::InterfaceBase> baseSpace_;
    Lumen::Attributes attributes_;
};

} // namespace Velum

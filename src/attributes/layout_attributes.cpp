#include <cstddef>
#include <iostream>

#include "Lumen/Attributes.hpp"
#include "Lumen/Chunk.hpp"
#include "Rastrum.hpp"

namespace Rastrum {

std::string const FRAGDIMS = "FragDims";
std::string const CORNER = "Corner";
std::string const PER_FRAGMENT_DIMS = "PerFragmentDims";
std::string const SOURCE_FRAG_SIZE = "SourceFragSize";
std::string const OVERLAP = "Overlap";
std::string const CELL_SHIFT = "CellShift";
std::uint32_t const HOLE = 0xFFFFFFFFu;

namespace {

using Triple = Lumen::Chunk<unsigned int>;
using Point = Tensa::PhysicalSpace::point;
using PointChunk = Lumen::Chunk<Point>;

// An attribute counts as present only with its stored element type and at
// least the elements it is read from.
Lumen::StrongPtr<Triple> tripleAttribute(Lumen::Attributes const& attributes, std::string const& name) {
    Lumen::StrongPtr<Triple> chunk = attributes.getAttribute(name);
    return chunk && chunk->size() >= 3 ? chunk : nullptr;
}

Lumen::StrongPtr<PointChunk> pointAttribute(Lumen::Attributes const& attributes, std::string const& name) {
    Lumen::StrongPtr<PointChunk> chunk = attributes.getAttribute(name);
    return chunk && chunk->size() >= 1 ? chunk : nullptr;
}

bool missing(char const* line) {
    std::cout << line << std::endl;
    return false;
}

Velum::MultiIndex<3> indexOf(Triple const& chunk) { return {chunk[0], chunk[1], chunk[2]}; }

template <class Coordinates>
Coordinates coordinatesOf(PointChunk const& chunk) {
    return {chunk[0][0], chunk[0][1], chunk[0][2]};
}

void writeTriple(Lumen::Attributes& attributes, std::string const& name, Velum::MultiIndex<3> const& value) {
    auto const chunk = Lumen::makeStrong<Triple>(3);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        (*chunk)[axis] = static_cast<unsigned int>(value[axis]);
    }
    attributes.setAttribute(name, chunk);
}

template <class Coordinates>
void writePoint(Lumen::Attributes& attributes, std::string const& name, Coordinates const& value) {
    auto const chunk = Lumen::makeStrong<PointChunk>(1);
    (*chunk)[0] = Point(value[0], value[1], value[2]);
    attributes.setAttribute(name, chunk);
}

} // namespace

bool getAttributes(Velum::Grid const& grid, Velum::MultiIndex<3>& fragDims, Tensa::PhysicalSpace::point& corner,
                   Velum::MultiIndex<3>& perFragmentDims, Tensa::PhysicalSpace::vector& sourceFragSize,
                   Velum::MultiIndex<3>& overlap, Tensa::PhysicalSpace::vector& cellShift) {
    auto const& attributes = grid.attributes();
    auto const fragDimsChunk = tripleAttribute(attributes, FRAGDIMS);
    if (!fragDimsChunk) {
        return missing("No FragDims");
    }
    auto const cornerChunk = pointAttribute(attributes, CORNER);
    if (!cornerChunk) {
        return missing("No Corner");
    }
    auto const perFragmentChunk = tripleAttribute(attributes, PER_FRAGMENT_DIMS);
    if (!perFragmentChunk) {
        return missing("No PerFragmentDims");
    }
    auto const sourceSizeChunk = pointAttribute(attributes, SOURCE_FRAG_SIZE);
    if (!sourceSizeChunk) {
        return missing("No SourceFragSize");
    }
    auto const overlapChunk = tripleAttribute(attributes, OVERLAP);
    if (!overlapChunk) {
        return missing("No Overlap");
    }
    auto const cellShiftChunk = pointAttribute(attributes, CELL_SHIFT);
    if (!cellShiftChunk) {
        return missing("No CellShift");
    }
    fragDims = indexOf(*fragDimsChunk);
    corner = coordinatesOf<Tensa::PhysicalSpace::point>(*cornerChunk);
    perFragmentDims = indexOf(*perFragmentChunk);
    sourceFragSize = coordinatesOf<Tensa::PhysicalSpace::vector>(*sourceSizeChunk);
    overlap = indexOf(*overlapChunk);
    cellShift = coordinatesOf<Tensa::PhysicalSpace::vector>(*cellShiftChunk);
    return true;
}

bool setAttribute(Velum::Grid& grid, Velum::MultiIndex<3>& fragDims, Tensa::PhysicalSpace::point& corner,
                  Velum::MultiIndex<3>& perFragmentDims, Tensa::PhysicalSpace::vector& sourceFragSize,
                  Velum::MultiIndex<3>& overlap, Tensa::PhysicalSpace::vector& cellShift) {
    auto& attributes = grid.attributes();
    writePoint(attributes, SOURCE_FRAG_SIZE, sourceFragSize);
    writePoint(attributes, CORNER, corner);
    writeTriple(attributes, PER_FRAGMENT_DIMS, perFragmentDims);
    writeTriple(attributes, OVERLAP, overlap);
    writeTriple(attributes, FRAGDIMS, fragDims);
    writePoint(attributes, CELL_SHIFT, cellShift);
    return true;
}

bool copyAttributes(Velum::Grid& from, Velum::Grid& to) {
    Velum::MultiIndex<3> fragDims;
    Velum::MultiIndex<3> perFragmentDims;
    Velum::MultiIndex<3> overlap;
    Tensa::PhysicalSpace::point corner;
    Tensa::PhysicalSpace::vector sourceFragSize;
    Tensa::PhysicalSpace::vector cellShift;
    if (!getAttributes(from, fragDims, corner, perFragmentDims, sourceFragSize, overlap, cellShift)) {
        return false;
    }
    return setAttribute(to, fragDims, corner, perFragmentDims, sourceFragSize, overlap, cellShift);
}

} // namespace Rastrum

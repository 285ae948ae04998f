#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Lumen/InterfaceBase.hpp"
#include "Lumen/LoaderProgress.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Tensa/MultiRange.hpp"
#include "Tensa/PhysicalSpace.hpp"
#include "Velum/Bundle.hpp"
#include "Velum/Grid.hpp"
#include "Velum/MultiIndex.hpp"
#include "Velum/Ownable.hpp"
#include "Velum/Representation.hpp"

#define RASTRUM_EXPORT __attribute__((visibility("default")))

// Numerical operations on fragmented uniform grids of height rasters with
// per-point cell-type codes. Operations return an empty string on success and
// the last failure message otherwise.
namespace Rastrum {

// Names of the six grid attributes that describe how a uniform grid is cut
// into fragments.
RASTRUM_EXPORT extern std::string const FRAGDIMS;          // fragments per axis
RASTRUM_EXPORT extern std::string const CORNER;            // origin of the grid
RASTRUM_EXPORT extern std::string const PER_FRAGMENT_DIMS; // points per fragment per axis
RASTRUM_EXPORT extern std::string const SOURCE_FRAG_SIZE;  // physical size of a source fragment
RASTRUM_EXPORT extern std::string const OVERLAP;           // points shared by neighbouring fragments
RASTRUM_EXPORT extern std::string const CELL_SHIFT;        // shift of the cells against the source grid

// The index of a vertex that does not exist.
RASTRUM_EXPORT extern std::uint32_t const HOLE;

// Turns the 16-bit marker field `fieldName` of every uniform grid of every
// slice into a density "<name>_Iso": each non-zero marker stamps a 3 x 3 x 3
// Gaussian, and each fragment is scaled to a peak of 1. The first field whose
// name matches (exactly, else by containment) and is not a Sobel output is
// used, for the rest of the call. Problems go to the console; the result is
// "\nBroken Slice-Iterator" when a slice failed. A progress sink that throws
// ends the call with "Fragments left unfinished"; finished fragments stay.
RASTRUM_EXPORT std::string gausSmoothingUniform3D(Velum::BundlePtr& bundle, std::string& fieldName,
                                                  Lumen::StrongPtr<Lumen::LoaderProgress> const& progress);

// Smooths inputFieldName of a fragmented uniform grid into outputFieldName
// (made if missing), fragment by fragment: with an edge-preserving bilateral
// filter, or with a normalised Gaussian when gaussianOnly is set. Hole cells
// (cell types 1 to 3) keep their values and lend neighbours the centre value.
// The window is max(windowSize, 3), made odd; unusedCount is not used. A
// progress sink that throws, or memory running out, stops the call with
// "gaussSmoothingOfUniform: fragments left unfinished"; fragments finished
// before stay in the output.
RASTRUM_EXPORT std::string bilateralSmoothing(Velum::Grid& grid, std::string const& inputFieldName,
                                              std::string const& outputFieldName, unsigned const& windowSize,
                                              double const& sigmaSpatial, double const& sigmaRange,
                                              unsigned const& unusedCount, bool const& gaussianOnly,
                                              Lumen::StrongPtr<Lumen::LoaderProgress> const& progress);

// Writes the low 8 bits of `value` into the unsigned char field targetName
// wherever fieldName's value lies in one of the closed intervals of `range`
// (1e-9 tolerance), or with `invert` wherever it does not, fragment by
// fragment and in place. Prints a progress line per fragment on standard
// output. False when the grid lacks its positions or either field.
RASTRUM_EXPORT bool overwriteFieldValuesViaOtherField(Lumen::StrongPtr<Velum::Grid> const& grid, bool invert,
                                                      std::string const& fieldName,
                                                      Tensa::MultiRange<double> const& range,
                                                      std::string const& targetName, int value);

// Writes the gradient magnitude of the height field into "<height>_Sobel" on
// every grid (or the grid named gridName) of the slice at `time`; a NaN time
// matches every slice. Neighbours with a hole cell type cut the stencil short.
// Each fragment also logs the magnitude a slope of slopeDegrees would give.
// A progress sink that throws, or memory running out, stops the grid's
// remaining fragments with "Fragments left unfinished in grid:<name>".
RASTRUM_EXPORT std::string sobelOperator(Velum::BundlePtr& bundle, std::string& heightFieldName,
                                         Lumen::StrongPtr<Lumen::LoaderProgress> const& progress, std::string gridName,
                                         double time, double slopeDegrees, std::string cellTypeFieldName);

// The operation of rasterOperator. Values outside the enumeration end the
// process (see rasterOperator).
struct Operandi {
    enum Operation : std::int32_t {
        Subtract = 0, // a - b
        Add = 1,      // a + b
        Divide = 2,   // a / b
        Multiply = 3, // a * b
    };
    Operation operation = Subtract;
};

// Combines `firstField` of `first` with `secondField` of `second` cell by cell
// into `result`, which gets one Cartesian representation with "Positions"
// (shared with `first`), "CellType" (1 where either input is a hole, else 0)
// and "Height" (0 at holes). Both inputs must share their fragment layout and
// element type; float and double stay, integer types give int. Fragments with
// no data cell or an all-zero result are dropped. hasData tells whether any
// fragment got data. Divisors are not checked: a floating division by zero
// gives an infinity or NaN, an integer one at a data cell is a fatal
// arithmetic fault (SIGFPE is raised), so callers check integer divisors first.
// An operation outside Operandi prints "wrong input" and ends the process with
// status 1 once a fragment reaches the arithmetic.
RASTRUM_EXPORT std::string rasterOperator(Velum::Grid const& first, Velum::Grid const& second, Velum::Grid& result,
                                          std::string const& firstField, std::string const& secondField,
                                          Operandi const& operation, bool& hasData,
                                          Lumen::StrongPtr<Lumen::LoaderProgress> const& progress);

// Turns the height rasters of the slice at `time` (of every grid, or the grid
// named gridName) into one triangle surface grid `surfaceName` in the slice
// at `time` of `target`: a vertex per data cell, two triangles per square of
// four data vertices, no triangles across fragment borders. With positive
// spacing in x and y the triangles' normals point to negative z. A progress
// sink that throws ends the call with "Fragments left unfinished in
// grid:<name>" and no surface.
RASTRUM_EXPORT std::string raster3DtoTri(Velum::BundlePtr& source, Velum::BundlePtr& target, std::string& fieldName,
                                         std::string& surfaceName,
                                         Lumen::StrongPtr<Lumen::LoaderProgress> const& progress,
                                         std::string const& gridName, double const& time);

// Reads all six layout attributes. On success writes every output and returns
// true; otherwise prints "No <name>" for the first attribute that is missing
// or of another type, touches no output and returns false.
RASTRUM_EXPORT bool getAttributes(Velum::Grid const& grid, Velum::MultiIndex<3>& fragDims,
                                  Tensa::PhysicalSpace::point& corner, Velum::MultiIndex<3>& perFragmentDims,
                                  Tensa::PhysicalSpace::vector& sourceFragSize, Velum::MultiIndex<3>& overlap,
                                  Tensa::PhysicalSpace::vector& cellShift);

// Writes all six layout attributes, replacing earlier values. Index components
// are stored in 32 bits.
RASTRUM_EXPORT bool setAttribute(Velum::Grid& grid, Velum::MultiIndex<3>& fragDims, Tensa::PhysicalSpace::point& corner,
                                 Velum::MultiIndex<3>& perFragmentDims, Tensa::PhysicalSpace::vector& sourceFragSize,
                                 Velum::MultiIndex<3>& overlap, Tensa::PhysicalSpace::vector& cellShift);

// Copies the six layout attributes; false, with `to` unchanged, when `from`
// lacks one.
RASTRUM_EXPORT bool copyAttributes(Velum::Grid& from, Velum::Grid& to);

// Brings the value ranges of the representation's data fields up to date, on
// every fragment of its "Alpha" field.
RASTRUM_EXPORT void addRangeAttribute(Velum::Representation& representation);

// Whether a field is named `name` exactly or, failing that, contains it.
// Matching names are appended to `matches`, every name visited by the
// deciding pass to `names`.
RASTRUM_EXPORT bool testIfFieldNameExists(
    Lumen::StrongPtr<Velum::Representation, Velum::Ownable<Velum::Field>::Container> const& representation,
    std::string& name, std::vector<std::string>& matches, std::vector<std::string>& names);
RASTRUM_EXPORT bool testIfFieldNameExists(
    Lumen::StrongPtr<Velum::Representation, Velum::Ownable<Velum::Field>::Container> const& representation,
    std::string& name, std::vector<std::string>& matches);

// Writes the vertex field "Binary" on every grid (or the grid named gridName)
// of the slice at `time`: 1.0 where the cell-type code marks data (0 or 4),
// 0.0 elsewhere. Fragments of the field beyond the grid's own fragments are
// skipped. A progress sink that throws, or memory running out, stops the
// grid's remaining fragments with "Fragments left unfinished in grid:<name>".
RASTRUM_EXPORT std::string binaryOperator(Velum::BundlePtr& bundle, std::string const& cellTypeFieldName,
                                          Lumen::StrongPtr<Lumen::LoaderProgress, Lumen::InterfaceBase> const& progress,
                                          std::string const& gridName, double const& time);

} // namespace Rastrum

#include <string>
#include <vector>

#include "Rastrum.hpp"
#include "Velum/FragmentBBox.hpp"
#include "Velum/FragmentedUniformGrid3D.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/TriangularSurface.hpp"
#include "Velum/UniformCartesianArray.hpp"
#include "frame/bundle_walk.hpp"
#include "frame/cell_types.hpp"
#include "triangulate/triangulate_fragment.hpp"

namespace Rastrum {
namespace {

CellTypeTables const cellTypes;

using FieldPtr = Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>;

// What the grid visits of one call share.
struct Run {
    std::string message;
    std::string const& heightField;
    Lumen::StrongPtr<Lumen::LoaderProgress> const& progress;
    Velum::ArrayStorage<Tensa::PhysicalSpace::point> vertices;
    Velum::ArrayStorage<Velum::Triangle> triangles;
};

void triangulateFragmentAt(Run& run, Velum::Field const& positions, Velum::RegularlyFragmentedField<3> const& height,
                           Velum::Field const& codes, Velum::MultiIndex<3> const& index) {
    auto const fragment = height.getFragmentID(index);
    Lumen::StrongPtr<Velum::MemArray<3, float>> const heights = fragment ? height.getData(fragment) : nullptr;
    if (!heights) {
        return;
    }
    if (run.progress) {
        auto const& counts = height.getFragmentCounts();
        run.progress->report("Applying Sobel to current Fragment #", static_cast<std::uint32_t>(index.linear(counts)),
                             static_cast<std::uint32_t>(counts.product()));
    }
    Lumen::StrongPtr<Velum::MemArray<3, unsigned char>> const types = codes.getData(fragment);
    Lumen::StrongPtr<Velum::UniformCartesianArray> const placement = positions.getData(fragment);
    if (!types || !placement || types->Size() != heights->Size()) {
        return;
    }
    auto const corner = Velum::getFragmentBBox(positions, fragment).min();
    auto const& size = heights->Size();
    triangulateFragment(heights->data(), types->data(), size[0], size[1], size[2],
                        {corner[0], corner[1], placement->spacing()[0], placement->spacing()[1]},
                        cellTypes.HOLE_CELL_TYPES, run.vertices, run.triangles);
}

// Room for as many vertices as the grid's fragments have points and two
// triangles per square, so that the lists never move while they grow. Pages
// of the room left unused are never touched.
void reserveForGrid(Run& run, Velum::RegularlyFragmentedField<3> const& height,
                    std::vector<Velum::MultiIndex<3>> const& fragments) {
    std::uint64_t points = 0;
    std::uint64_t squares = 0;
    for (auto const& index : fragments) {
        auto const fragment = height.getFragmentID(index);
        Lumen::StrongPtr<Velum::MemBase> const data = fragment ? height.getData(fragment) : nullptr;
        auto const size = data ? Velum::getSize(*data) : std::vector<std::uint64_t>{};
        if (size.size() == 3 && size[0] > 0 && size[1] > 0) {
            points += size[0] * size[1] * size[2];
            squares += (size[0] - 1) * (size[1] - 1) * size[2];
        }
    }
    run.vertices.reserve(run.vertices.size() + points);
    run.triangles.reserve(run.triangles.size() + 2 * squares);
}

// Returns false to end the walk over the slice's grids.
bool visitGrid(Run& run, std::string const& name, Lumen::StrongPtr<Velum::Grid> const& grid) {
    Velum::FragmentedUniformGrid3D view;
    if (!view.assign(grid)) {
        run.message = "This is not a uniform grid:" + name + " ...Skipping";
        return false;
    }
    auto const representation = grid->getCartesianRepresentation("");
    if (!representation) {
        run.message = "No representation";
        return false;
    }
    auto const positions = grid->CartesianPositions();
    if (!positions) {
        run.message = "No positions";
        return false;
    }
    FieldPtr const height = view.getVertexField(run.heightField);
    if (!height) {
        run.message = "Can not find height field:" + run.heightField;
        return false;
    }
    auto const codes = representation->findField("CellType");
    if (!codes) {
        run.message = std::string("Found no cell type field:") + "CellType";
        return false;
    }
    auto const fragments = frame::fragmentList(height->getFragmentCounts());
    reserveForGrid(run, *height, fragments);
    for (auto const& index : fragments) {
        triangulateFragmentAt(run, *positions, *height, *codes, index);
    }
    return true;
}

} // namespace

std::string raster3DtoTri(Velum::BundlePtr& source, Velum::BundlePtr& target, std::string& fieldName,
                          std::string& surfaceName, Lumen::StrongPtr<Lumen::LoaderProgress> const& progress,
                          std::string const& gridName, double const& time) {
    if (!source.isBound()) {
        return frame::BUNDLE_REFUSED;
    }
    Run run{"", fieldName, progress, {}, {}};
    frame::forEachSliceAt(*source, time, frame::TimeMatch::Exact, frame::SliceLog::Silent,
                          [&](Velum::Slice const& slice) {
                              frame::forEachGrid(slice, gridName, [&](std::string const& name, auto const& grid) {
                                  return visitGrid(run, name, grid);
                              });
                          });
    if (run.vertices.empty() || run.triangles.empty()) {
        return "size of triangulation is zero";
    }
    if (!target.isBound()) {
        return frame::BUNDLE_REFUSED;
    }
    auto const vertexCount = run.vertices.size();
    auto const triangleCount = run.triangles.size();
    auto const vertices =
        Lumen::makeStrong<Velum::VertexArray>(Velum::MultiIndex<1>(vertexCount), std::move(run.vertices));
    auto const triangles =
        Lumen::makeStrong<Velum::TriangleArray>(Velum::MultiIndex<1>(triangleCount), std::move(run.triangles));
    auto const surface = (*target)[time]->newGrid(surfaceName);
    Velum::TriangularSurface::addVerticesAndConnectivity(*surface, vertices, triangles);
    return run.message;
}

} // namespace Rastrum

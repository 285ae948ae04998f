#include <new>
#include <span>
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
#include "frame/fragment_loop.hpp"
#include "triangulate/triangulate_fragment.hpp"

namespace Rastrum {
namespace {

CellTypeTables const cellTypes;

using FieldPtr = Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>;

// Ends the walk when a fragment could not be written.
struct FragmentsUnfinished {};

// What the grid visits of one call share.
struct Run {
    std::string message;
    std::string const& heightField;
    Lumen::StrongPtr<Lumen::LoaderProgress> const& progress;
    Velum::ArrayStorage<Tensa::PhysicalSpace::point> vertices;
    Velum::ArrayStorage<Velum::Triangle> triangles;
};

// A fragment with heights: it is reported; with cell types and placement
// that fit, it is triangulated, its rows from `firstRow` on in the row list.
struct Planned {
    std::uint32_t number;
    Lumen::StrongPtr<Velum::MemArray<3, float>> heights;
    Lumen::StrongPtr<Velum::MemArray<3, unsigned char>> types;
    SurfaceFragment surface;
    std::uint64_t firstRow;
};

// The fragments with heights in list order, and their rows; framework calls
// only here, on the caller's thread.
std::vector<Planned> planFragments(Velum::Field const& positions, Velum::RegularlyFragmentedField<3> const& height,
                                   Velum::Field const& codes, std::vector<Velum::MultiIndex<3>> const& fragments,
                                   std::uint64_t& rows) {
    std::vector<Planned> planned;
    auto const& counts = height.getFragmentCounts();
    for (auto const& index : fragments) {
        auto const fragment = height.getFragmentID(index);
        Lumen::StrongPtr<Velum::MemArray<3, float>> const heights = fragment ? height.getData(fragment) : nullptr;
        if (!heights) {
            continue;
        }
        Planned next{static_cast<std::uint32_t>(index.linear(counts)), heights, codes.getData(fragment), {}, rows};
        Lumen::StrongPtr<Velum::UniformCartesianArray> const placement = positions.getData(fragment);
        if (next.types && placement && next.types->Size() == heights->Size()) {
            auto const corner = Velum::getFragmentBBox(positions, fragment).min();
            auto const& size = heights->Size();
            next.surface = {heights->data(), next.types->data(), size[0], size[1], size[2],
                            {corner[0], corner[1], placement->spacing()[0], placement->spacing()[1]}};
            rows += size[1] * size[2];
        } else {
            next.types = nullptr;
        }
        planned.push_back(std::move(next));
    }
    return planned;
}

// Counts every row first, so that each fragment, and each row, is written at
// its place in the lists by whichever thread takes it: the lists come out as
// a walk over fragments and points in order would make them. Reports go out
// in fragment order, each before its fragment is written.
void triangulateGrid(Run& run, std::vector<Planned> const& planned, std::uint64_t rowCount, std::uint32_t total) {
    // From the kept blocks: a fresh list of a big grid's rows would fault in anew on every call.
    Velum::ArrayStorage<RowShare> rows(rowCount);
    auto const rowsOf = [&](Planned const& p) {
        return std::span(rows).subspan(p.firstRow, p.surface.ny * p.surface.nz);
    };
    auto const count = static_cast<std::uint32_t>(planned.size());
    auto const flags = vertexFlags(cellTypes.HOLE_CELL_TYPES);
    if (!frame::forEachFragment(count, [&](std::uint32_t i) {
            if (planned[i].types) {
                countRows(planned[i].surface, flags, rowsOf(planned[i]));
            }
        })) {
        throw std::bad_alloc();
    }
    auto const end = startsFrom({run.vertices.size(), run.triangles.size()}, rows);
    run.vertices.resize(end.vertices);
    run.triangles.resize(end.triangles);
    auto const pastCaches = listsPastCaches(end);
    auto const report = [&](std::uint32_t i) {
        if (run.progress) {
            run.progress->report("Applying Sobel to current Fragment #", planned[i].number, total);
        }
    };
    if (!frame::forEachFragmentInOrder(count, report, [&](std::uint32_t i) {
            if (planned[i].types) {
                fillRows(planned[i].surface, flags, rowsOf(planned[i]), run.vertices.data(), run.triangles.data(),
                         pastCaches);
            }
        })) {
        throw FragmentsUnfinished{};
    }
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
    std::uint64_t rows = 0;
    auto const planned =
        planFragments(*positions, *height, *codes, frame::fragmentList(height->getFragmentCounts()), rows);
    triangulateGrid(run, planned, rows, static_cast<std::uint32_t>(height->getFragmentCounts().product()));
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
    std::string current;
    try {
        frame::forEachSliceAt(*source, time, frame::TimeMatch::Exact, frame::SliceLog::Silent,
                              [&](Velum::Slice const& slice) {
                                  frame::forEachGrid(slice, gridName, [&](std::string const& name, auto const& grid) {
                                      current = name;
                                      return visitGrid(run, name, grid);
                                  });
                              });
    } catch (...) {
        // A progress sink that throws (a cancelled run) ends the walk; no surface is made.
        return "Fragments left unfinished in grid:" + current;
    }
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
    // Every index was counted from the rows' starts, below the vertex count.
    Velum::TriangularSurface::addVerticesAndConnectivity(*surface, vertices, triangles, Velum::indicesInRange);
    return run.message;
}

} // namespace Rastrum

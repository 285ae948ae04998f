#include "mesh/welded_surface.hpp"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <vector>

#include "Velum/TriangularSurface.hpp"
#include "core/errors.hpp"
#include "mesh/surface_input.hpp"
#include "tiling/fragment_needs.hpp"
#include "tiling/operation_support.hpp"

namespace rastrum_host {
namespace {

// A vertex whose normal may still grow.
struct Pending {
    std::uint64_t row;
    MeshPoint position;
    MeshPoint normal{0.0, 0.0, 0.0};
};

// The rows [first, first + count) of a raster as a north-up raster of their
// own, placed where they lie in the whole one.
HeightInput rowsOf(HeightInput const& input, GridPlacement const& placement, std::uint64_t first,
                   std::uint64_t count) {
    auto const width = input.heights.width;
    HeightInput strip{.source = input.source,
                      .heights = {.width = width, .height = static_cast<std::uint32_t>(count), .bands = 1, .values = {}},
                      .cellTypes = {},
                      .georef = {}};
    strip.heights.values.reserve(width * count);
    strip.cellTypes.reserve(width * count);
    for (std::uint64_t r = 0; r < count; ++r) {
        std::uint64_t const row = first + count - 1 - r; // from the south
        std::uint64_t const fileRow = placement.northUp ? input.heights.height - 1 - row : row;
        auto const begin = static_cast<std::ptrdiff_t>(fileRow * width);
        strip.heights.values.insert(strip.heights.values.end(), input.heights.values.begin() + begin,
                                    input.heights.values.begin() + begin + width);
        strip.cellTypes.insert(strip.cellTypes.end(), input.cellTypes.begin() + begin,
                               input.cellTypes.begin() + begin + width);
    }
    double const dx = placement.spacing[0], dy = placement.spacing[1];
    double const north = placement.origin[1] + (static_cast<double>(first + count) - 0.5) * dy;
    strip.georef = {.transform = {placement.origin[0] - 0.5 * dx, dx, 0.0, north, 0.0, -dy}, .hasTransform = true,
                    .crsWkt = {}};
    return strip;
}

class Welder {
public:
    Welder(std::uint32_t width, GridPlacement const& placement, MeshSink& sink)
        : width_(width), placement_(placement), sink_(sink) {}

    // Adds the library's surface of the grid rows [first, end); vertices below
    // `finalBelow` get no more triangles afterwards.
    void add(Velum::TriangularSurface const& surface, std::uint64_t first, std::uint64_t end,
             std::uint64_t finalBelow) {
        keepRows(first, end);
        auto const& vertices = surface.vertices()->values();
        std::vector<std::size_t> slot(vertices.size());
        for (std::size_t v = 0; v < vertices.size(); ++v) {
            auto const column = std::llround((vertices[v][0] - placement_.origin[0]) / placement_.spacing[0]);
            auto const row = std::llround((vertices[v][1] - placement_.origin[1]) / placement_.spacing[1]);
            slot[v] = static_cast<std::size_t>(row - static_cast<long long>(first)) * width_ +
                      static_cast<std::size_t>(column);
        }
        // Cells new to the mesh are numbered in row order, so that a vertex
        // is handed on only after every vertex of a lower number.
        std::vector<std::pair<std::size_t, std::size_t>> fresh;
        for (auto const& t : surface.triangles()->values()) {
            for (unsigned k = 0; k < 3; ++k) {
                if (index_[slot[t[k]]] == Unseen) {
                    index_[slot[t[k]]] = Fresh;
                    fresh.emplace_back(slot[t[k]], t[k]);
                }
            }
        }
        std::ranges::sort(fresh);
        for (auto const& [s, v] : fresh) {
            index_[s] = static_cast<std::int64_t>(next_++);
            pending_.push_back({first + s / width_, {vertices[v][0], vertices[v][1], vertices[v][2]}});
        }
        if (next_ > std::numeric_limits<std::uint32_t>::max()) {
            throw InputError("the surface has more vertices than mesh files can number");
        }
        // The library's triangles face down; (a, c, b) faces up.
        for (auto const& t : surface.triangles()->values()) {
            std::array<std::uint64_t, 3> const corner{static_cast<std::uint64_t>(index_[slot[t[0]]]),
                                                      static_cast<std::uint64_t>(index_[slot[t[2]]]),
                                                      static_cast<std::uint64_t>(index_[slot[t[1]]])};
            MeshPoint const n = areaNormal(pendingAt(corner[0]).position, pendingAt(corner[1]).position,
                                           pendingAt(corner[2]).position);
            for (auto const c : corner) {
                addTo(pendingAt(c).normal, n);
            }
            sink_.triangle(static_cast<std::uint32_t>(corner[0]), static_cast<std::uint32_t>(corner[1]),
                           static_cast<std::uint32_t>(corner[2]));
            ++triangles_;
        }
        while (!pending_.empty() && pending_.front().row < finalBelow) {
            sink_.vertex(pending_.front().position, unitNormal(pending_.front().normal));
            pending_.pop_front();
            ++handedOn_;
        }
    }

    // Hands on the vertices still waiting for triangles that never came.
    SurfaceCounts finish() {
        while (!pending_.empty()) {
            sink_.vertex(pending_.front().position, unitNormal(pending_.front().normal));
            pending_.pop_front();
        }
        return {next_, triangles_};
    }

private:
    static constexpr std::int64_t Unseen = -1;
    static constexpr std::int64_t Fresh = -2;

    Pending& pendingAt(std::uint64_t index) { return pending_[index - handedOn_]; }

    // The vertex numbers of rows [first, end), keeping those of rows shared
    // with the previous row of fragments.
    void keepRows(std::uint64_t first, std::uint64_t end) {
        std::vector<std::int64_t> index((end - first) * width_, Unseen);
        for (std::uint64_t row = std::max(first, first_); row < std::min(end, end_); ++row) {
            std::copy_n(index_.begin() + static_cast<std::ptrdiff_t>((row - first_) * width_), width_,
                        index.begin() + static_cast<std::ptrdiff_t>((row - first) * width_));
        }
        index_ = std::move(index);
        first_ = first;
        end_ = end;
    }

    std::uint32_t width_;
    GridPlacement placement_;
    MeshSink& sink_;
    std::vector<std::int64_t> index_; // per cell of rows [first_, end_): vertex number, Unseen or Fresh
    std::uint64_t first_ = 0;
    std::uint64_t end_ = 0;
    std::deque<Pending> pending_; // vertices handedOn_, handedOn_ + 1, ...
    std::uint64_t handedOn_ = 0;
    std::uint64_t next_ = 0;
    std::uint64_t triangles_ = 0;
};

} // namespace

SurfaceCounts streamWeldedSurface(HeightInput const& input, Tiling const& tiling, RunContext const& context,
                                  MeshSink& sink) {
    requireMeshableHeights(input);
    auto const placement = placementOf(input.georef, input.heights.height, input.source);
    std::uint64_t const rows = input.heights.height;
    std::uint64_t const size = tiling.fragmentSize;
    checkFragments(tiling, {"mesh", 2, SurfaceOverlap, "a shared row and column, so that no gap opens"});
    std::uint64_t const overlap = tiling.overlap.value_or(SurfaceOverlap);
    if (size == 0 || overlap >= size) {
        tileHeights(input, tiling, SurfaceOverlap); // refuses the tiling with its message
    }
    Welder welder(input.heights.width, placement, sink);
    for (std::uint64_t first = 0; first < rows; first += size - overlap) {
        std::uint64_t const end = std::min(first + size, rows);
        bool const last = end == rows;
        auto source = bundleOf(tileHeights(rowsOf(input, placement, first, end - first), tiling, SurfaceOverlap));
        auto target = Velum::BundlePtr::create();
        std::string height = HeightField;
        std::string surfaceName = "surface";
        auto const message = Rastrum::raster3DtoTri(source, target, height, surfaceName, context.progress, "", 0.0);
        if (message != "size of triangulation is zero") {
            expectSuccess(message, "raster3DtoTri");
            Velum::TriangularSurface surface;
            surface.assign(target->slices().at(0.0)->grids().at(surfaceName));
            welder.add(surface, first, end, last ? rows : first + size - overlap);
        }
        if (last) {
            break;
        }
    }
    auto const counts = welder.finish();
    if (counts.triangles == 0) {
        throw InputError(input.source + ": no square of four data cells to make a surface of");
    }
    return counts;
}

} // namespace rastrum_host

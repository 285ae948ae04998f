#include "mesh/simplified_surface.hpp"

#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_face_base_with_info_2.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>
#include <CGAL/convex_hull_2.h>

#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <queue>
#include <vector>

#include "core/errors.hpp"
#include "mesh/surface_input.hpp"
#include "tiling/tiled_grid.hpp"

namespace rastrum_host {
namespace {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;

struct FaceState {
    std::uint64_t stamp = 0; // which scan the face's queue entry belongs to; 0: none yet
    bool coversHole = false;
};
std::uint32_t constexpr Unnumbered = std::numeric_limits<std::uint32_t>::max();
using VertexBase = CGAL::Triangulation_vertex_base_with_info_2<std::uint32_t, Kernel>;
using FaceBase = CGAL::Triangulation_face_base_with_info_2<FaceState, Kernel>;
using Delaunay =
    CGAL::Delaunay_triangulation_2<Kernel, CGAL::Triangulation_data_structure_2<VertexBase, FaceBase>>;
using Face = Delaunay::Face_handle;

// Grid coordinates: the column, and the row counted from the south.
struct Cell {
    std::int64_t x;
    std::int64_t y;
};

struct Candidate {
    double error; // infinite for a face that covers a hole
    Face face;
    std::uint64_t stamp;
    Cell cell;
    bool operator<(Candidate const& other) const { return error < other.error; }
};

class Refiner {
public:
    Refiner(HeightInput const& input, double maxError)
        : input_(input), placement_(placementOf(input.georef, input.heights.height, input.source)),
          maxError_(maxError) {}

    void run() {
        for (Cell const& c : hull()) {
            dt_.insert(pointOf(c))->info() = Unnumbered;
        }
        if (dt_.dimension() < 2) {
            throw InputError(input_.source + ": the data cells span no area to make a surface of");
        }
        for (Face f : dt_.finite_face_handles()) {
            scan(f);
        }
        while (!queue_.empty()) {
            Candidate const worst = queue_.top();
            queue_.pop();
            if (worst.face->info().stamp != worst.stamp) {
                continue; // the face changed since
            }
            auto const point = pointOf(worst.cell);
            std::vector<Face> changed;
            dt_.get_conflicts(point, std::back_inserter(changed), worst.face);
            for (Face f : changed) {
                f->info().stamp = 0;
            }
            auto const vertex = dt_.insert(point, worst.face);
            vertex->info() = Unnumbered;
            auto face = dt_.incident_faces(vertex);
            auto const done = face;
            do {
                if (!dt_.is_infinite(face)) {
                    scan(face);
                }
            } while (++face != done);
        }
    }

    SurfaceCounts emit(MeshSink& sink) {
        std::vector<MeshPoint> positions;
        std::vector<std::array<std::uint32_t, 3>> triangles;
        for (Face f : dt_.finite_face_handles()) {
            if (f->info().coversHole) {
                continue;
            }
            std::array<std::uint32_t, 3> triangle{};
            for (int k = 0; k < 3; ++k) {
                auto& number = f->vertex(k)->info();
                if (number == Unnumbered) {
                    number = static_cast<std::uint32_t>(positions.size());
                    positions.push_back(worldOf(cellOf(f->vertex(k)->point())));
                }
                triangle[static_cast<std::size_t>(k)] = number;
            }
            triangles.push_back(triangle);
        }
        std::vector<MeshPoint> normals(positions.size(), {0.0, 0.0, 0.0});
        for (auto const& [a, b, c] : triangles) {
            MeshPoint const n = areaNormal(positions[a], positions[b], positions[c]);
            for (auto const v : {a, b, c}) {
                addTo(normals[v], n);
            }
        }
        for (std::size_t v = 0; v < positions.size(); ++v) {
            sink.vertex(positions[v], unitNormal(normals[v]));
        }
        for (auto const& [a, b, c] : triangles) {
            sink.triangle(a, b, c); // counter-clockwise in grid coordinates, whose axes point east and north
        }
        return {positions.size(), triangles.size()};
    }

private:
    std::size_t fileIndex(Cell c) const {
        auto const rows = static_cast<std::int64_t>(input_.heights.height);
        auto const row = placement_.northUp ? rows - 1 - c.y : c.y;
        return static_cast<std::size_t>(c.x + static_cast<std::int64_t>(input_.heights.width) * row);
    }
    bool isData(Cell c) const { return !isHole(input_.cellTypes[fileIndex(c)]); }
    double heightAt(Cell c) const { return input_.heights.values[fileIndex(c)]; }
    static Kernel::Point_2 pointOf(Cell c) {
        return {static_cast<double>(c.x), static_cast<double>(c.y)};
    }
    static Cell cellOf(Kernel::Point_2 const& p) {
        return {static_cast<std::int64_t>(p.x()), static_cast<std::int64_t>(p.y())};
    }
    MeshPoint worldOf(Cell c) const {
        return {placement_.origin[0] + static_cast<double>(c.x) * placement_.spacing[0],
                placement_.origin[1] + static_cast<double>(c.y) * placement_.spacing[1], heightAt(c)};
    }

    // The corners of the convex hull of the data cells.
    std::vector<Cell> hull() const {
        std::vector<Kernel::Point_2> ends;
        auto const width = static_cast<std::int64_t>(input_.heights.width);
        for (std::int64_t y = 0; y < static_cast<std::int64_t>(input_.heights.height); ++y) {
            std::int64_t west = 0;
            while (west < width && !isData({west, y})) {
                ++west;
            }
            std::int64_t east = width - 1;
            while (east > west && !isData({east, y})) {
                --east;
            }
            if (west < width) {
                ends.push_back(pointOf({west, y}));
                ends.push_back(pointOf({east, y}));
            }
        }
        std::vector<Kernel::Point_2> corners;
        CGAL::convex_hull_2(ends.begin(), ends.end(), std::back_inserter(corners));
        std::vector<Cell> cells;
        for (auto const& p : corners) {
            cells.push_back(cellOf(p));
        }
        return cells;
    }

    // Finds the data cell of the face farthest from its plane and queues it
    // when it is too far, or when the face covers a hole.
    void scan(Face f) {
        std::array<Cell, 3> const c{cellOf(f->vertex(0)->point()), cellOf(f->vertex(1)->point()),
                                    cellOf(f->vertex(2)->point())};
        std::array<double, 3> const h{heightAt(c[0]), heightAt(c[1]), heightAt(c[2])};
        // Twice the signed areas that cell q makes with each edge: its barycentric weights times `area`.
        auto weight = [](Cell a, Cell b, Cell q) { return (b.x - a.x) * (q.y - a.y) - (b.y - a.y) * (q.x - a.x); };
        auto const area = static_cast<double>(weight(c[0], c[1], c[2]));
        std::int64_t const yLow = std::min({c[0].y, c[1].y, c[2].y});
        std::int64_t const yHigh = std::max({c[0].y, c[1].y, c[2].y});
        bool coversHole = false;
        double worstError = -1.0;
        Cell worst{};
        for (std::int64_t y = yLow; y <= yHigh; ++y) {
            auto const [xLow, xHigh] = span(c, y);
            for (std::int64_t x = xLow; x <= xHigh; ++x) {
                Cell const q{x, y};
                auto const w0 = weight(c[1], c[2], q), w1 = weight(c[2], c[0], q), w2 = weight(c[0], c[1], q);
                if (w0 < 0 || w1 < 0 || w2 < 0 || (w0 == 0 && w1 == 0) || (w1 == 0 && w2 == 0) ||
                    (w0 == 0 && w2 == 0)) {
                    continue; // outside, or a corner
                }
                if (!isData(q)) {
                    coversHole = true;
                    continue;
                }
                double const plane =
                    (static_cast<double>(w0) * h[0] + static_cast<double>(w1) * h[1] + static_cast<double>(w2) * h[2]) /
                    area;
                double const error = std::abs(heightAt(q) - plane);
                if (error > worstError) {
                    worstError = error;
                    worst = q;
                }
            }
        }
        f->info() = {++stamps_, coversHole};
        if (worstError >= 0.0 && (coversHole || worstError > maxError_)) {
            queue_.push({coversHole ? std::numeric_limits<double>::infinity() : worstError, f, stamps_, worst});
        }
    }

    // The columns of row y that may lie in the triangle: those between its
    // edges' crossings of the row, widened by one for rounding.
    static std::pair<std::int64_t, std::int64_t> span(std::array<Cell, 3> const& c, std::int64_t y) {
        double low = std::numeric_limits<double>::infinity();
        double high = -low;
        for (std::size_t k = 0; k < 3; ++k) {
            Cell const a = c[k], b = c[(k + 1) % 3];
            if ((a.y <= y && y <= b.y) || (b.y <= y && y <= a.y)) {
                double const x = a.y == b.y ? static_cast<double>(a.x)
                                            : static_cast<double>(a.x) + static_cast<double>(y - a.y) *
                                                                             static_cast<double>(b.x - a.x) /
                                                                             static_cast<double>(b.y - a.y);
                double const other = a.y == b.y ? static_cast<double>(b.x) : x;
                low = std::min({low, x, other});
                high = std::max({high, x, other});
            }
        }
        return {static_cast<std::int64_t>(std::floor(low)) - 1, static_cast<std::int64_t>(std::ceil(high)) + 1};
    }

    HeightInput const& input_;
    GridPlacement placement_;
    double maxError_;
    Delaunay dt_;
    std::priority_queue<Candidate> queue_;
    std::uint64_t stamps_ = 0;
};

} // namespace

SurfaceCounts streamSimplifiedSurface(HeightInput const& input, double maxError, MeshSink& sink) {
    requireMeshableHeights(input);
    Refiner refiner(input, maxError);
    refiner.run();
    return refiner.emit(sink);
}

} // namespace rastrum_host

#include "mesh/simplified_surface.hpp"

#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_face_base_with_info_2.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>
#include <CGAL/convex_hull_2.h>

#include <algorithm>
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

// Grid coordinates: the column, and the row counted from the south.
struct Cell {
    std::int64_t x;
    std::int64_t y;
};

// The face's candidate: its data cell farthest from its plane.
struct FaceState {
    std::uint64_t stamp = 0; // which scan the face's queue entry belongs to; 0: none yet
    Cell worst{};
    bool coversHole = false;
};
std::uint32_t constexpr Unnumbered = std::numeric_limits<std::uint32_t>::max();
using VertexBase = CGAL::Triangulation_vertex_base_with_info_2<std::uint32_t, Kernel>;
using FaceBase = CGAL::Triangulation_face_base_with_info_2<FaceState, Kernel>;
using Delaunay =
    CGAL::Delaunay_triangulation_2<Kernel, CGAL::Triangulation_data_structure_2<VertexBase, FaceBase>>;
using Face = Delaunay::Face_handle;
using Vertex = Delaunay::Vertex_handle;

// A queue entry, small for the heap's sake; stale once its face is scanned anew.
struct Candidate {
    double error; // infinite for a face that covers a hole
    Face face;
    std::uint64_t stamp;
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
        drain();
    }

    void drain() {
        while (!queue_.empty()) {
            Candidate const worst = queue_.top();
            queue_.pop();
            if (worst.face->info().stamp != worst.stamp) {
                continue; // the face changed since
            }
            // Insertion splits and flips faces in place, never freeing one, and
            // every face it changes is one of the new vertex's, scanned anew.
            auto const vertex = dt_.insert(pointOf(worst.face->info().worst), worst.face);
            vertex->info() = Unnumbered;
            inserted_.push_back(vertex);
            scanAround(vertex);
        }
    }

    // Whether some triangle of the vertex's neighbours that holds it passes
    // within the error of its height: the retriangulation without the vertex
    // uses one of them, so a vertex that fails here cannot go.
    bool mayLeave(Vertex v, std::vector<Vertex> const& ring) const {
        Cell const p = cellOf(v->point());
        double const h = heightAt(p);
        std::size_t const n = ring.size();
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t j = i + 1; j < n; ++j) {
                for (std::size_t k = j + 1; k < n; ++k) {
                    std::array<Cell, 3> c{cellOf(ring[i]->point()), cellOf(ring[j]->point()), cellOf(ring[k]->point())};
                    if (twiceArea(c[0], c[1], c[2]) < 0) {
                        std::swap(c[1], c[2]);
                    }
                    std::int64_t const w0 = twiceArea(c[1], c[2], p), w1 = twiceArea(c[2], c[0], p),
                                       w2 = twiceArea(c[0], c[1], p);
                    if (w0 < 0 || w1 < 0 || w2 < 0) {
                        continue;
                    }
                    double const plane =
                        (static_cast<double>(w0) * heightAt(c[0]) + static_cast<double>(w1) * heightAt(c[1]) +
                         static_cast<double>(w2) * heightAt(c[2])) /
                        static_cast<double>(w0 + w1 + w2);
                    if (std::abs(plane - h) <= maxError_) {
                        return true;
                    }
                }
            }
        }
        return false;
    }
    static std::int64_t twiceArea(Cell a, Cell b, Cell c) {
        return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    }

    void scanAround(Vertex v) {
        auto face = dt_.incident_faces(v);
        auto const done = face;
        do {
            if (!dt_.is_infinite(face)) {
                scan(face);
            }
        } while (++face != done);
    }

    // Removes refinement vertices that the bound no longer needs: a vertex
    // goes when every face that closes its hole stays within the error and
    // off holes. A vertex that must stay is put back; when its faces come
    // back as they were, so do their findings, else they are scanned anew.
    void decimate() {
        std::vector<Vertex> ring;
        std::vector<std::pair<Vertex, FaceState>> star; // each face by its corner after the vertex, counter-clockwise
        std::vector<Face> closing;
        for (Vertex v : inserted_) {
            ring.clear();
            star.clear();
            auto face = dt_.incident_faces(v);
            auto const done = face;
            bool onHull = false;
            do {
                Vertex const next = face->vertex(Delaunay::ccw(face->index(v)));
                onHull = onHull || dt_.is_infinite(next);
                ring.push_back(next);
                star.emplace_back(next, face->info());
            } while (++face != done);
            if (onHull || !mayLeave(v, ring)) {
                continue;
            }
            auto const point = v->point();
            dt_.remove(v);
            closing.clear();
            facesWithin(ring, closing);
            bool const fits = std::ranges::all_of(closing, [&](Face f) {
                Measure const m = measure(f);
                f->info() = m.state;
                return !m.state.coversHole && m.error <= m.threshold;
            });
            if (!fits) {
                Vertex const back = dt_.insert(point, closing.front());
                back->info() = Unnumbered;
                if (!restore(back, star)) {
                    ring.push_back(back);
                    closing.clear();
                    facesWithin(ring, closing, false);
                    for (Face f : closing) {
                        scan(f);
                    }
                }
            }
        }
        drain();
    }

    // The finite faces around the given vertices, with every corner among them if asked.
    void facesWithin(std::vector<Vertex> const& ring, std::vector<Face>& faces, bool allCorners = true) const {
        for (Vertex u : ring) {
            auto face = dt_.incident_faces(u);
            auto const done = face;
            do {
                bool const inside =
                    !allCorners || std::ranges::all_of(std::array{0, 1, 2}, [&](int k) {
                        return std::ranges::find(ring, face->vertex(k)) != ring.end();
                    });
                if (inside && !dt_.is_infinite(face) && std::ranges::find(faces, Face(face)) == faces.end()) {
                    faces.push_back(face);
                }
            } while (++face != done);
        }
    }

    // Gives the faces around the vertex their earlier findings when they are the same faces.
    bool restore(Vertex v, std::vector<std::pair<Vertex, FaceState>> const& star) {
        std::size_t count = 0;
        auto face = dt_.incident_faces(v);
        auto const done = face;
        do {
            ++count;
            Vertex const next = face->vertex(Delaunay::ccw(face->index(v)));
            if (std::ranges::find(star, next, &std::pair<Vertex, FaceState>::first) == star.end()) {
                return false;
            }
        } while (++face != done);
        if (count != star.size()) {
            return false;
        }
        do {
            Vertex const next = face->vertex(Delaunay::ccw(face->index(v)));
            face->info() = std::ranges::find(star, next, &std::pair<Vertex, FaceState>::first)->second;
        } while (++face != done);
        return true;
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
    // when it is too far, or when the face covers a hole. Rows are clipped to
    // the triangle exactly in integers and the plane is evaluated as a slope
    // along each row; the threshold is lowered by a bound on that rounding,
    // so that no cell is ever found close enough when it is not.
    bool scan(Face f) {
        Measure const m = measure(f);
        f->info() = m.state;
        f->info().stamp = ++stamps_;
        if (m.error >= 0.0 && (m.state.coversHole || m.error > m.threshold)) {
            queue_.push({m.state.coversHole ? std::numeric_limits<double>::infinity() : m.error, f, stamps_});
            return true;
        }
        return false;
    }

    struct Measure {
        double error; // negative when the face holds no data cell but its corners
        double threshold;
        FaceState state;
    };
    Measure measure(Face f) const {
        std::array<Cell, 3> const c{cellOf(f->vertex(0)->point()), cellOf(f->vertex(1)->point()),
                                    cellOf(f->vertex(2)->point())};
        double const h0 = heightAt(c[0]);
        double const dh1 = heightAt(c[1]) - h0, dh2 = heightAt(c[2]) - h0; // exact: differences of floats
        auto const x1 = static_cast<double>(c[1].x - c[0].x), y1 = static_cast<double>(c[1].y - c[0].y);
        auto const x2 = static_cast<double>(c[2].x - c[0].x), y2 = static_cast<double>(c[2].y - c[0].y);
        double const area = x1 * y2 - y1 * x2; // positive: faces are counter-clockwise
        double const slopeX = (dh1 * y2 - y1 * dh2) / area, slopeY = (x1 * dh2 - dh1 * x2) / area;
        std::int64_t const yLow = std::min({c[0].y, c[1].y, c[2].y}), yHigh = std::max({c[0].y, c[1].y, c[2].y});
        std::int64_t const xLow = std::min({c[0].x, c[1].x, c[2].x}), xHigh = std::max({c[0].x, c[1].x, c[2].x});
        double const reach = std::abs(h0) + std::abs(dh1) + std::abs(dh2) +
                             std::abs(slopeX) * static_cast<double>(xHigh - xLow) +
                             std::abs(slopeY) * static_cast<double>(yHigh - yLow);
        double const threshold = maxError_ - 16.0 * std::numeric_limits<double>::epsilon() * reach;
        bool coversHole = false;
        double worstError = -1.0;
        Cell worst{};
        auto const width = static_cast<std::int64_t>(input_.heights.width);
        for (std::int64_t y = yLow; y <= yHigh; ++y) {
            auto [from, to] = span(c, y);
            std::size_t const row = fileIndex({0, y});
            float const* heights = input_.heights.values.data() + row;
            std::uint8_t const* types = input_.cellTypes.data() + row;
            double const base = h0 + slopeY * static_cast<double>(y - c[0].y);
            from = std::max<std::int64_t>(from, 0), to = std::min(to, width - 1);
            for (std::int64_t x = from; x <= to; ++x) {
                if (isHole(types[x])) {
                    coversHole = true;
                    continue;
                }
                double const error =
                    std::abs(static_cast<double>(heights[x]) - (base + slopeX * static_cast<double>(x - c[0].x)));
                if (error > worstError && !isCorner(c, {x, y})) {
                    worstError = error;
                    worst = {x, y};
                }
            }
        }
        return {worstError, threshold, {0, worst, coversHole}};
    }

    static bool isCorner(std::array<Cell, 3> const& c, Cell q) {
        return std::any_of(c.begin(), c.end(), [q](Cell k) { return k.x == q.x && k.y == q.y; });
    }

    // The columns of row y inside the triangle or on its edges: for each edge,
    // twice the signed area it makes with a cell, linear in the column, must
    // not be negative.
    static std::pair<std::int64_t, std::int64_t> span(std::array<Cell, 3> const& c, std::int64_t y) {
        std::int64_t from = std::numeric_limits<std::int64_t>::min(), to = std::numeric_limits<std::int64_t>::max();
        for (std::size_t k = 0; k < 3; ++k) {
            Cell const a = c[k], b = c[(k + 1) % 3];
            std::int64_t const slope = a.y - b.y; // the signed area is slope * x + offset
            std::int64_t const offset = (b.x - a.x) * (y - a.y) + (b.y - a.y) * a.x;
            if (slope == 0) {
                if (offset < 0) {
                    return {1, 0};
                }
                continue;
            }
            if (slope > 0) {
                from = std::max(from, -floorDiv(offset, slope)); // the crossing rounded up
            } else {
                to = std::min(to, floorDiv(offset, -slope));
            }
        }
        return {from, to};
    }

    // The quotient rounded down, for a positive divisor.
    static std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
        std::int64_t const q = a / b;
        return a % b < 0 ? q - 1 : q;
    }

    HeightInput const& input_;
    GridPlacement placement_;
    double maxError_;
    Delaunay dt_;
    std::priority_queue<Candidate> queue_;
    std::uint64_t stamps_ = 0;
    std::vector<Vertex> inserted_; // refinement's vertices in the order of insertion
};

} // namespace

SurfaceCounts streamSimplifiedSurface(HeightInput const& input, double maxError, MeshSink& sink) {
    requireMeshableHeights(input);
    Refiner refiner(input, maxError);
    refiner.run();
    refiner.decimate(); // about a fifth fewer triangles than refinement alone
    return refiner.emit(sink);
}

} // namespace rastrum_host

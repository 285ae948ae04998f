#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory_resource>
#include <vector>

namespace rastrum_host {

// A cell of the grid: its column, and its row counted from the south.
struct GridPoint {
    std::int32_t x;
    std::int32_t y;
    bool operator==(GridPoint const&) const = default;
};

// The smallest and largest of three coordinates, as conditional moves: a
// face's corners come in no order a branch could predict.
struct Extent {
    std::int32_t low;
    std::int32_t high;
};
inline Extent extentOf(std::int32_t a, std::int32_t b, std::int32_t c) {
    return {std::min(a, std::min(b, c)), std::max(a, std::max(b, c))};
}

// Twice the signed area of abc, positive when counter-clockwise; exact.
inline std::int64_t orientation(GridPoint a, GridPoint b, GridPoint c) {
    return (static_cast<std::int64_t>(b.x) - a.x) * (static_cast<std::int64_t>(c.y) - a.y) -
           (static_cast<std::int64_t>(b.y) - a.y) * (static_cast<std::int64_t>(c.x) - a.x);
}
// Whether d lies strictly inside the circle through a, b, c (counter-clockwise); exact.
bool inCircle(GridPoint a, GridPoint b, GridPoint c, GridPoint d);

// A triangulation of grid cells on flat arrays of half-edges. Half-edge h
// belongs to triangle h / 3, starts at corner(h) and ends at corner(next(h));
// twin(h) is the same edge seen from the neighbouring triangle, None on the
// outline. Corners of a triangle are counter-clockwise.
class GridTriangulation {
public:
    static constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();

    // The convex polygon of the given corners (counter-clockwise, no three
    // collinear), triangulated and made Delaunay; its arrays come from memory,
    // with room for this many vertices in all and the triangles they make.
    explicit GridTriangulation(std::vector<GridPoint> const& hull, std::size_t vertices = 0,
                               std::pmr::memory_resource* memory = std::pmr::get_default_resource());

    // Inserts p, which lies in triangle t or on one of its edges and is none
    // of its corners, and restores the Delaunay property by flips. The
    // triangles that changed, all of them around p, are appended to changed.
    void insert(GridPoint p, std::uint32_t t, std::vector<std::uint32_t>& changed);
    // Turns the edge of half-edge h, which has a twin and is the diagonal of
    // a convex quadrilateral, into the other diagonal: triangle h / 3 becomes
    // (p, q, j) and triangle twin(h) / 3 becomes (q, p, i), for h running i
    // to j, p the corner across from h and q the one across from its twin.
    void flip(std::uint32_t h);

    // The half-edges leaving vertex v counter-clockwise, from one of them;
    // empty when v lies on the outline. Needs indexVertices() first.
    void star(std::uint32_t v, std::vector<std::uint32_t>& edges) const;
    // Records for each vertex a half-edge leaving it, kept by collapse().
    void indexVertices();
    // Moves the origin of star edge `onto` of a vertex's star (as given by
    // star()) onto its end: the two triangles of that edge go and the others
    // take the end for the vertex. The caller makes sure every resulting
    // triangle is counter-clockwise.
    void collapse(std::vector<std::uint32_t> const& star, std::size_t onto);

    std::size_t capacity() const { return corners_.capacity() / 3; } // in triangles
    std::uint32_t triangles() const { return static_cast<std::uint32_t>(corners_.size() / 3); }
    bool alive(std::uint32_t t) const { return corners_[3 * t] != None; }
    std::uint32_t corner(std::uint32_t h) const { return corners_[h]; }
    std::uint32_t twin(std::uint32_t h) const { return twins_[h]; }
    GridPoint point(std::uint32_t v) const { return points_[v]; }
    std::uint32_t vertices() const { return static_cast<std::uint32_t>(points_.size()); }
    static std::uint32_t next(std::uint32_t h) { return h % 3 == 2 ? h - 2 : h + 1; }
    static std::uint32_t prev(std::uint32_t h) { return h % 3 == 0 ? h + 2 : h - 1; }

private:
    // Writes triangle t as abc with the given twins of ab, bc and ca; a new one when t is None.
    std::uint32_t put(std::uint32_t t, std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t ab,
                      std::uint32_t bc, std::uint32_t ca);
    void link(std::uint32_t h, std::uint32_t other);
    // Flips half-edge h when the vertex beyond it lies inside its triangle's
    // circumcircle; returns whether it did, the two triangles then in t0, t1.
    bool flipIfIllegal(std::uint32_t h, std::uint32_t& t0, std::uint32_t& t1);
    void turn(std::uint32_t h, std::uint32_t g, std::uint32_t& t0, std::uint32_t& t1);
    void legalize(std::uint32_t h, std::vector<std::uint32_t>& changed);

    std::pmr::vector<GridPoint> points_;
    std::pmr::vector<std::uint32_t> corners_;
    std::pmr::vector<std::uint32_t> twins_;
    std::pmr::vector<std::uint32_t> edgeOf_; // after indexVertices(): a half-edge leaving each vertex
    std::vector<std::uint32_t> pending_; // legalize's edges still to check, kept between calls
    bool narrow_ = false;                // whether in-circle tests fit in 64-bit integers
};

} // namespace rastrum_host

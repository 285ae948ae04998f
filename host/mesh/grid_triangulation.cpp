#include "mesh/grid_triangulation.hpp"

#include <algorithm>

namespace rastrum_host {

namespace {

// The in-circle determinant in integers of type Wide, which must hold
// twelve times the fourth power of the largest coordinate difference.
template <class Wide>
bool inCircleIn(GridPoint a, GridPoint b, GridPoint c, GridPoint d) {
    Wide const ax = a.x - d.x, ay = a.y - d.y, bx = b.x - d.x, by = b.y - d.y, cx = c.x - d.x, cy = c.y - d.y;
    Wide const det = (ax * ax + ay * ay) * (bx * cy - by * cx) - (bx * bx + by * by) * (ax * cy - ay * cx) +
                     (cx * cx + cy * cy) * (ax * by - ay * bx);
    return det > 0;
}

// Coordinate differences up to which 64-bit integers hold the determinant.
constexpr std::int64_t NarrowReach = std::int64_t{1} << 14;

} // namespace

bool inCircle(GridPoint a, GridPoint b, GridPoint c, GridPoint d) {
    __extension__ using Wide = __int128;
    return inCircleIn<Wide>(a, b, c, d);
}

GridTriangulation::GridTriangulation(std::vector<GridPoint> const& hull, std::size_t vertices,
                                     std::pmr::memory_resource* memory)
    : points_(memory), corners_(memory), twins_(memory), edgeOf_(memory) {
    // Each insertion adds two triangles, splitting a face or an edge.
    points_.reserve(std::max(vertices, hull.size()));
    corners_.reserve(3 * 2 * vertices);
    twins_.reserve(3 * 2 * vertices);
    points_.assign(hull.begin(), hull.end());
    // Every point inserted later lies inside the hull, so its box bounds every coordinate difference.
    auto const [left, right] = std::ranges::minmax(hull, {}, &GridPoint::x);
    auto const [bottom, top] = std::ranges::minmax(hull, {}, &GridPoint::y);
    narrow_ = std::int64_t{right.x} - left.x <= NarrowReach && std::int64_t{top.y} - bottom.y <= NarrowReach;
    auto const n = static_cast<std::uint32_t>(hull.size());
    // A fan from the first corner, then flips until every edge is locally Delaunay.
    for (std::uint32_t k = 1; k + 1 < n; ++k) {
        std::uint32_t const previous = k == 1 ? None : 3 * (k - 2) + 2;
        put(None, 0, k, k + 1, previous, None, None);
    }
    for (bool flipped = true; flipped;) {
        flipped = false;
        for (std::uint32_t h = 0; h < corners_.size(); ++h) {
            std::uint32_t t0 = 0, t1 = 0;
            flipped = flipIfIllegal(h, t0, t1) || flipped;
        }
    }
}

[[gnu::always_inline]] inline std::uint32_t GridTriangulation::put(std::uint32_t t, std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                     std::uint32_t ab, std::uint32_t bc, std::uint32_t ca) {
    if (t == None) {
        t = triangles();
        corners_.resize(corners_.size() + 3);
        twins_.resize(twins_.size() + 3);
    }
    std::uint32_t const h = 3 * t;
    corners_[h] = a, corners_[h + 1] = b, corners_[h + 2] = c;
    link(h, ab), link(h + 1, bc), link(h + 2, ca);
    return t;
}

[[gnu::always_inline]] inline void GridTriangulation::link(std::uint32_t h, std::uint32_t other) {
    twins_[h] = other;
    if (other != None) {
        twins_[other] = h;
    }
}

[[gnu::always_inline]] inline void GridTriangulation::turn(std::uint32_t h, std::uint32_t g, std::uint32_t& t0,
                                                          std::uint32_t& t1) {
    std::uint32_t const i = corners_[h], j = corners_[next(h)], p = corners_[prev(h)], q = corners_[prev(g)];
    std::uint32_t const jp = twins_[next(h)], pi = twins_[prev(h)], qj = twins_[prev(g)], iq = twins_[next(g)];
    t0 = put(h / 3, p, q, j, None, qj, jp);
    t1 = put(g / 3, q, p, i, 3 * t0, pi, iq);
}

[[gnu::always_inline]] inline bool GridTriangulation::flipIfIllegal(std::uint32_t h, std::uint32_t& t0, std::uint32_t& t1) {
    std::uint32_t const g = twins_[h];
    if (g == None) {
        return false;
    }
    // h runs i to j in triangle (i, j, p); g runs j to i in triangle (j, i, q).
    std::uint32_t const i = corners_[h], j = corners_[next(h)], p = corners_[prev(h)], q = corners_[prev(g)];
    bool const inside = narrow_ ? inCircleIn<std::int64_t>(points_[p], points_[i], points_[j], points_[q])
                                : inCircle(points_[p], points_[i], points_[j], points_[q]);
    if (!inside) {
        return false;
    }
    turn(h, g, t0, t1);
    return true;
}

void GridTriangulation::flip(std::uint32_t h) {
    std::uint32_t t0 = 0, t1 = 0;
    turn(h, twins_[h], t0, t1);
}

void GridTriangulation::legalize(std::uint32_t h, std::vector<std::uint32_t>& changed) {
    pending_.assign(1, h);
    while (!pending_.empty()) {
        std::uint32_t const e = pending_.back();
        pending_.pop_back();
        std::uint32_t t0 = 0, t1 = 0;
        if (flipIfIllegal(e, t0, t1)) {
            // Both new triangles hold the inserted point; their far edges may now be illegal.
            changed.push_back(t0), changed.push_back(t1);
            pending_.push_back(3 * t0 + 1), pending_.push_back(3 * t1 + 2);
        }
    }
}

void GridTriangulation::insert(GridPoint p, std::uint32_t t, std::vector<std::uint32_t>& changed) {
    auto const v = static_cast<std::uint32_t>(points_.size());
    points_.push_back(p);
    std::uint32_t edge = None;
    for (std::uint32_t k = 0; k < 3; ++k) {
        if (orientation(points_[corners_[3 * t + k]], points_[corners_[3 * t + (k + 1) % 3]], p) == 0) {
            edge = 3 * t + k;
        }
    }
    std::size_t const first = changed.size();
    if (edge == None) {
        std::uint32_t const a = corners_[3 * t], b = corners_[3 * t + 1], c = corners_[3 * t + 2];
        std::uint32_t const ab = twins_[3 * t], bc = twins_[3 * t + 1], ca = twins_[3 * t + 2];
        std::uint32_t const t0 = put(t, a, b, v, ab, None, None);
        std::uint32_t const t1 = put(None, b, c, v, bc, None, 3 * t0 + 1);
        std::uint32_t const t2 = put(None, c, a, v, ca, 3 * t0 + 2, 3 * t1 + 1);
        changed.insert(changed.end(), {t0, t1, t2});
    } else {
        // On edge a to b of triangle (a, b, c), with triangle (b, a, d) beyond it if any.
        std::uint32_t const g = twins_[edge];
        std::uint32_t const a = corners_[edge], b = corners_[next(edge)], c = corners_[prev(edge)];
        std::uint32_t const bc = twins_[next(edge)], ca = twins_[prev(edge)];
        std::uint32_t const t0 = put(t, v, b, c, None, bc, None);
        std::uint32_t const t1 = put(None, a, v, c, None, 3 * t0 + 2, ca);
        changed.insert(changed.end(), {t0, t1});
        if (g != None) {
            std::uint32_t const d = corners_[prev(g)];
            std::uint32_t const ad = twins_[next(g)], db = twins_[prev(g)];
            std::uint32_t const t2 = put(g / 3, b, v, d, 3 * t0, None, db);
            std::uint32_t const t3 = put(None, v, a, d, 3 * t1, ad, 3 * t2 + 1);
            changed.insert(changed.end(), {t2, t3});
        }
    }
    std::size_t const made = changed.size();
    for (std::size_t k = first; k < made; ++k) {
        // The edge facing the new vertex.
        std::uint32_t const h = 3 * changed[k];
        std::uint32_t const facing = corners_[h] == v ? h + 1 : corners_[h + 1] == v ? h + 2 : h;
        legalize(facing, changed);
    }
}

void GridTriangulation::indexVertices() {
    edgeOf_.assign(points_.size(), None);
    for (std::uint32_t h = 0; h < corners_.size(); ++h) {
        if (corners_[h] != None) {
            edgeOf_[corners_[h]] = h;
        }
    }
}

void GridTriangulation::star(std::uint32_t v, std::vector<std::uint32_t>& edges) const {
    edges.clear();
    std::uint32_t const first = edgeOf_[v];
    std::uint32_t h = first;
    do {
        edges.push_back(h);
        h = twins_[prev(h)];
        if (h == None) {
            edges.clear();
            return;
        }
    } while (h != first);
}

void GridTriangulation::collapse(std::vector<std::uint32_t> const& star, std::size_t onto) {
    std::size_t const k = star.size();
    std::uint32_t const before = star[(onto + k - 1) % k], at = star[onto];
    std::uint32_t const u = corners_[next(at)];
    edgeOf_[corners_[at]] = None;
    // The edges beside the two vanishing triangles now meet across them.
    std::uint32_t const beforeOuter = twins_[next(before)], atOuter = twins_[next(at)];
    link(prev(star[(onto + k - 2) % k]), beforeOuter);
    link(star[(onto + 1) % k], atOuter);
    for (std::size_t i = 1; i + 1 < k; ++i) {
        std::uint32_t const h = star[(onto + i) % k];
        corners_[h] = u;
        for (std::uint32_t e = h - h % 3; e < h - h % 3 + 3; ++e) {
            edgeOf_[corners_[e]] = e;
        }
    }
    for (std::uint32_t const h : {before, at}) {
        std::uint32_t const t = h / 3;
        corners_[3 * t] = corners_[3 * t + 1] = corners_[3 * t + 2] = None;
    }
}

} // namespace rastrum_host

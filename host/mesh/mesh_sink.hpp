#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace rastrum_host {

// x east, y north, z up, in the raster's georeferenced units.
using MeshPoint = std::array<double, 3>;

// Receives a surface as it is made, so that no whole mesh need be held: the
// vertices in index order, each with its unit normal, and the triangles,
// counter-clockwise seen from above. A triangle may name a vertex that is
// only delivered later.
class MeshSink {
public:
    virtual ~MeshSink() = default;
    virtual void vertex(MeshPoint const& position, MeshPoint const& normal) = 0;
    virtual void triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) = 0;
};

// The cross product of two edges: twice the triangle's area times its unit
// normal, so that summing it over a vertex's triangles weights them by area.
inline MeshPoint areaNormal(MeshPoint const& a, MeshPoint const& b, MeshPoint const& c) {
    double const ux = b[0] - a[0], uy = b[1] - a[1], uz = b[2] - a[2];
    double const vx = c[0] - a[0], vy = c[1] - a[1], vz = c[2] - a[2];
    return {uy * vz - uz * vy, uz * vx - ux * vz, ux * vy - uy * vx};
}

inline void addTo(MeshPoint& sum, MeshPoint const& n) {
    sum = {sum[0] + n[0], sum[1] + n[1], sum[2] + n[2]};
}

// The unit vector along a summed normal; straight up for a vertex whose
// triangles have no area.
inline MeshPoint unitNormal(MeshPoint const& n) {
    double const length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    if (!(length > 0.0) || !std::isfinite(length)) {
        return {0.0, 0.0, 1.0};
    }
    return {n[0] / length, n[1] / length, n[2] / length};
}

} // namespace rastrum_host

#include "triangulate/triangulate_fragment.hpp"

#include "Rastrum.hpp"

namespace Rastrum {

void triangulateFragment(float const* height, unsigned char const* cellTypes, std::uint64_t nx, std::uint64_t ny,
                         std::uint64_t nz, FragmentPlacement const& placement, CellTypeTable const& hole,
                         Velum::ArrayStorage<Tensa::PhysicalSpace::point>& vertices,
                         Velum::ArrayStorage<Velum::Triangle>& triangles) {
    auto const points = nx * ny * nz;
    auto const base = vertices.size();
    vertices.resize(base + points);
    Velum::ArrayStorage<unsigned> vertexOf(points, HOLE);
    std::uint64_t count = 0;
    for (std::uint64_t k = 0, p = 0; k < nz; ++k) {
        for (std::uint64_t j = 0; j < ny; ++j) {
            for (std::uint64_t i = 0; i < nx; ++i, ++p) {
                if (hole[cellTypes[p]]) {
                    continue;
                }
                auto const index = base + count++;
                vertexOf[p] = static_cast<unsigned>(index);
                vertices[index] = {static_cast<double>(i) * placement.dx + placement.cornerX,
                                   static_cast<double>(j) * placement.dy + placement.cornerY,
                                   static_cast<double>(height[p])};
            }
        }
    }
    vertices.resize(base + count);

    auto const at = [&](std::uint64_t i, std::uint64_t j, std::uint64_t k) { return vertexOf[(k * ny + j) * nx + i]; };
    // Room for every square, written in place and cut back to what was made:
    // the storage leaves new elements unset.
    auto const first = triangles.size();
    auto const squares = nx > 0 && ny > 0 ? (nx - 1) * (ny - 1) * nz : 0;
    triangles.resize(first + 2 * squares);
    auto made = first;
    for (std::uint64_t k = 0; k < nz; ++k) {
        for (std::uint64_t j = 0; j + 1 < ny; ++j) {
            for (std::uint64_t i = 0; i + 1 < nx; ++i) {
                auto const a = at(i, j, k);
                auto const c = at(i, j + 1, k);
                auto const d = at(i + 1, j + 1, k);
                auto const e = at(i + 1, j, k);
                if (a != HOLE && c != HOLE && d != HOLE && e != HOLE) {
                    triangles[made++] = {{a, c, d}};
                    triangles[made++] = {{a, d, e}};
                }
            }
        }
    }
    triangles.resize(made);
}

} // namespace Rastrum

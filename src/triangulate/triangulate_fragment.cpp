#include "triangulate/triangulate_fragment.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <bit>

#include "frame/team_split.hpp"

namespace Rastrum {
namespace {

// Points handed to a thread at least.
constexpr std::uint64_t POINTS_PER_GRAIN = 16384;
// Lists from this size on are written past the caches (see listsPastCaches).
constexpr std::uint64_t STREAMED_LIST_BYTES = std::uint64_t{64} << 20;

template <class Body>
void shareRows(SurfaceFragment const& fragment, Body const& body) {
    if (fragment.nx == 0) {
        return;
    }
    frame::splitAcrossTeam(fragment.ny * fragment.nz, std::max<std::uint64_t>(1, POINTS_PER_GRAIN / fragment.nx),
                           [&](std::uint64_t begin, std::uint64_t end) {
                               for (std::uint64_t row = begin; row < end; ++row) {
                                   body(row, row % fragment.ny + 1 < fragment.ny);
                               }
                               // Stores written past the caches are seen by the team once it has finished.
                               _mm_sfence();
                           });
}

} // namespace

VertexFlags vertexFlags(CellTypeTable const& hole) {
    VertexFlags flags{};
    for (unsigned code = 0; code < flags.size(); ++code) {
        flags[code] = hole[code] ? 0 : 1;
    }
    return flags;
}

void countRows(SurfaceFragment const& fragment, VertexFlags const& flags, std::span<RowShare> rows) {
    auto const nx = fragment.nx;
    if (nx == 0) {
        std::ranges::fill(rows, RowShare{}); // the rows come unwritten from the kept blocks
        return;
    }
    shareRows(fragment, [&](std::uint64_t row, bool hasNext) {
        unsigned char const* here = fragment.cellTypes + row * nx;
        std::uint64_t vertices = 0;
        for (std::uint64_t i = 0; i < nx; ++i) {
            vertices += flags[here[i]];
        }
        std::uint64_t squares = 0;
        if (hasNext) {
            unsigned char const* next = here + nx;
            for (std::uint64_t i = 0; i + 1 < nx; ++i) {
                squares += static_cast<unsigned>(flags[here[i]] & flags[here[i + 1]] & flags[next[i]] & flags[next[i + 1]]);
            }
        }
        rows[row] = {vertices, 2 * squares};
    });
}

RowShare startsFrom(RowShare from, std::span<RowShare> rows) {
    for (auto& row : rows) {
        auto const share = row;
        row = from;
        from.vertices += share.vertices;
        from.triangles += share.triangles;
    }
    return from;
}

namespace {

// Ordinary stores, or stores past the caches (three words each, from the
// registers): a list in memory then costs no read of its old contents.
template <bool STREAMED>
void storeVertex(Tensa::PhysicalSpace::point* to, double x, double y, double z) {
    if constexpr (STREAMED) {
        auto* const words = reinterpret_cast<long long*>(to);
        _mm_stream_si64(words, std::bit_cast<long long>(x));
        _mm_stream_si64(words + 1, std::bit_cast<long long>(y));
        _mm_stream_si64(words + 2, std::bit_cast<long long>(z));
    } else {
        *to = {x, y, z};
    }
}

// The two triangles of the square of vertices a, a + 1 (row j) and c, c + 1 (row j + 1).
template <bool STREAMED>
void storeSquare(Velum::Triangle* to, unsigned a, unsigned c) {
    if constexpr (STREAMED) {
        auto const pair = [](unsigned low, unsigned high) {
            return static_cast<long long>(low | static_cast<std::uint64_t>(high) << 32);
        };
        auto* const words = reinterpret_cast<long long*>(to);
        _mm_stream_si64(words, pair(a, c));
        _mm_stream_si64(words + 1, pair(c + 1, a));
        _mm_stream_si64(words + 2, pair(c + 1, a + 1));
    } else {
        to[0] = {{a, c, c + 1}};
        to[1] = {{a, c + 1, a + 1}};
    }
}

template <bool STREAMED>
void fillRowsWith(SurfaceFragment const& fragment, VertexFlags const& flags, std::span<RowShare const> starts,
                  Tensa::PhysicalSpace::point* vertices, Velum::Triangle* triangles) {
    auto const nx = fragment.nx;
    auto const& at = fragment.placement;
    shareRows(fragment, [&](std::uint64_t row, bool hasNext) {
        unsigned char const* here = fragment.cellTypes + row * nx;
        float const* height = fragment.height + row * nx;
        auto const y = static_cast<double>(row % fragment.ny) * at.dy + at.cornerY;
        auto v = starts[row].vertices;
        for (std::uint64_t i = 0; i < nx; ++i) {
            if (flags[here[i]]) {
                storeVertex<STREAMED>(vertices + v++, static_cast<double>(i) * at.dx + at.cornerX, y,
                                      static_cast<double>(height[i]));
            }
        }
        if (!hasNext) {
            return;
        }
        unsigned char const* next = here + nx;
        // a is the vertex of (i, j), c that of (i, j + 1), while both exist.
        auto a = static_cast<unsigned>(starts[row].vertices);
        auto c = static_cast<unsigned>(starts[row + 1].vertices);
        auto t = starts[row].triangles;
        for (std::uint64_t i = 0; i + 1 < nx; ++i) {
            if (flags[here[i]] & flags[here[i + 1]] & flags[next[i]] & flags[next[i + 1]]) {
                storeSquare<STREAMED>(triangles + t, a, c);
                t += 2;
            }
            a += flags[here[i]];
            c += flags[next[i]];
        }
    });
}

} // namespace

bool listsPastCaches(RowShare end) {
    return end.vertices * sizeof(Tensa::PhysicalSpace::point) + end.triangles * sizeof(Velum::Triangle) >=
           STREAMED_LIST_BYTES;
}

void fillRows(SurfaceFragment const& fragment, VertexFlags const& flags, std::span<RowShare const> starts,
              Tensa::PhysicalSpace::point* vertices, Velum::Triangle* triangles, bool pastCaches) {
    if (pastCaches) {
        fillRowsWith<true>(fragment, flags, starts, vertices, triangles);
    } else {
        fillRowsWith<false>(fragment, flags, starts, vertices, triangles);
    }
}

void triangulateFragment(float const* height, unsigned char const* cellTypes, std::uint64_t nx, std::uint64_t ny,
                         std::uint64_t nz, FragmentPlacement const& placement, CellTypeTable const& hole,
                         Velum::ArrayStorage<Tensa::PhysicalSpace::point>& vertices,
                         Velum::ArrayStorage<Velum::Triangle>& triangles) {
    SurfaceFragment const fragment{height, cellTypes, nx, ny, nz, placement};
    auto const flags = vertexFlags(hole);
    Velum::ArrayStorage<RowShare> rows(ny * nz);
    countRows(fragment, flags, rows);
    auto const end = startsFrom({vertices.size(), triangles.size()}, rows);
    vertices.resize(end.vertices);
    triangles.resize(end.triangles);
    fillRows(fragment, flags, rows, vertices.data(), triangles.data(), listsPastCaches(end));
}

} // namespace Rastrum

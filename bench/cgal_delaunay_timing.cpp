// What the well-kept library's Delaunay triangulation alone costs on the
// vertices of our simplified surfaces, for scripts/bench-mesh.sh: CGAL's
// Delaunay_triangulation_2 (exact predicates) built from each surface's
// vertex set at once (spatially sorted), without any refinement, scan or
// thinning around it. Prints "E vertices best-ms" for each E, best of 7.
// Usage: rastrum-cgal-timing tile.png E1 E2 ...   (terrain-RGB)
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "mesh/simplified_surface.hpp"
#include "tile_timing.hpp"

namespace {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;

class VertexSink : public rastrum_host::MeshSink {
public:
    void vertex(rastrum_host::MeshPoint const& p, rastrum_host::MeshPoint const&) override { points.emplace_back(p[0], p[1]); }
    void triangle(std::uint32_t, std::uint32_t, std::uint32_t) override {}
    std::vector<Kernel::Point_2> points;
};

} // namespace

int main(int argc, char** argv) {
    return bench_tile::forEachError(argc, argv, [](rastrum_host::HeightInput const& tile, double maxError, char const* text) {
        VertexSink sink;
        rastrum_host::streamSimplifiedSurface(tile, maxError, sink);
        bool distinct = true; // the surface's vertices are distinct cells
        double const best = bench_tile::bestOfSeven([&] {
            CGAL::Delaunay_triangulation_2<Kernel> const triangulation(sink.points.begin(), sink.points.end());
            distinct = distinct && triangulation.number_of_vertices() == sink.points.size();
        });
        std::printf("%s %zu %.1f\n", text, sink.points.size(), best);
        return distinct ? 0 : 1;
    });
}

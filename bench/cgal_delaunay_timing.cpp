// What the well-kept library's Delaunay triangulation alone costs on the
// vertices of our simplified surfaces, for scripts/bench-mesh.sh: CGAL's
// Delaunay_triangulation_2 (exact predicates) built from each surface's
// vertex set at once (spatially sorted), without any refinement, scan or
// thinning around it. Prints "E vertices best-ms" for each E, best of 7.
// Usage: rastrum-cgal-timing tile.png E1 E2 ...   (terrain-RGB)
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "io/raster_reader.hpp"
#include "mesh/simplified_surface.hpp"

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
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s tile.png E1 [E2 ...]\n", argv[0]);
        return 2;
    }
    rastrum_host::ReadOptions options;
    options.terrainRgb = true;
    auto const input = rastrum_host::readHeights(argv[1], options);
    for (int k = 2; k < argc; ++k) {
        VertexSink sink;
        rastrum_host::streamSimplifiedSurface(input, std::stod(argv[k]), sink);
        double best = 1e300;
        for (int run = 0; run < 7; ++run) {
            auto const start = std::chrono::steady_clock::now();
            CGAL::Delaunay_triangulation_2<Kernel> const triangulation(sink.points.begin(), sink.points.end());
            std::chrono::duration<double, std::milli> const took = std::chrono::steady_clock::now() - start;
            best = std::min(best, took.count());
            if (triangulation.number_of_vertices() != sink.points.size()) {
                return 1; // the surface's vertices are distinct cells
            }
        }
        std::printf("%s %zu %.1f\n", argv[k], sink.points.size(), best);
    }
}

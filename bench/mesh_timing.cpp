// In-process time of a simplified surface, for scripts/bench-mesh.sh: the
// refinement and the extraction of its vertices, normals and triangles, as
// the mesh command does them, without starting a process, reading the file
// or writing one. Prints "E triangles best-ms" for each E, best of 7 runs.
// Usage: rastrum-mesh-timing tile.png E1 E2 ...   (terrain-RGB)
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

#include "io/raster_reader.hpp"
#include "mesh/simplified_surface.hpp"

namespace {

class CountingSink : public rastrum_host::MeshSink {
public:
    void vertex(rastrum_host::MeshPoint const&, rastrum_host::MeshPoint const&) override {}
    void triangle(std::uint32_t, std::uint32_t, std::uint32_t) override { ++triangles; }
    std::size_t triangles = 0;
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
        double const maxError = std::stod(argv[k]);
        double best = 1e300;
        std::size_t triangles = 0;
        for (int run = 0; run < 7; ++run) {
            CountingSink sink;
            auto const start = std::chrono::steady_clock::now();
            rastrum_host::streamSimplifiedSurface(input, maxError, sink);
            std::chrono::duration<double, std::milli> const took = std::chrono::steady_clock::now() - start;
            best = std::min(best, took.count());
            triangles = sink.triangles;
        }
        std::printf("%s %zu %.1f\n", argv[k], triangles, best);
    }
}

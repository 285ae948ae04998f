// In-process time of a simplified surface, for scripts/bench-mesh.sh: the
// refinement and the extraction of its vertices, normals and triangles, as
// the mesh command does them, without starting a process, reading the file
// or writing one. Prints "E triangles best-ms" for each E, best of 7 runs.
// Usage: rastrum-mesh-timing tile.png E1 E2 ...   (terrain-RGB)
#include <cstdint>
#include <cstdio>
#include <string>

#include "mesh/simplified_surface.hpp"
#include "tile_timing.hpp"

namespace {

class CountingSink : public rastrum_host::MeshSink {
public:
    void vertex(rastrum_host::MeshPoint const&, rastrum_host::MeshPoint const&) override {}
    void triangle(std::uint32_t, std::uint32_t, std::uint32_t) override { ++triangles; }
    std::size_t triangles = 0;
};

} // namespace

int main(int argc, char** argv) {
    return bench_tile::forEachError(argc, argv, [](rastrum_host::HeightInput const& tile, double maxError, char const* text) {
        std::size_t triangles = 0;
        double const best = bench_tile::bestOfSeven([&] {
            CountingSink sink;
            rastrum_host::streamSimplifiedSurface(tile, maxError, sink);
            triangles = sink.triangles;
        });
        std::printf("%s %zu %.1f\n", text, triangles, best);
        return 0;
    });
}

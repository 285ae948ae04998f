#include "mesh/surface.hpp"

namespace rastrum_host {
namespace {

class Collector : public MeshSink {
public:
    void vertex(MeshPoint const& position, MeshPoint const& normal) override {
        mesh.vertices.push_back(position);
        mesh.normals.push_back(normal);
    }
    void triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) override { mesh.triangles.push_back({a, b, c}); }
    SurfaceMesh mesh;
};

} // namespace

SurfaceMesh computeSurface(HeightInput const& input, Tiling const& tiling, RunContext const& context) {
    Collector collector;
    streamWeldedSurface(input, tiling, context, collector);
    return std::move(collector.mesh);
}

SurfaceMesh computeSimplifiedSurface(HeightInput const& input, double maxError) {
    Collector collector;
    streamSimplifiedSurface(input, maxError, collector);
    return std::move(collector.mesh);
}

} // namespace rastrum_host

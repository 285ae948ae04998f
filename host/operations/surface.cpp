#include "Velum/TriangularSurface.hpp"
#include "core/errors.hpp"
#include "tiling/fragment_needs.hpp"
#include "tiling/operation_support.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {

SurfaceMesh computeSurface(HeightInput const& input, Tiling const& tiling, RunContext const& context) {
    checkFragments(tiling, {"mesh", 2, SurfaceOverlap, "a shared row and column, so that no gap opens between fragments"});
    auto const tiled = tileHeights(input, tiling, SurfaceOverlap);
    auto source = bundleOf(tiled);
    auto target = Velum::BundlePtr::create();
    std::string height = HeightField;
    std::string surfaceName = "surface";
    auto const message = Rastrum::raster3DtoTri(source, target, height, surfaceName, context.progress, "", 0.0);
    if (message == "size of triangulation is zero") {
        throw InputError(input.source + ": no square of four data cells to make a surface of");
    }
    expectSuccess(message, "raster3DtoTri");

    Velum::TriangularSurface surface;
    surface.assign(target->slices().at(0.0)->grids().at(surfaceName));
    SurfaceMesh mesh;
    for (auto const& p : surface.vertices()->values()) {
        mesh.vertices.push_back({p[0], p[1], p[2]});
    }
    for (auto const& t : surface.triangles()->values()) {
        mesh.triangles.push_back({t[0], t[1], t[2]});
    }
    return mesh;
}

} // namespace rastrum_host

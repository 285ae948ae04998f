#include <cstdint>

#include "tiling/operation_support.hpp"
#include "operations/operations.hpp"

namespace rastrum_host {

StencilNeeds isoNeeds() { return {"iso", 3, IsoOverlap, "the 3 x 3 x 3 blobs reach one point past each border"}; }

Raster<float> runIso(MarkerVolume const& volume, Tiling const& tiling, RunContext const& context) {
    checkFragments(tiling, isoNeeds());
    auto const& markers = volume.markers;
    TiledGrid const tiled({markers.width, markers.height, markers.bands},
                          placementOf(volume.georef, markers.height, volume.source), tiling.fragmentSize,
                          overlapFor(tiling, IsoOverlap), tiling.band);
    tiled.addField<std::uint16_t>("Markers", markers.values);
    auto bundle = bundleOf(tiled);
    std::string name = "Markers";
    expectSuccess(Rastrum::gausSmoothingUniform3D(bundle, name, context.progress), "gausSmoothingUniform3D");
    return {.width = markers.width,
            .height = markers.height,
            .bands = markers.bands,
            .values = tiled.stitch(*resultField(*tiled.grid(), "Markers_Iso"), NoValue, context.spares.get())};
}

} // namespace rastrum_host

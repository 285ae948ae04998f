#pragma once

#include "core/raster.hpp"
#include "mesh/mesh_sink.hpp"
#include "mesh/welded_surface.hpp"

namespace rastrum_host {

// An adaptive surface whose vertical distance to every data cell is at most
// maxError (height units): greedy Delaunay refinement, which starts from the
// convex hull of the data cells and a coarse lattice of them and inserts the
// cell farthest from its triangle (among triangles whose error lies in the
// largest one's octave) until every cell is close enough, then moves each
// inserted or lattice vertex onto a neighbour nearest it in height where the
// bound allows. A triangle that covers a hole cell is refined while it
// covers data cells that are not yet vertices and is left out at last, so no
// triangle spans a hole; without holes the outline is the raster's. When a
// column near the middle is all data, its profile is simplified first and
// the parts either side, split to take about equal work, are refined at once
// on two threads, sharing its corners; the result does not depend on their
// timing. Works on the raster itself, never on the full-resolution mesh.
// InputError when the data cells span no area or make no triangle clear of
// holes; cells in no triangle, such as a lone data cell, are left out.
SurfaceCounts streamSimplifiedSurface(HeightInput const& input, double maxError, MeshSink& sink);

} // namespace rastrum_host

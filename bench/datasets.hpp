#pragma once

#include <cstdint>
#include <vector>

#include "Tensa/MultiRange.hpp"
#include "Velum/Bundle.hpp"
#include "Velum/UniformGridBuilder.hpp"
#include "terrain.hpp"

// Generated data shared by the benchmarks, made on first use. Benchmarks run
// size by size, so only the data of the size last asked for are kept.
namespace bench {

// Two surveys of the terrain at an edge length: the earlier and the later.
struct SurveyPair {
    Survey earlier;
    Survey later;
};
SurveyPair const& surveys(std::uint64_t n);

// The surveys as grids cut into fragments of `fragment` x `fragment` points
// (0: one fragment). Both grids carry "Height" and "CellType"; the later one
// also an all-zero "Mask" to overwrite. `bundle` holds the later grid as
// "dem" in the slice at time 0.
struct SurveyGrids {
    Velum::UniformGridBuilder earlier;
    Velum::UniformGridBuilder later;
    Velum::BundlePtr bundle;
};
SurveyGrids const& surveyGrids(std::uint64_t n, std::uint64_t fragment);

// A marker cube of edge n, raw and as a grid "Markers" of fragments of
// `fragment` points per axis (0: one fragment) in a bundle at time 0.
std::vector<unsigned short> const& markers(std::uint64_t n);
Velum::BundlePtr const& markerBundle(std::uint64_t n, std::uint64_t fragment);

// The height bands (metres) whose cells the overwrite benchmarks mark.
Tensa::MultiRange<double> heightBands();

} // namespace bench

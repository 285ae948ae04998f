#pragma once

#include <gdal.h>

#include <filesystem>

namespace rastrum_host {

enum class PreviewStyle {
    Relief,    // grey hillshade lit from several directions; the legend gives the heights' range
    Ramp,      // viridis stretched from the 2nd to the 98th percentile of the values
    Diverging, // blue below 0, white at 0, red above, ends at +- the 98th percentile of the
               // magnitudes, for height differences
};

// The colour of cells without a value in every style: no value takes it.
inline constexpr unsigned char HoleColour[3]{255, 0, 255};
// The longest side of a preview's map; larger rasters are averaged down.
inline constexpr int MaxPreviewSide = 2048;

// Renders band `band` (from 1) of `source` as an RGB PNG picture written to
// `png`: the map, at most MaxPreviewSide pixels on its long side, above a
// legend bar with the value at each end (values beyond them take the end
// colours). Heights in a geographic reference system are taken as metres
// over degrees for the hillshade.
// Throws InputError saying why when the band does not exist, holds no data to
// colour, or the picture cannot be written (the caller names the picture).
void renderPreview(GDALDatasetH source, int band, PreviewStyle style, std::filesystem::path const& png);

} // namespace rastrum_host

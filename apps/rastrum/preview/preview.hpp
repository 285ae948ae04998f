#pragma once

#include <gdal.h>

#include <filesystem>

namespace rastrum_host {

enum class PreviewStyle {
    Relief,    // grey hillshade lit from several directions; one band, 0 marks nodata
    Ramp,      // viridis from the band's minimum to its maximum; RGBA, nodata transparent
    Diverging, // blue below 0, white at 0, red above, ends at +- the largest magnitude,
               // for height differences; RGBA, nodata transparent
};

// Renders band `band` (from 1) of `source` as a PNG picture of the same size,
// written to `png`. Heights in a geographic reference system are taken as
// metres over degrees for the hillshade.
// Throws InputError naming the picture when the band does not exist, holds no
// data to colour, or the picture cannot be written.
void renderPreview(GDALDatasetH source, int band, PreviewStyle style, std::filesystem::path const& png);

} // namespace rastrum_host

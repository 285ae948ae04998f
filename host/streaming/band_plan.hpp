#pragma once

#include <cstdint>
#include <vector>

#include "tiling/tiled_grid.hpp"

namespace rastrum_host {

// One band of a streamed run: whole fragment rows of the raster's tiling, in
// file rows. The band is read and computed as a raster of its own and only
// the rows its fragments own are written.
struct Band {
    BandWindow window;            // for Tiling::band
    std::uint32_t firstRow = 0;   // the rows read
    std::uint32_t rows = 0;
    std::uint32_t ownedFirstRow = 0; // the rows written
    std::uint32_t ownedRows = 0;
    std::uint64_t fragments = 0;  // fragments of the band, for progress
};

// Bands of at most `fragmentRowsPerBand` fragment rows (at least one) over a
// raster of width x height cells, in file order (first rows first).
// `northUp` says whether the grid's y axis runs against the file's rows.
std::vector<Band> planBands(std::uint32_t width, std::uint32_t height, bool northUp, std::uint64_t fragmentSize,
                            std::uint64_t overlap, std::uint64_t fragmentRowsPerBand);

} // namespace rastrum_host

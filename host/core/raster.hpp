#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace rastrum_host {

// Where a raster lies: GDAL's affine geotransform and the CRS as WKT. A raster
// without a geotransform is written back without one.
struct Georeference {
    std::array<double, 6> transform{0.0, 1.0, 0.0, 0.0, 0.0, -1.0};
    bool hasTransform = false;
    std::string crsWkt;
};

// Cell values in the order of the file: x fastest, row 0 first (the northern
// row of a north-up raster), one band after the other.
template <class T>
struct Raster {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t bands = 1;
    std::vector<T> values;

    std::size_t index(std::uint32_t column, std::uint32_t row, std::uint32_t band = 0) const {
        return column + std::size_t{width} * (row + std::size_t{height} * band);
    }
};

// Cell-type codes the host gives the cells it reads; the library treats 1 to 3
// as holes and 0 and 4 as data. Codes above 4 have no meaning the operations
// agree on, so the host neither reads nor writes them.
inline constexpr std::uint8_t DataCell = 0;
inline constexpr std::uint8_t NodataCell = 1;
inline constexpr std::uint8_t LastCellType = 4;
inline bool isHole(std::uint8_t code) { return code >= 1 && code <= 3; }

// A height raster as the operations take it: heights (NaN at nodata cells of
// floating-point rasters) and one cell-type code per cell.
template <class T>
struct HeightInputOf {
    std::string source; // the file, for messages
    Raster<T> heights;
    std::vector<std::uint8_t> cellTypes;
    Georeference georef;
};
using HeightInput = HeightInputOf<float>;

// The same, over values held elsewhere (a caller's array), so that they are
// handed to the library without a copy of their own. Valid while they live.
template <class T>
struct HeightView {
    std::string_view source;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::span<T const> heights;
    std::span<std::uint8_t const> cellTypes;
    Georeference georef;
};

template <class T>
HeightView<T> viewOf(HeightInputOf<T> const& input) {
    return {.source = input.source, .width = input.heights.width, .height = input.heights.height,
            .heights = input.heights.values, .cellTypes = input.cellTypes, .georef = input.georef};
}

// A 3D marker grid: one band per layer, the first band the lowest layer;
// non-zero cells are markers.
struct MarkerVolume {
    std::string source;
    Raster<std::uint16_t> markers;
    Georeference georef;
};

} // namespace rastrum_host

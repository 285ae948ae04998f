#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/raster.hpp"
#include "io/gdal_dataset.hpp"

namespace rastrum_host {

// How a band's stored values give heights: value x scale + offset, as GDAL
// declares them (say Int16 decimetres with a scale of 0.1).
struct HeightScaling {
    double scale = 1.0;
    double offset = 0.0;
};
// None where the stored values are the heights themselves.
std::optional<HeightScaling> scalingOf(GDALRasterBandH band);

struct ReadOptions {
    int band = 1;                  // 1-based, as GDAL counts (-b)
    std::string cellTypesPath;     // unsigned 8-bit codes instead of the nodata mask (--cell-types)
    bool terrainRgb = false;       // bands 1 to 3 encode the height (--terrain-rgb)
};

// The heights of one band (or of a terrain-RGB encoding), read a window of
// whole rows at a time. Cells GDAL masks as nodata, and NaN heights, get cell
// type 1 and a NaN height; all others cell type 0, unless --cell-types
// supplies the codes. The constructor checks band, codes and their size.
class HeightReader {
public:
    HeightReader(std::string path, ReadOptions options);

    std::string const& path() const { return path_; }
    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    Georeference const& georef() const { return georef_; }
    GDALDatasetH dataset() const { return dataset_.get(); }
    int band() const { return band_; } // 1-based
    // The band's own type (Float32 for terrain-RGB heights).
    GDALDataType type() const;

    // Rows [firstRow, firstRow + rows), georeferenced as a raster of their
    // own, as float (narrowed; see the reader) or double heights. The
    // buffers of `spare`, an earlier band's, are filled again where they fit.
    template <class T = float>
    HeightInputOf<T> read(std::uint32_t firstRow, std::uint32_t rows, HeightInputOf<T> spare = {}) const;

private:
    std::string path_;
    ReadOptions options_;
    Dataset dataset_;
    Dataset codes_;
    int band_ = 1;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    Georeference georef_;
    std::optional<HeightScaling> scaling_;
};

// Every band of an integer raster as one layer of a marker volume, read a
// window of whole rows at a time.
class MarkerReader {
public:
    explicit MarkerReader(std::string path);

    std::string const& path() const { return path_; }
    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    std::uint32_t layers() const { return layers_; }
    Georeference const& georef() const { return georef_; }
    GDALDatasetH dataset() const { return dataset_.get(); }

    MarkerVolume read(std::uint32_t firstRow, std::uint32_t rows) const;

private:
    std::string path_;
    Dataset dataset_;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::uint32_t layers_ = 0;
    Georeference georef_;
};

// The georeferencing of rows from firstRow on of a raster with `georef`.
Georeference rowsGeoreference(Georeference georef, std::uint32_t firstRow);

// The whole raster at once.
HeightInput readHeights(std::string const& path, ReadOptions const& options);
MarkerVolume readMarkerVolume(std::string const& path);

} // namespace rastrum_host

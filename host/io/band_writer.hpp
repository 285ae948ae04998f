#pragma once

#include <gdal.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "core/raster.hpp"
#include "io/atomic_output.hpp"
#include "io/gdal_dataset.hpp"
#include "io/output_format.hpp"

namespace rastrum_host {

// The shape, type and georeferencing of a result raster.
struct ResultLayout {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t bands = 1;
    GDALDataType type = GDT_Float32;
    Georeference georef;
    std::optional<double> holeNodata; // NaN for float results with holes; none for masks and codes
    GDALDatasetH metadataFrom = nullptr; // AREA_OR_POINT and band metadata are carried over from it
    int firstMetadataBand = 1;           // the band of metadataFrom that the result's first band follows
    bool keepsUnits = false; // the result is in the input's units (smoothed heights, sums, differences)
};

// A result written a band of rows at a time, all or nothing (see
// AtomicOutput): created when constructed, so that a format that cannot
// hold the result is refused before any work; in place after commit().
// Drivers without direct writing get a copy of a staged GeoTIFF.
class BandWriter {
public:
    BandWriter(std::filesystem::path path, OutputOptions const& options, ResultLayout const& layout);

    // Rows [bandRow, bandRow + rows) of `band` (a raster of the result's
    // width) as the next file rows, first to last; NaN holes become the
    // nodata value. Rows short of a whole row of the file's blocks wait for
    // the next call, so that no block is written twice.
    template <class T>
    void write(Raster<T> const& band, std::uint32_t bandRow, std::uint32_t rows);

    GDALDataType type() const { return type_; }

    // The rows written so far, for a preview.
    GDALDatasetH dataset() const { return dataset_.get(); }

    void commit();

private:
    // Rows [firstRow, firstRow + rows) of band `band` (0-based) from `values`.
    void writeRows(std::uint32_t band, std::uint32_t firstRow, std::uint32_t rows, void const* values,
                   GDALDataType type);

    std::filesystem::path path_;
    AtomicOutput output_;
    OutputPlan plan_;
    std::filesystem::path written_; // the staged GeoTIFF, or the output's staging name
    Dataset dataset_;
    GDALDataType type_ = GDT_Float32;
    std::uint32_t blockRows_ = 1;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::uint32_t rowsWritten_ = 0;               // file rows written
    std::vector<std::vector<std::byte>> pending_; // per band: rows waiting for a whole block row
    std::uint32_t pendingRows_ = 0;
};

} // namespace rastrum_host

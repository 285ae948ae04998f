#pragma once

#include <gdal.h>

#include <cstdint>
#include <memory>
#include <type_traits>
#include <string>

#include "core/raster.hpp"

namespace rastrum_host {

struct DatasetCloser {
    void operator()(void* dataset) const { GDALClose(dataset); }
};
// An open GDAL dataset, closed (and, when written, flushed) on destruction.
using Dataset = std::unique_ptr<void, DatasetCloser>;

// Registers GDAL's drivers once and keeps GDAL's own messages off the
// terminal: the host reports problems itself, quoting GDAL's last message.
void useGdal();

// The last message GDAL raised, or a generic text when it raised none.
std::string gdalMessage();
// GDAL's text, and the system's reason when the last system call failed for
// want of room or rights (GDAL's text often only says that a write failed).
// Writers call forgetWriteFailure() (which also resets GDAL's last error)
// before the GDAL calls whose failure this explains.
std::string writeFailure();
void forgetWriteFailure();

// Opens a raster for reading; InputError naming the file when it is missing,
// unreadable or not a raster GDAL knows.
Dataset openRaster(std::string const& path);

Georeference georeferenceOf(GDALDatasetH dataset);

// GDAL's name for the element types the host reads and writes.
template <class T>
constexpr GDALDataType gdalType() {
    if constexpr (std::is_same_v<T, float>) {
        return GDT_Float32;
    } else if constexpr (std::is_same_v<T, double>) {
        return GDT_Float64;
    } else if constexpr (std::is_same_v<T, std::uint16_t>) {
        return GDT_UInt16;
    } else {
        static_assert(std::is_same_v<T, std::uint8_t>);
        return GDT_Byte;
    }
}

} // namespace rastrum_host

// Arbitrary bytes as a raster file, read as heights and as a marker volume.
// The first byte picks the reading options; the rest is the file. A reader
// must either read the file or refuse it with InputError: anything else
// (a crash, a sanitizer report, another exception) is a finding. The bytes
// go to a real file, not /vsimem/, because the readers open local files only.
#include <gdal.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

#include "core/errors.hpp"
#include "io/gdal_dataset.hpp"
#include "io/raster_reader.hpp"

namespace {

// Larger rasters only measure the memory limit, which the readers do not check.
std::uint64_t constexpr MaxCells = 1u << 20;

std::string const& inputPath() {
    static std::string const path = [] {
        char folder[] = "/tmp/rastrum-fuzz-readers-XXXXXX";
        if (!::mkdtemp(folder)) {
            std::abort();
        }
        return std::string(folder) + "/input";
    }();
    return path;
}

bool smallEnough(std::string const& path) {
    rastrum_host::Dataset const dataset(GDALOpenEx(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, nullptr, nullptr,
                                                   nullptr));
    if (!dataset) {
        return true; // the reader refuses it itself
    }
    auto const cells = std::uint64_t(GDALGetRasterXSize(dataset.get())) * std::uint64_t(GDALGetRasterYSize(dataset.get())) *
                       std::uint64_t(std::max(GDALGetRasterCount(dataset.get()), 1));
    return cells <= MaxCells;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 1) {
        return 0;
    }
    rastrum_host::useGdal();
    auto const& path = inputPath();
    if (std::FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data + 1, 1, size - 1, file);
        std::fclose(file);
    } else {
        std::abort();
    }
    if (!smallEnough(path)) {
        return 0;
    }
    rastrum_host::ReadOptions options;
    options.terrainRgb = (data[0] & 1) != 0;
    options.band = 1 + ((data[0] >> 1) & 3);
    if (data[0] & 8) {
        options.cellTypesPath = path;
    }
    try {
        rastrum_host::readHeights(path, options);
    } catch (rastrum_host::InputError const&) {
    }
    try {
        rastrum_host::readMarkerVolume(path);
    } catch (rastrum_host::InputError const&) {
    }
    return 0;
}

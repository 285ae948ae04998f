#include "io/raster_writer.hpp"

#include <cpl_string.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <cstdint>
#include <sstream>

#include "io/atomic_output.hpp"
#include "core/errors.hpp"
#include "io/gdal_dataset.hpp"

namespace rastrum_host {
namespace {

bool writesRasters(GDALDriverH driver) {
    auto const has = [&](char const* capability) {
        return CPLFetchBool(GDALGetMetadata(driver, nullptr), capability, false);
    };
    return has(GDAL_DCAP_RASTER) && (has(GDAL_DCAP_CREATE) || has(GDAL_DCAP_CREATECOPY));
}

std::string lowered(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool listsExtension(GDALDriverH driver, std::string const& extension) {
    char const* listed = GDALGetMetadataItem(driver, GDAL_DMD_EXTENSIONS, nullptr);
    std::istringstream words(listed ? listed : "");
    std::string word;
    while (words >> word) {
        if (lowered(word) == extension) {
            return true;
        }
    }
    return false;
}

template <class T>
constexpr GDALDataType gdalType() {
    if constexpr (std::is_same_v<T, float>) {
        return GDT_Float32;
    } else if constexpr (std::is_same_v<T, std::uint16_t>) {
        return GDT_UInt16;
    } else {
        static_assert(std::is_same_v<T, std::uint8_t>);
        return GDT_Byte;
    }
}

// GDAL's text, and the system's reason when the last system call failed for
// want of room or rights (GDAL's text often only says that a write failed).
std::string writeFailure() {
    int const reason = errno;
    for (int const code : {ENOSPC, EFBIG, EDQUOT, EIO, EROFS, EACCES, EPERM}) {
        if (reason == code) {
            return gdalMessage() + " (" + std::strerror(reason) + ")";
        }
    }
    return gdalMessage();
}

} // namespace

GDALDriverH outputDriver(std::filesystem::path const& path, std::string const& format) {
    useGdal();
    if (!format.empty()) {
        GDALDriverH const driver = GDALGetDriverByName(format.c_str());
        if (!driver) {
            throw InputError("-of " + format + ": GDAL knows no such format");
        }
        if (!writesRasters(driver)) {
            throw InputError("-of " + format + ": GDAL cannot write rasters in this format");
        }
        return driver;
    }
    auto const extension = lowered(path.extension().string());
    if (extension.size() > 1) {
        for (int i = 0; i < GDALGetDriverCount(); ++i) {
            GDALDriverH const driver = GDALGetDriver(i);
            if (writesRasters(driver) && listsExtension(driver, extension.substr(1))) {
                return driver;
            }
        }
    }
    throw InputError(path.string() + ": no raster format is known for the extension '" + path.extension().string() +
                     "'; name one with -of");
}

template <class T>
Dataset inMemory(std::filesystem::path const& path, Raster<T> const& raster, Georeference const& georef,
                 std::optional<double> nodata) {
    useGdal();
    int const width = static_cast<int>(raster.width);
    int const height = static_cast<int>(raster.height);
    Dataset memory(GDALCreate(GDALGetDriverByName("MEM"), "", width, height, static_cast<int>(raster.bands),
                              gdalType<T>(), nullptr));
    if (!memory) {
        throw InputError(path.string() + ": cannot hold the result in memory: " + gdalMessage());
    }
    for (std::uint32_t band = 0; band < raster.bands; ++band) {
        GDALRasterBandH const handle = GDALGetRasterBand(memory.get(), static_cast<int>(band) + 1);
        auto* values = const_cast<T*>(raster.values.data() + raster.index(0, 0, band)); // GF_Write only reads
        if (GDALRasterIO(handle, GF_Write, 0, 0, width, height, values, width, height, gdalType<T>(), 0, 0) != CE_None) {
            throw InputError(path.string() + ": cannot hold the result in memory: " + gdalMessage());
        }
        if (nodata) {
            GDALSetRasterNoDataValue(handle, *nodata);
        }
    }
    if (georef.hasTransform) {
        GDALSetGeoTransform(memory.get(), const_cast<double*>(georef.transform.data()));
    }
    if (!georef.crsWkt.empty()) {
        GDALSetProjection(memory.get(), georef.crsWkt.c_str());
    }
    return memory;
}

void writeDataset(GDALDatasetH dataset, std::filesystem::path const& tmpPath, std::filesystem::path const& path,
                  OutputOptions const& options) {
    GDALDriverH const driver = outputDriver(path, options.format);
    CPLErrorReset();
    errno = 0;
    Dataset written(GDALCreateCopy(driver, tmpPath.c_str(), dataset, TRUE, nullptr, nullptr, nullptr));
    if (!written) {
        throw InputError(path.string() + ": GDAL cannot write it as " + GDALGetDriverShortName(driver) + ": " +
                         writeFailure());
    }
    written.reset();
    if (CPLGetLastErrorType() == CE_Failure || CPLGetLastErrorType() == CE_Fatal) {
        throw InputError(path.string() + ": GDAL failed to finish it: " + writeFailure());
    }
}

template <class T>
void writeRaster(std::filesystem::path const& path, Raster<T> const& raster, Georeference const& georef,
                 OutputOptions const& options, std::optional<double> nodata) {
    AtomicOutput output(path, options.overwrite);
    auto const memory = inMemory(path, raster, georef, nodata);
    writeDataset(memory.get(), output.tmpPath(), path, options);
    output.commit();
}

template void writeRaster<float>(std::filesystem::path const&, Raster<float> const&, Georeference const&,
                                 OutputOptions const&, std::optional<double>);
template void writeRaster<std::uint8_t>(std::filesystem::path const&, Raster<std::uint8_t> const&,
                                        Georeference const&, OutputOptions const&, std::optional<double>);
template void writeRaster<std::uint16_t>(std::filesystem::path const&, Raster<std::uint16_t> const&,
                                         Georeference const&, OutputOptions const&, std::optional<double>);
template Dataset inMemory<float>(std::filesystem::path const&, Raster<float> const&, Georeference const&,
                                 std::optional<double>);
template Dataset inMemory<std::uint8_t>(std::filesystem::path const&, Raster<std::uint8_t> const&,
                                        Georeference const&, std::optional<double>);

} // namespace rastrum_host

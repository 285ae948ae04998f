#include "io/raster_writer.hpp"

#include <cpl_string.h>

#include <cstdint>

#include "io/atomic_output.hpp"
#include "core/errors.hpp"
#include "io/gdal_dataset.hpp"

namespace rastrum_host {
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
    GDALRasterBandH const band = GDALGetRasterBand(dataset, 1);
    int hasNodata = 0;
    double const nodata = GDALGetRasterNoDataValue(band, &hasNodata);
    auto const plan = planOutput(path, options, GDALGetRasterDataType(band), GDALGetRasterCount(dataset),
                                 hasNodata ? std::optional<double>(nodata) : std::nullopt);
    GDALDriverH const driver = plan.driver;
    char** creation = nullptr;
    for (auto const& option : plan.creationOptions) {
        creation = CSLAddString(creation, option.c_str());
    }
    forgetWriteFailure();
    Dataset written(GDALCreateCopy(driver, tmpPath.c_str(), dataset, TRUE, creation, nullptr, nullptr));
    CSLDestroy(creation);
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

#include "io/gdal_dataset.hpp"

#include <cpl_error.h>

#include <filesystem>
#include <fstream>
#include <mutex>

#include "core/errors.hpp"

namespace rastrum_host {

void useGdal() {
    static std::once_flag once;
    std::call_once(once, [] {
        GDALAllRegister();
        CPLSetErrorHandler(CPLQuietErrorHandler);
    });
}

std::string gdalMessage() {
    std::string const message = CPLGetLastErrorMsg();
    return message.empty() ? "GDAL gave no reason" : message;
}

Dataset openRaster(std::string const& path) {
    useGdal();
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        throw InputError(path + ": no such file");
    }
    if (std::filesystem::is_directory(path, error)) {
        throw InputError(path + ": is a folder, not a raster file");
    }
    if (!std::ifstream(path)) {
        throw InputError(path + ": cannot be read");
    }
    CPLErrorReset();
    Dataset dataset(GDALOpenEx(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, nullptr, nullptr, nullptr));
    if (!dataset || GDALGetRasterCount(dataset.get()) == 0) {
        throw InputError(path + ": not a raster GDAL can read");
    }
    return dataset;
}

Georeference georeferenceOf(GDALDatasetH dataset) {
    Georeference georef;
    georef.hasTransform = GDALGetGeoTransform(dataset, georef.transform.data()) == CE_None;
    if (!georef.hasTransform) {
        georef.transform = {0.0, 1.0, 0.0, 0.0, 0.0, -1.0};
    }
    if (char const* wkt = GDALGetProjectionRef(dataset)) {
        georef.crsWkt = wkt;
    }
    return georef;
}

} // namespace rastrum_host

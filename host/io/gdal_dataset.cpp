#include "io/gdal_dataset.hpp"

#include <cpl_error.h>

#include <cpl_vsi.h>

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

namespace {

// GDAL's own reason, or, when it gave none, what the file system says.
std::string openFailure(std::string const& path) {
    if (std::string const message = CPLGetLastErrorMsg(); !message.empty()) {
        return message;
    }
    VSIStatBufL stat;
    if (VSIStatL(path.c_str(), &stat) != 0) {
        return "no such file";
    }
    return VSI_ISDIR(stat.st_mode) ? "is a folder, not a raster" : "not a raster format GDAL knows";
}

} // namespace

Dataset openRaster(std::string const& path) {
    useGdal();
    // Any name GDAL opens: files, virtual file systems (/vsizip/, /vsimem/, /vsicurl/), subdatasets, VRT.
    CPLErrorReset();
    Dataset dataset(GDALOpenEx(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, nullptr, nullptr, nullptr));
    if (!dataset) {
        throw InputError(path + ": cannot be opened as a raster: " + openFailure(path));
    }
    if (GDALGetRasterCount(dataset.get()) == 0) {
        throw InputError(path + ": holds no raster band (a container of subdatasets names them in rastrum info)");
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

#include "io/gdal_dataset.hpp"

#include <cpl_error.h>

#include <cpl_vsi.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>

#include "core/errors.hpp"

namespace rastrum_host {

namespace {

// The system's reason behind the last failure GDAL reported, taken the moment
// GDAL reports it: by the time a write is found to have failed (often only
// when the file is closed) other calls have replaced errno.
std::atomic<int> systemReason{0};

constexpr std::array WriteFailureReasons{ENOSPC, EFBIG, EDQUOT, EIO, EROFS, EACCES, EPERM};

bool explainsWriteFailure(int reason) { return std::ranges::find(WriteFailureReasons, reason) != WriteFailureReasons.end(); }

void CPL_STDCALL quietKeepingSystemReason(CPLErr level, CPLErrorNum, char const*) {
    if (int const reason = errno; level >= CE_Failure && explainsWriteFailure(reason)) {
        systemReason = reason;
    }
}

} // namespace

void useGdal() {
    static std::once_flag once;
    std::call_once(once, [] {
        GDALAllRegister();
        CPLSetErrorHandler(quietKeepingSystemReason);
    });
}

void forgetWriteFailure() {
    CPLErrorReset();
    errno = 0;
    systemReason = 0;
}

std::string gdalMessage() {
    std::string const message = CPLGetLastErrorMsg();
    return message.empty() ? "GDAL gave no reason" : message;
}

std::string writeFailure() {
    int const reason = systemReason != 0 ? systemReason.load() : errno;
    return explainsWriteFailure(reason) ? gdalMessage() + " (" + std::strerror(reason) + ")" : gdalMessage();
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

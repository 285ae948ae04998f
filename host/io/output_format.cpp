#include "io/output_format.hpp"

#include <cpl_string.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <set>
#include <sstream>
#include <vector>

#include "core/errors.hpp"
#include "io/gdal_dataset.hpp"

namespace rastrum_host {
namespace {

bool has(GDALDriverH driver, char const* capability) {
    return CPLFetchBool(GDALGetMetadata(driver, nullptr), capability, false);
}

bool writesRasters(GDALDriverH driver) {
    return has(driver, GDAL_DCAP_RASTER) && (has(driver, GDAL_DCAP_CREATE) || has(driver, GDAL_DCAP_CREATECOPY));
}

std::string lowered(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool listed(char const* list, std::string const& word) {
    std::istringstream words(list ? list : "");
    std::string each;
    while (words >> each) {
        if (lowered(each) == lowered(word)) {
            return true;
        }
    }
    return false;
}

// Formats whose files give a result back unchanged: size, georeferencing,
// type and values (tests/cli check each). PNG holds bytes and 16-bit
// integers, so masks and codes, with its georeferencing in a side file; the
// type check below refuses it for heights. Others write references to other
// files (VRT), lossy pictures, encoded colours or point lists, and are refused.
// In the order the refusal offers them.
std::vector<std::string> const faithful{"GTiff", "COG", "AAIGrid", "ENVI", "EHdr", "HFA", "GPKG", "netCDF", "PCIDSK", "PNG"};

// "A, B or C" of the faithful formats.
std::string faithfulList() {
    std::string text;
    for (std::size_t i = 0; i < faithful.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == faithful.size() ? " or " : ", ") + faithful[i];
    }
    return text;
}

// Formats whose nodata cannot be NaN (or that do not read a NaN nodata back).
std::set<std::string> const finiteNodataFormats{"AAIGrid", "GPKG", "HFA", "PNG"};

std::string keyOf(std::string const& option) { return lowered(option.substr(0, option.find('='))); }

} // namespace

double finiteNodata() { return -std::numeric_limits<float>::max(); }

bool isStandardOutput(std::filesystem::path const& path) { return path.string().starts_with("/vsistdout"); }

GDALDriverH outputDriver(std::filesystem::path const& path, std::string const& format) {
    useGdal();
    if (format.empty() && isStandardOutput(path)) {
        return GDALGetDriverByName("GTiff");
    }
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
            if (writesRasters(driver) && listed(GDALGetMetadataItem(driver, GDAL_DMD_EXTENSIONS, nullptr),
                                                extension.substr(1))) {
                return driver;
            }
        }
    }
    throw InputError(path.string() + ": no raster format is known for the extension '" + path.extension().string() +
                     "'; name one with -of");
}

namespace {

void CPL_STDCALL collectWarning(CPLErr level, CPLErrorNum, char const* message) {
    if (level == CE_Warning) {
        static_cast<std::vector<std::string>*>(CPLGetErrorHandlerUserData())->emplace_back(message);
    }
}

} // namespace

std::vector<std::string> creationOptionWarnings(GDALDriverH driver, std::vector<std::string> const& options) {
    std::vector<std::string> warnings;
    char** list = nullptr;
    for (auto const& option : options) {
        list = CSLAddString(list, option.c_str());
    }
    CPLPushErrorHandlerEx(collectWarning, &warnings);
    GDALValidateCreationOptions(driver, list);
    CPLPopErrorHandler();
    CSLDestroy(list);
    return warnings;
}

std::vector<std::string> geotiffOptions(std::vector<std::string> const& given) {
    std::vector<std::string> options = given;
    // ZSTD at level 1 compresses heights about as well as DEFLATE at a fraction of the time. Horizontal
    // differencing, on floats too, costs next to nothing; the floating-point predictor shrinks a float
    // result by another fifth but takes as long as the compression itself.
    for (std::string const option : {"TILED=YES", "COMPRESS=ZSTD", "ZSTD_LEVEL=1", "PREDICTOR=2",
                                     "BIGTIFF=IF_SAFER", "NUM_THREADS=ALL_CPUS"}) {
        bool const overridden = std::ranges::any_of(given, [&](auto const& o) { return keyOf(o) == keyOf(option); });
        // A predictor only goes with a compression that takes one.
        bool const plainCompression = keyOf(option) == "predictor" &&
            std::ranges::any_of(given, [](auto const& o) {
                auto const text = lowered(o);
                return keyOf(o) == "compress" && text != "compress=zstd" && text != "compress=deflate" &&
                       text != "compress=lzw";
            });
        if (!overridden && !plainCompression) {
            options.push_back(option);
        }
    }
    return options;
}

OutputPlan planOutput(std::filesystem::path const& path, OutputOptions const& options, GDALDataType type, int bands,
                      std::optional<double> holeNodata) {
    OutputPlan plan;
    plan.driver = outputDriver(path, options.format);
    std::string const name = GDALGetDriverShortName(plan.driver);
    auto const named = (options.format.empty() ? path.string() : "-of " + options.format) + ": ";
    if (std::ranges::find(faithful, name) == faithful.end()) {
        throw InputError(named + "the " + name + " format would not give the result back unchanged (size, "
                         "georeferencing, type and values); write " + faithfulList() + " and convert with GDAL's tools");
    }
    if (!listed(GDALGetMetadataItem(plan.driver, GDAL_DMD_CREATIONDATATYPES, nullptr), GDALGetDataTypeName(type))) {
        throw InputError(named + "the " + name + " format cannot hold " + GDALGetDataTypeName(type) + " values");
    }
    if (bands > 1 && name == "AAIGrid") {
        throw InputError(named + "the " + name + " format holds one band, the result has " + std::to_string(bands));
    }
    // A GeoPackage records how many bands a byte raster has only when it is
    // copied; written directly, GDAL reads it back as red, green, blue and
    // alpha. Other types are gridded coverages, which keep their one band.
    plan.staged = !has(plan.driver, GDAL_DCAP_CREATE) || (name == "GPKG" && type == GDT_Byte);
    plan.creationOptions = name == "GTiff" ? geotiffOptions(options.creationOptions) : options.creationOptions;
    plan.nodata = holeNodata;
    if (holeNodata && GDALDataTypeIsFloating(type)) {
        plan.nodata = options.nodata ? options.nodata
                      : finiteNodataFormats.contains(name) ? std::optional<double>(finiteNodata())
                                                           : holeNodata;
    }
    return plan;
}

} // namespace rastrum_host

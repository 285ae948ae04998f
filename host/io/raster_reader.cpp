#include "io/raster_reader.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "core/errors.hpp"
#include "io/gdal_dataset.hpp"

namespace rastrum_host {
namespace {

std::string cellsText(int width, int height) { return std::to_string(width) + " x " + std::to_string(height) + " cells"; }

template <class T>
std::vector<T> readBand(GDALDatasetH dataset, int band, GDALDataType type, std::string const& path) {
    int const width = GDALGetRasterXSize(dataset);
    int const height = GDALGetRasterYSize(dataset);
    std::vector<T> values(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    CPLErrorReset();
    if (GDALRasterIO(GDALGetRasterBand(dataset, band), GF_Read, 0, 0, width, height, values.data(), width, height,
                     type, 0, 0) != CE_None) {
        throw InputError(path + ": band " + std::to_string(band) + " cannot be read: " + gdalMessage());
    }
    return values;
}

// 1 where GDAL's mask band of `band` marks a cell as nodata.
std::vector<std::uint8_t> nodataOf(GDALDatasetH dataset, int band, std::string const& path) {
    auto const handle = GDALGetRasterBand(dataset, band);
    std::size_t const cells = static_cast<std::size_t>(GDALGetRasterXSize(dataset)) *
                              static_cast<std::size_t>(GDALGetRasterYSize(dataset));
    if (GDALGetMaskFlags(handle) & GMF_ALL_VALID) {
        return std::vector<std::uint8_t>(cells, 0);
    }
    auto const mask = GDALGetMaskBand(handle);
    int const width = GDALGetRasterXSize(dataset);
    int const height = GDALGetRasterYSize(dataset);
    std::vector<std::uint8_t> valid(cells);
    CPLErrorReset();
    if (GDALRasterIO(mask, GF_Read, 0, 0, width, height, valid.data(), width, height, GDT_Byte, 0, 0) != CE_None) {
        throw InputError(path + ": the nodata mask cannot be read: " + gdalMessage());
    }
    for (auto& v : valid) {
        v = v == 0 ? 1 : 0;
    }
    return valid;
}

std::vector<float> terrainRgbHeights(GDALDatasetH dataset, std::string const& path) {
    int const bands = GDALGetRasterCount(dataset);
    if (bands < 3) {
        throw InputError("--terrain-rgb: " + path + " has " + std::to_string(bands) +
                         " band(s); the encoding needs red, green and blue");
    }
    for (int band = 1; band <= 3; ++band) {
        if (auto const type = GDALGetRasterDataType(GDALGetRasterBand(dataset, band)); type != GDT_Byte) {
            throw InputError("--terrain-rgb: band " + std::to_string(band) + " of " + path + " holds " +
                             GDALGetDataTypeName(type) + "; the encoding has unsigned 8-bit red, green and blue");
        }
    }
    auto const red = readBand<std::uint8_t>(dataset, 1, GDT_Byte, path);
    auto const green = readBand<std::uint8_t>(dataset, 2, GDT_Byte, path);
    auto const blue = readBand<std::uint8_t>(dataset, 3, GDT_Byte, path);
    std::vector<float> heights(red.size());
    for (std::size_t i = 0; i < heights.size(); ++i) {
        double const code = red[i] * 65536.0 + green[i] * 256.0 + blue[i];
        heights[i] = static_cast<float>(-10000.0 + code * 0.1);
    }
    return heights;
}

std::vector<std::uint8_t> cellTypesFrom(std::string const& codesPath, GDALDatasetH heights, std::string const& path) {
    auto const codes = openRaster(codesPath);
    int const width = GDALGetRasterXSize(codes.get());
    int const height = GDALGetRasterYSize(codes.get());
    int const expectedWidth = GDALGetRasterXSize(heights);
    int const expectedHeight = GDALGetRasterYSize(heights);
    if (width != expectedWidth || height != expectedHeight) {
        throw InputError("--cell-types " + codesPath + ": " + cellsText(width, height) + ", but " + path + " has " +
                         cellsText(expectedWidth, expectedHeight));
    }
    auto const type = GDALGetRasterDataType(GDALGetRasterBand(codes.get(), 1));
    if (type != GDT_Byte) {
        throw InputError("--cell-types " + codesPath + ": band 1 holds " + GDALGetDataTypeName(type) +
                         ", not unsigned 8-bit codes");
    }
    auto values = readBand<std::uint8_t>(codes.get(), 1, GDT_Byte, codesPath);
    if (auto const odd = std::ranges::find_if(values, [](std::uint8_t code) { return code > LastCellType; });
        odd != values.end()) {
        auto const at = static_cast<std::size_t>(odd - values.begin());
        throw InputError("--cell-types " + codesPath + ": cell " + std::to_string(at % std::size_t(width)) + ", " +
                         std::to_string(at / std::size_t(width)) + " holds code " + std::to_string(*odd) +
                         "; codes are 0 and 4 (data) and 1 to 3 (holes)");
    }
    return values;
}

} // namespace

HeightInput readHeights(std::string const& path, ReadOptions const& options) {
    auto const dataset = openRaster(path);
    GDALDatasetH const ds = dataset.get();
    int const bands = GDALGetRasterCount(ds);
    int const band = options.terrainRgb ? 1 : options.band;
    if (band < 1 || band > bands) {
        throw InputError("-b " + std::to_string(options.band) + ": " + path + " has " + std::to_string(bands) +
                         " band(s)");
    }

    HeightInput input;
    input.source = path;
    input.georef = georeferenceOf(ds);
    input.heights.width = static_cast<std::uint32_t>(GDALGetRasterXSize(ds));
    input.heights.height = static_cast<std::uint32_t>(GDALGetRasterYSize(ds));
    input.heights.values = options.terrainRgb ? terrainRgbHeights(ds, path) : readBand<float>(ds, band, GDT_Float32, path);

    auto const nodata = nodataOf(ds, band, path);
    input.cellTypes = options.cellTypesPath.empty() ? std::vector<std::uint8_t>(nodata.size(), DataCell)
                                                    : cellTypesFrom(options.cellTypesPath, ds, path);
    for (std::size_t i = 0; i < nodata.size(); ++i) {
        if (nodata[i] != 0 || std::isnan(input.heights.values[i])) {
            input.heights.values[i] = std::numeric_limits<float>::quiet_NaN();
            if (options.cellTypesPath.empty()) {
                input.cellTypes[i] = NodataCell;
            }
        }
    }
    return input;
}

MarkerVolume readMarkerVolume(std::string const& path) {
    auto const dataset = openRaster(path);
    GDALDatasetH const ds = dataset.get();
    int const layers = GDALGetRasterCount(ds);
    int const width = GDALGetRasterXSize(ds);
    int const height = GDALGetRasterYSize(ds);
    if (layers < 3 || width < 3 || height < 3) {
        throw InputError(path + ": a marker volume needs at least 3 points on every axis for the 3 x 3 x 3 density, "
                                "but it has " + cellsText(width, height) + " in " + std::to_string(layers) +
                         " band(s)");
    }
    for (int band = 1; band <= layers; ++band) {
        auto const type = GDALGetRasterDataType(GDALGetRasterBand(ds, band));
        if (type != GDT_UInt16 && type != GDT_Byte) {
            throw InputError(path + ": band " + std::to_string(band) + " holds " + GDALGetDataTypeName(type) +
                             "; markers are unsigned 16-bit (or 8-bit) integers");
        }
    }
    MarkerVolume volume;
    volume.source = path;
    volume.georef = georeferenceOf(ds);
    volume.markers.width = static_cast<std::uint32_t>(width);
    volume.markers.height = static_cast<std::uint32_t>(height);
    volume.markers.bands = static_cast<std::uint32_t>(layers);
    for (int band = 1; band <= layers; ++band) {
        auto const layer = readBand<std::uint16_t>(ds, band, GDT_UInt16, path);
        volume.markers.values.insert(volume.markers.values.end(), layer.begin(), layer.end());
    }
    return volume;
}

} // namespace rastrum_host

#include "io/raster_reader.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "core/errors.hpp"

namespace rastrum_host {
namespace {

std::string cellsText(int width, int height) { return std::to_string(width) + " x " + std::to_string(height) + " cells"; }

// Rows [firstRow, firstRow + rows) of a band, converted by GDAL to `type`.
// Read into `values`' own memory, when it has some.
template <class T>
std::vector<T> readRows(GDALRasterBandH band, std::uint32_t firstRow, std::uint32_t rows, GDALDataType type,
                        std::string const& what, std::vector<T> values = {}) {
    int const width = GDALGetRasterBandXSize(band);
    values.resize(static_cast<std::size_t>(width) * rows);
    CPLErrorReset();
    if (GDALRasterIO(band, GF_Read, 0, static_cast<int>(firstRow), width, static_cast<int>(rows), values.data(), width,
                     static_cast<int>(rows), type, 0, 0) != CE_None) {
        throw InputError(what + " cannot be read: " + gdalMessage());
    }
    return values;
}

std::string bandText(std::string const& path, int band) { return path + ": band " + std::to_string(band); }

// Heights are computed in single precision. A wider band is read as doubles
// and narrowed, refusing what narrowing would silently change beyond rounding:
// values past Float32's range (they would become infinities) and integers past
// 2^24 (they would step by 2 or more). Cells the nodata mask flags are not
// heights and pass unchecked.
std::vector<float> heightRows(GDALRasterBandH band, std::uint32_t firstRow, std::uint32_t rows,
                              std::vector<std::uint8_t> const& nodata, std::string const& what,
                              std::vector<float> spare) {
    auto const type = GDALGetRasterDataType(band);
    if (GDALGetDataTypeSizeBits(type) <= 16 || type == GDT_Float32) {
        return readRows<float>(band, firstRow, rows, GDT_Float32, what, std::move(spare));
    }
    auto const wide = readRows<double>(band, firstRow, rows, GDT_Float64, what);
    bool const integers = GDALDataTypeIsInteger(type) != 0;
    auto const width = static_cast<std::size_t>(GDALGetRasterBandXSize(band));
    std::vector<float> heights(wide.size());
    for (std::size_t i = 0; i < wide.size(); ++i) {
        double const value = wide[i];
        bool const outOfRange = std::isfinite(value) && std::abs(value) > std::numeric_limits<float>::max();
        heights[i] = outOfRange ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(value);
        bool const inexact = integers && static_cast<double>(heights[i]) != value;
        if ((nodata.empty() || nodata[i] == 0) && (outOfRange || inexact)) {
            char text[32];
            *std::to_chars(text, text + sizeof text - 1, value).ptr = '\0'; // the shortest exact spelling
            throw InputError(what + " (" + GDALGetDataTypeName(type) + "): cell " + std::to_string(i % width) + ", " +
                             std::to_string(firstRow + i / width) + " holds " + text + ", which " +
                             (outOfRange ? "lies beyond single precision's range"
                                         : "single precision cannot hold exactly (integers up to 16777216)") +
                             "; heights are computed in single precision. Declare it nodata, or rescale the raster");
        }
    }
    return heights;
}

// 1 where GDAL's mask band of `band` marks a cell as nodata; empty when no
// cell but the NaN ones is, which are nodata anyway. A NaN nodata value masks
// exactly the NaN cells, and GDAL would read the band a second time for it.
std::vector<std::uint8_t> nodataOf(GDALRasterBandH band, std::uint32_t firstRow, std::uint32_t rows,
                                   std::string const& path) {
    int hasNodata = 0;
    double const nodata = GDALGetRasterNoDataValue(band, &hasNodata);
    auto const type = GDALGetRasterDataType(band);
    bool const onlyNan = GDALGetMaskFlags(band) == GMF_NODATA && hasNodata != 0 && std::isnan(nodata) &&
                         (type == GDT_Float32 || type == GDT_Float64);
    if (onlyNan || (GDALGetMaskFlags(band) & GMF_ALL_VALID) != 0) {
        return {};
    }
    auto valid = readRows<std::uint8_t>(GDALGetMaskBand(band), firstRow, rows, GDT_Byte, path + ": the nodata mask");
    for (auto& v : valid) {
        v = v == 0 ? 1 : 0;
    }
    return valid;
}

template <class T>
std::vector<T> terrainRgbHeights(GDALDatasetH dataset, std::uint32_t firstRow, std::uint32_t rows,
                                 std::string const& path) {
    auto const channel = [&](int band) {
        return readRows<std::uint8_t>(GDALGetRasterBand(dataset, band), firstRow, rows, GDT_Byte, bandText(path, band));
    };
    auto const red = channel(1);
    auto const green = channel(2);
    auto const blue = channel(3);
    std::vector<T> heights(red.size());
    for (std::size_t i = 0; i < heights.size(); ++i) {
        double const code = red[i] * 65536.0 + green[i] * 256.0 + blue[i];
        heights[i] = static_cast<T>(-10000.0 + code * 0.1);
    }
    return heights;
}

Dataset openCellTypes(std::string const& codesPath, GDALDatasetH heights, std::string const& path) {
    auto codes = openRaster(codesPath);
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
    return codes;
}

} // namespace

std::optional<HeightScaling> scalingOf(GDALRasterBandH band) {
    int hasScale = 0;
    int hasOffset = 0;
    double const scale = GDALGetRasterScale(band, &hasScale);
    double const offset = GDALGetRasterOffset(band, &hasOffset);
    if ((hasScale != 0 && scale != 1.0) || (hasOffset != 0 && offset != 0.0)) {
        return HeightScaling{scale, offset};
    }
    return std::nullopt;
}

Georeference rowsGeoreference(Georeference georef, std::uint32_t firstRow) {
    auto& t = georef.transform;
    if (georef.hasTransform) {
        t[0] += firstRow * t[2];
        t[3] += firstRow * t[5];
    }
    return georef;
}

HeightReader::HeightReader(std::string path, ReadOptions options)
    : path_(std::move(path)), options_(std::move(options)), dataset_(openRaster(path_)) {
    GDALDatasetH const ds = dataset_.get();
    int const bands = GDALGetRasterCount(ds);
    band_ = options_.terrainRgb ? 1 : options_.band;
    if (band_ < 1 || band_ > bands) {
        throw InputError("-b " + std::to_string(options_.band) + ": " + path_ + " has " + std::to_string(bands) +
                         " band(s)");
    }
    if (options_.terrainRgb && bands < 3) {
        throw InputError("--terrain-rgb: " + path_ + " has " + std::to_string(bands) +
                         " band(s); the encoding needs red, green and blue");
    }
    for (int band = 1; options_.terrainRgb && band <= 3; ++band) {
        if (auto const type = GDALGetRasterDataType(GDALGetRasterBand(ds, band)); type != GDT_Byte) {
            throw InputError("--terrain-rgb: band " + std::to_string(band) + " of " + path_ + " holds " +
                             GDALGetDataTypeName(type) + "; the encoding has unsigned 8-bit red, green and blue");
        }
    }
    if (!options_.cellTypesPath.empty()) {
        codes_ = openCellTypes(options_.cellTypesPath, ds, path_);
    }
    width_ = static_cast<std::uint32_t>(GDALGetRasterXSize(ds));
    height_ = static_cast<std::uint32_t>(GDALGetRasterYSize(ds));
    georef_ = georeferenceOf(ds);
    if (!options_.terrainRgb) {
        scaling_ = scalingOf(GDALGetRasterBand(ds, band_));
    }
}

GDALDataType HeightReader::type() const {
    return options_.terrainRgb ? GDT_Float32 : GDALGetRasterDataType(GDALGetRasterBand(dataset_.get(), band_));
}

template <class T>
HeightInputOf<T> HeightReader::read(std::uint32_t firstRow, std::uint32_t rows, HeightInputOf<T> spare) const {
    GDALDatasetH const ds = dataset_.get();
    GDALRasterBandH const band = GDALGetRasterBand(ds, band_);
    HeightInputOf<T> input;
    input.source = path_;
    input.georef = rowsGeoreference(georef_, firstRow);
    input.heights.width = width_;
    input.heights.height = rows;
    auto const nodata = nodataOf(band, firstRow, rows, path_);
    if (options_.terrainRgb) {
        input.heights.values = terrainRgbHeights<T>(ds, firstRow, rows, path_);
    } else if constexpr (std::is_same_v<T, double>) {
        // Double precision holds every GDAL type's values.
        input.heights.values = readRows<double>(band, firstRow, rows, GDT_Float64, bandText(path_, band_),
                                                std::move(spare.heights.values));
    } else {
        input.heights.values =
            heightRows(band, firstRow, rows, nodata, bandText(path_, band_), std::move(spare.heights.values));
    }
    // Without codes each cell's type is derived below.
    input.cellTypes = std::move(spare.cellTypes);
    if (codes_) {
        input.cellTypes = readRows<std::uint8_t>(GDALGetRasterBand(codes_.get(), 1), firstRow, rows, GDT_Byte,
                                                 "--cell-types " + options_.cellTypesPath, std::move(input.cellTypes));
    } else {
        input.cellTypes.resize(std::size_t{width_} * rows);
    }
    if (auto const odd = codes_ ? std::ranges::find_if(input.cellTypes,
                                                       [](std::uint8_t code) { return code > LastCellType; })
                                : input.cellTypes.end();
        odd != input.cellTypes.end()) {
        auto const at = static_cast<std::size_t>(odd - input.cellTypes.begin());
        throw InputError("--cell-types " + options_.cellTypesPath + ": cell " + std::to_string(at % width_) + ", " +
                         std::to_string(firstRow + at / width_) + " holds code " + std::to_string(*odd) +
                         "; codes are 0 and 4 (data) and 1 to 3 (holes)");
    }
    // Branch-free over plain pointers, so that the compiler vectorises both passes.
    T* const heights = input.heights.values.data();
    std::uint8_t const* const flags = nodata.data();
    std::uint8_t* const types = input.cellTypes.data();
    std::size_t const cells = input.cellTypes.size();
    for (std::size_t i = 0; i < nodata.size(); ++i) {
        heights[i] = flags[i] != 0 ? std::numeric_limits<T>::quiet_NaN() : heights[i];
    }
    // Scaled heights are computed in the units the band declares.
    if (scaling_) {
        for (std::size_t i = 0; i < cells; ++i) {
            heights[i] = static_cast<T>(static_cast<double>(heights[i]) * scaling_->scale + scaling_->offset);
        }
    }
    // Without codes every cell is data but the NaN ones. The test stays out of
    // the loop: the byte stores could alias it, which keeps it from vectorising.
    if (!codes_) {
        for (std::size_t i = 0; i < cells; ++i) {
            types[i] = heights[i] != heights[i] ? std::uint8_t{NodataCell} : std::uint8_t{DataCell};
        }
    }
    return input;
}

template HeightInputOf<float> HeightReader::read(std::uint32_t, std::uint32_t, HeightInputOf<float>) const;
template HeightInputOf<double> HeightReader::read(std::uint32_t, std::uint32_t, HeightInputOf<double>) const;

MarkerReader::MarkerReader(std::string path) : path_(std::move(path)), dataset_(openRaster(path_)) {
    GDALDatasetH const ds = dataset_.get();
    int const layers = GDALGetRasterCount(ds);
    int const width = GDALGetRasterXSize(ds);
    int const height = GDALGetRasterYSize(ds);
    if (layers < 3 || width < 3 || height < 3) {
        throw InputError(path_ + ": a marker volume needs at least 3 points on every axis for the 3 x 3 x 3 density, "
                                 "but it has " + cellsText(width, height) + " in " + std::to_string(layers) +
                         " band(s)");
    }
    for (int band = 1; band <= layers; ++band) {
        auto const type = GDALGetRasterDataType(GDALGetRasterBand(ds, band));
        if (type != GDT_UInt16 && type != GDT_Byte) {
            throw InputError(bandText(path_, band) + " holds " + GDALGetDataTypeName(type) +
                             "; markers are unsigned 16-bit (or 8-bit) integers");
        }
    }
    width_ = static_cast<std::uint32_t>(width);
    height_ = static_cast<std::uint32_t>(height);
    layers_ = static_cast<std::uint32_t>(layers);
    georef_ = georeferenceOf(ds);
}

MarkerVolume MarkerReader::read(std::uint32_t firstRow, std::uint32_t rows) const {
    MarkerVolume volume;
    volume.source = path_;
    volume.georef = rowsGeoreference(georef_, firstRow);
    volume.markers.width = width_;
    volume.markers.height = rows;
    volume.markers.bands = layers_;
    for (int band = 1; band <= static_cast<int>(layers_); ++band) {
        auto const layer = readRows<std::uint16_t>(GDALGetRasterBand(dataset_.get(), band), firstRow, rows, GDT_UInt16,
                                                   bandText(path_, band));
        volume.markers.values.insert(volume.markers.values.end(), layer.begin(), layer.end());
    }
    return volume;
}

HeightInput readHeights(std::string const& path, ReadOptions const& options) {
    HeightReader const reader(path, options);
    return reader.read(0, reader.height());
}

MarkerVolume readMarkerVolume(std::string const& path) {
    MarkerReader const reader(path);
    return reader.read(0, reader.height());
}

} // namespace rastrum_host

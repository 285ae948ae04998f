#include "io/band_writer.hpp"

#include <cpl_string.h>
#include <cpl_vsi.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <vector>

#include "core/errors.hpp"

namespace rastrum_host {
namespace {

// A NULL-terminated list of GDAL options, freed with it.
class OptionList {
public:
    explicit OptionList(std::vector<std::string> const& options) {
        for (auto const& option : options) {
            list_ = CSLAddString(list_, option.c_str());
        }
    }
    OptionList(OptionList const&) = delete;
    OptionList& operator=(OptionList const&) = delete;
    ~OptionList() { CSLDestroy(list_); }
    char** get() const { return list_; }

private:
    char** list_ = nullptr;
};

// The input's band metadata, but not its statistics: they describe the input's
// values, and viewers would stretch the result by them.
void carryBandMetadata(GDALRasterBandH source, GDALRasterBandH target) {
    std::vector<std::string> items;
    for (char** item = GDALGetMetadata(source, nullptr); item && *item; ++item) {
        if (!STARTS_WITH_CI(*item, "STATISTICS_")) {
            items.emplace_back(*item);
        }
    }
    if (!items.empty()) {
        GDALSetMetadata(target, OptionList(items).get(), nullptr);
    }
}

void carryMetadata(GDALDatasetH from, int firstBand, GDALDatasetH to, std::uint32_t bands, bool keepsUnits) {
    if (!from) {
        return;
    }
    if (char const* area = GDALGetMetadataItem(from, GDALMD_AREA_OR_POINT, nullptr)) {
        GDALSetMetadataItem(to, GDALMD_AREA_OR_POINT, area, nullptr);
    }
    for (std::uint32_t band = 1; band <= bands && static_cast<int>(band) + firstBand - 1 <= GDALGetRasterCount(from);
         ++band) {
        GDALRasterBandH const source = GDALGetRasterBand(from, static_cast<int>(band) + firstBand - 1);
        GDALRasterBandH const target = GDALGetRasterBand(to, static_cast<int>(band));
        carryBandMetadata(source, target);
        if (char const* unit = GDALGetRasterUnitType(source); keepsUnits && unit && *unit) {
            GDALSetRasterUnitType(target, unit);
        }
    }
}

// The bytes of a finished file into GDAL's standard output.
void copyOut(std::filesystem::path const& file, std::filesystem::path const& target) {
    forgetWriteFailure();
    VSILFILE* const in = VSIFOpenL(file.c_str(), "rb");
    VSILFILE* const out = VSIFOpenL(target.c_str(), "wb");
    std::vector<char> chunk(std::size_t{1} << 20);
    bool ok = in && out;
    for (std::size_t got = 0; ok && (got = VSIFReadL(chunk.data(), 1, chunk.size(), in)) > 0;) {
        ok = VSIFWriteL(chunk.data(), 1, got, out) == got;
    }
    ok = (!out || VSIFCloseL(out) == 0) && ok;
    if (in) {
        VSIFCloseL(in);
    }
    if (!ok) {
        throw InputError(target.string() + ": cannot be written: " + writeFailure());
    }
}

} // namespace

BandWriter::BandWriter(std::filesystem::path path, OutputOptions const& options, ResultLayout const& layout)
    : path_(std::move(path)),
      // Standard output is staged under the system's temporary folder. Nothing is ever moved
      // there, so a file of the staged name already in it is no obstacle.
      output_(isStandardOutput(path_) ? std::filesystem::temp_directory_path() / "stdout.tif" : path_,
              options.overwrite || isStandardOutput(path_)),
      plan_(planOutput(path_, options, layout.type, static_cast<int>(layout.bands), layout.holeNodata)) {
    GDALDriverH driver = plan_.driver;
    std::vector<std::string> creation = plan_.creationOptions;
    written_ = output_.tmpPath();
    if (plan_.staged) {
        driver = GDALGetDriverByName("GTiff");
        creation = {"TILED=YES", "BIGTIFF=IF_SAFER"};
        written_ += ".staged.tif";
    }
    OptionList const list(creation);
    forgetWriteFailure();
    dataset_.reset(GDALCreate(driver, written_.c_str(), static_cast<int>(layout.width), static_cast<int>(layout.height),
                              static_cast<int>(layout.bands), layout.type, list.get()));
    if (!dataset_) {
        throw InputError(path_.string() + ": GDAL cannot create it as " + GDALGetDriverShortName(plan_.driver) + ": " +
                         writeFailure());
    }
    auto const& georef = layout.georef;
    if (georef.hasTransform) {
        GDALSetGeoTransform(dataset_.get(), const_cast<double*>(georef.transform.data()));
    }
    if (!georef.crsWkt.empty()) {
        GDALSetProjection(dataset_.get(), georef.crsWkt.c_str());
    }
    carryMetadata(layout.metadataFrom, layout.firstMetadataBand, dataset_.get(), layout.bands, layout.keepsUnits);
    for (std::uint32_t band = 1; band <= layout.bands && plan_.nodata; ++band) {
        GDALSetRasterNoDataValue(GDALGetRasterBand(dataset_.get(), static_cast<int>(band)), *plan_.nodata);
    }
    int blockWidth = 0;
    int blockHeight = 0;
    GDALGetBlockSize(GDALGetRasterBand(dataset_.get(), 1), &blockWidth, &blockHeight);
    blockRows_ = static_cast<std::uint32_t>(std::max(blockHeight, 1));
    width_ = layout.width;
    height_ = layout.height;
    type_ = layout.type;
    pending_.resize(layout.bands);
}

void BandWriter::writeRows(std::uint32_t band, std::uint32_t firstRow, std::uint32_t rows, void const* values,
                           GDALDataType type) {
    forgetWriteFailure();
    if (rows > 0 && GDALRasterIO(GDALGetRasterBand(dataset_.get(), static_cast<int>(band) + 1), GF_Write, 0,
                                 static_cast<int>(firstRow), static_cast<int>(width_), static_cast<int>(rows),
                                 const_cast<void*>(values), static_cast<int>(width_), static_cast<int>(rows), type, 0,
                                 0) != CE_None) {
        throw InputError(path_.string() + ": cannot be written: " + writeFailure());
    }
}

template <class T>
void BandWriter::write(Raster<T> const& band, std::uint32_t bandRow, std::uint32_t rows) {
    std::size_t const rowBytes = std::size_t{band.width} * sizeof(T);
    std::uint32_t const available = pendingRows_ + rows;
    bool const last = rowsWritten_ + available >= height_;
    std::uint32_t const flushed = last ? available : (rowsWritten_ + available) / blockRows_ * blockRows_ - rowsWritten_;
    bool replaced = false;
    if constexpr (std::is_floating_point_v<T>) {
        replaced = plan_.nodata && !std::isnan(*plan_.nodata);
    }
    // The rows waiting are topped up from the band to a whole row of blocks,
    // the band's further rows of blocks go to GDAL straight from it, and only
    // the rest is copied to wait. Each row of blocks is thus finished within
    // one call, so that no block is flushed half-written and written twice.
    std::uint32_t const direct = flushed > pendingRows_ && !replaced ? flushed - pendingRows_ : 0;
    std::uint32_t const topUp = pendingRows_ > 0 ? std::min(direct, blockRows_ - pendingRows_) : 0;
    for (std::uint32_t b = 0; b < band.bands; ++b) {
        auto& buffer = pending_[b];
        auto const* first = reinterpret_cast<std::byte const*>(band.values.data() + band.index(0, bandRow, b));
        if (direct > 0) {
            buffer.insert(buffer.end(), first, first + rowBytes * topUp);
            writeRows(b, rowsWritten_, pendingRows_ + topUp, buffer.data(), gdalType<T>());
            writeRows(b, rowsWritten_ + pendingRows_ + topUp, direct - topUp, first + rowBytes * topUp, gdalType<T>());
            buffer.assign(first + rowBytes * direct, first + rowBytes * rows);
            continue;
        }
        buffer.insert(buffer.end(), first, first + rowBytes * rows);
        if (replaced) {
            auto* values = reinterpret_cast<T*>(buffer.data() + rowBytes * pendingRows_);
            for (std::size_t i = 0; i < std::size_t{band.width} * rows; ++i) {
                values[i] = std::isnan(values[i]) ? static_cast<T>(*plan_.nodata) : values[i];
            }
        }
        writeRows(b, rowsWritten_, flushed, buffer.data(), gdalType<T>());
        buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(rowBytes * flushed));
    }
    rowsWritten_ += flushed;
    pendingRows_ = available - flushed;
}

void BandWriter::commit() {
    if (rowsWritten_ != height_) {
        throw std::logic_error(path_.string() + ": " + std::to_string(height_ - rowsWritten_) + " rows not written");
    }
    forgetWriteFailure();
    GDALFlushCache(dataset_.get());
    if (CPLGetLastErrorType() == CE_Failure || CPLGetLastErrorType() == CE_Fatal) {
        throw InputError(path_.string() + ": cannot be written: " + writeFailure());
    }
    if (plan_.staged) {
        OptionList const list(plan_.creationOptions);
        Dataset copy(GDALCreateCopy(plan_.driver, output_.tmpPath().c_str(), dataset_.get(), TRUE, list.get(), nullptr,
                                    nullptr));
        if (!copy) {
            throw InputError(path_.string() + ": GDAL cannot write it as " + GDALGetDriverShortName(plan_.driver) +
                             ": " + writeFailure());
        }
        copy.reset();
        dataset_.reset();
        GDALDeleteDataset(GDALGetDriverByName("GTiff"), written_.c_str());
    }
    dataset_.reset();
    if (CPLGetLastErrorType() == CE_Failure || CPLGetLastErrorType() == CE_Fatal) {
        throw InputError(path_.string() + ": GDAL failed to finish it: " + writeFailure());
    }
    if (isStandardOutput(path_)) {
        copyOut(output_.tmpPath(), path_);
    } else {
        output_.commit();
    }
}

template void BandWriter::write<float>(Raster<float> const&, std::uint32_t, std::uint32_t);
template void BandWriter::write<double>(Raster<double> const&, std::uint32_t, std::uint32_t);
template void BandWriter::write<std::uint8_t>(Raster<std::uint8_t> const&, std::uint32_t, std::uint32_t);

} // namespace rastrum_host

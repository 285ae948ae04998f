#include "preview/preview.hpp"

#include <gdal.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "core/errors.hpp"
#include "temp_dir.hpp"

namespace {

using rastrum_host::PreviewStyle;
using rastrum_host::renderPreview;

constexpr int width = 24;
constexpr int height = 16;
constexpr double nodata = -9999.0;

// A dataset closed when it goes out of scope.
struct CloseDataset {
    void operator()(GDALDatasetH dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<void, CloseDataset>;

// A north-up in-memory raster of 1 m cells with heights from a function of (column, row).
Dataset memoryRaster(std::function<double(int, int)> const& heightAt) {
    GDALAllRegister();
    Dataset raster(GDALCreate(GDALGetDriverByName("MEM"), "", width, height, 1, GDT_Float64, nullptr));
    std::array<double, 6> transform{477000.0, 1.0, 0.0, 4412000.0, 0.0, -1.0};
    GDALSetGeoTransform(raster.get(), transform.data());
    std::vector<double> values;
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            values.push_back(heightAt(column, row));
        }
    }
    GDALRasterBandH band = GDALGetRasterBand(raster.get(), 1);
    GDALSetRasterNoDataValue(band, nodata);
    EXPECT_EQ(GDALRasterIO(band, GF_Write, 0, 0, width, height, values.data(), width, height, GDT_Float64, 0, 0),
              CE_None);
    return raster;
}

// The picture's bands, each row-major.
std::vector<std::vector<int>> readPicture(std::filesystem::path const& png) {
    Dataset picture(GDALOpen(png.c_str(), GA_ReadOnly));
    EXPECT_NE(picture.get(), nullptr) << png;
    std::vector<std::vector<int>> bands;
    if (picture.get() == nullptr) {
        return bands;
    }
    EXPECT_EQ(GDALGetRasterXSize(picture.get()), width);
    EXPECT_EQ(GDALGetRasterYSize(picture.get()), height);
    for (int b = 1; b <= GDALGetRasterCount(picture.get()); ++b) {
        std::vector<int> values(std::size_t{width} * height);
        EXPECT_EQ(GDALRasterIO(GDALGetRasterBand(picture.get(), b), GF_Read, 0, 0, width, height, values.data(), width,
                               height, GDT_Int32, 0, 0),
                  CE_None);
        bands.push_back(std::move(values));
    }
    return bands;
}

std::array<int, 4> rgbaAt(std::vector<std::vector<int>> const& bands, int column, int row) {
    std::size_t const i = static_cast<std::size_t>(row * width + column);
    return {bands[0][i], bands[1][i], bands[2][i], bands[3][i]};
}

// The light comes from the north-west, so a slope rising to the south-east faces it.
// Only the nodata cell (5, 7) is shaded 0.
TEST(Preview, ReliefIsBrighterOnSlopesFacingTheLight) {
    TempDir const dir;
    auto shadeAtCentre = [&](double eastward, double southward, char const* name) {
        Dataset const plane = memoryRaster(
            [=](int c, int r) { return c == 5 && r == 7 ? nodata : 100.0 + eastward * c + southward * r; });
        renderPreview(plane.get(), 1, PreviewStyle::Relief, dir.path() / name);
        auto const bands = readPicture(dir.path() / name);
        EXPECT_EQ(bands.size(), 1u);
        if (bands.empty()) {
            return 0;
        }
        for (std::size_t i = 0; i < bands[0].size(); ++i) {
            EXPECT_EQ(bands[0][i] == 0, i == 7 * width + 5) << name << " pixel " << i;
        }
        return bands[0][std::size_t{height / 2 * width + width / 2}];
    };
    int const facing = shadeAtCentre(0.4, 0.4, "facing.png");
    int const flat = shadeAtCentre(0.0, 0.0, "flat.png");
    int const away = shadeAtCentre(-0.4, -0.4, "away.png");
    EXPECT_GT(facing, flat);
    EXPECT_GT(flat, away);
    EXPECT_GT(away, 0);
    // Nothing besides the picture is left next to it.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 3);
}

TEST(Preview, RampEndsTakeTheFirstAndLastColours) {
    TempDir const dir;
    Dataset const ramp = memoryRaster([](int c, int r) { return c == 0 && r == 0 ? nodata : 300.0 + c + 0.5 * r; });
    renderPreview(ramp.get(), 1, PreviewStyle::Ramp, dir.path() / "ramp.png");
    auto const bands = readPicture(dir.path() / "ramp.png");
    ASSERT_EQ(bands.size(), 4u);
    EXPECT_EQ(rgbaAt(bands, 0, 1), (std::array{68, 1, 84, 255}));                    // the lowest cell: viridis' dark end
    EXPECT_EQ(rgbaAt(bands, width - 1, height - 1), (std::array{253, 231, 37, 255})); // the highest: its yellow end
    EXPECT_EQ(rgbaAt(bands, 0, 0)[3], 0);                                            // nodata is transparent
    // Green rises along the ramp.
    EXPECT_LT(rgbaAt(bands, 4, 4)[1], rgbaAt(bands, 12, 4)[1]);
}

TEST(Preview, DivergingIsWhiteAtZeroAndBlueRedBySign) {
    TempDir const dir;
    // Changes from -4 m to +2 m; the ramp spans +-4 m.
    Dataset const change = memoryRaster([](int c, int r) {
        return r == height - 1 && c == width - 1 ? nodata : (r == 0 ? (c == 0 ? -4.0 : 0.0) : 2.0);
    });
    renderPreview(change.get(), 1, PreviewStyle::Diverging, dir.path() / "change.png");
    auto const bands = readPicture(dir.path() / "change.png");
    ASSERT_EQ(bands.size(), 4u);
    EXPECT_EQ(rgbaAt(bands, 0, 0), (std::array{33, 102, 172, 255}));  // blue end at -4
    EXPECT_EQ(rgbaAt(bands, 5, 0), (std::array{247, 247, 247, 255})); // white at 0
    auto const gain = rgbaAt(bands, 5, 5);
    EXPECT_GT(gain[0], gain[2] + 60) << "a gain is red";
    EXPECT_LT(gain[0], 253) << "+2 m lies half way to the red end";
    EXPECT_EQ(rgbaAt(bands, width - 1, height - 1)[3], 0);
}

TEST(Preview, RefusesMissingBandsEmptyBandsAndUnwritablePictures) {
    TempDir const dir;
    Dataset const plane = memoryRaster([](int c, int) { return 1.0 * c; });
    EXPECT_THROW(renderPreview(plane.get(), 0, PreviewStyle::Relief, dir.path() / "a.png"), rastrum_host::InputError);
    EXPECT_THROW(renderPreview(plane.get(), 2, PreviewStyle::Ramp, dir.path() / "a.png"), rastrum_host::InputError);
    EXPECT_THROW(renderPreview(plane.get(), 1, PreviewStyle::Ramp, dir.path() / "missing" / "a.png"),
                 rastrum_host::InputError);
    EXPECT_THROW(renderPreview(plane.get(), 1, PreviewStyle::Relief, dir.path() / "missing" / "a.png"),
                 rastrum_host::InputError);
    Dataset const empty = memoryRaster([](int, int) { return nodata; });
    EXPECT_THROW(renderPreview(empty.get(), 1, PreviewStyle::Ramp, dir.path() / "a.png"), rastrum_host::InputError);
}

} // namespace

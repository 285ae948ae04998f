#include "preview/preview.hpp"

#include <gdal.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "cli_support.hpp"

namespace {

using rastrum_host::PreviewStyle;
using Rgb = std::array<int, 3>;

constexpr double nodata = -9999.0;
constexpr Rgb magenta{255, 0, 255};
constexpr Rgb viridisLow{68, 1, 84};
constexpr Rgb viridisHigh{253, 231, 37};

struct CloseDataset {
    void operator()(GDALDatasetH dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<void, CloseDataset>;

// A north-up in-memory raster with heights from a function of (column, row).
Dataset memoryRaster(int width, int height, std::function<double(int, int)> const& heightAt) {
    GDALAllRegister();
    Dataset raster(GDALCreate(GDALGetDriverByName("MEM"), "", width, height, 1, GDT_Float64, nullptr));
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

// The picture rendered from `source`, as its size and a colour lookup.
struct Picture {
    int width = 0, height = 0;
    std::vector<std::vector<int>> bands;
    Rgb at(int column, int row) const {
        auto const i = static_cast<std::size_t>(row * width + column);
        return {bands[0][i], bands[1][i], bands[2][i]};
    }
};

Picture render(GDALDatasetH source, PreviewStyle style, cli_testing::TempFolder const& dir) {
    auto const png = dir.path() / "preview.png";
    rastrum_host::renderPreview(source, 1, style, png);
    Dataset const picture(GDALOpen(png.c_str(), GA_ReadOnly));
    Picture read{GDALGetRasterXSize(picture.get()), GDALGetRasterYSize(picture.get()), {}};
    EXPECT_EQ(GDALGetRasterCount(picture.get()), 3);
    for (int b = 1; b <= 3; ++b) {
        std::vector<int> values(static_cast<std::size_t>(read.width * read.height));
        EXPECT_EQ(GDALRasterIO(GDALGetRasterBand(picture.get(), b), GF_Read, 0, 0, read.width, read.height,
                               values.data(), read.width, read.height, GDT_Int32, 0, 0),
                  CE_None);
        read.bands.push_back(std::move(values));
    }
    return read;
}

} // namespace

// A spike beyond the 98th percentile takes the ramp's end colour without
// darkening the rest; holes take a colour nothing else does; the legend bar
// below the map runs from one end colour to the other.
TEST(PreviewStretch, PercentileRampHoleColourAndLegend) {
    cli_testing::TempFolder const dir;
    Dataset const ramp = memoryRaster(24, 16, [](int c, int r) {
        return c == 0 && r == 0 ? nodata : c == 23 && r == 15 ? 1e6 : c + 0.5 * r;
    });
    auto const picture = render(ramp.get(), PreviewStyle::Ramp, dir);
    ASSERT_GT(picture.height, 16 + 20);
    EXPECT_EQ(picture.at(0, 1), viridisLow);
    EXPECT_EQ(picture.at(23, 15), viridisHigh);
    EXPECT_TRUE(picture.at(12, 8) != viridisLow && picture.at(12, 8) != viridisHigh) << "mid values, mid colours";
    for (int row = 0; row < 16; ++row) {
        for (int column = 0; column < 24; ++column) {
            EXPECT_EQ(picture.at(column, row) == magenta, column == 0 && row == 0) << column << ", " << row;
        }
    }
    EXPECT_EQ(picture.at(8, 16 + 14), viridisLow);
    EXPECT_EQ(picture.at(picture.width - 9, 16 + 14), viridisHigh);
}

TEST(PreviewStretch, DivergingIsWhiteAtZeroAndLongSidesShrinkTo2048) {
    cli_testing::TempFolder const dir;
    Dataset const change = memoryRaster(24, 16, [](int c, int r) { return r == 0 ? (c == 0 ? -4.0 : 0.0) : 2.0; });
    auto const diverging = render(change.get(), PreviewStyle::Diverging, dir);
    EXPECT_EQ(diverging.at(5, 0), (Rgb{247, 247, 247}));
    EXPECT_EQ(diverging.at(0, 0), (Rgb{33, 102, 172})) << "the spread reaches -4 at the 98th percentile of |change|";

    Dataset const wide = memoryRaster(4100, 30, [](int c, int) { return c % 7; });
    auto const shrunk = render(wide.get(), PreviewStyle::Ramp, dir);
    EXPECT_EQ(shrunk.width, rastrum_host::MaxPreviewSide);
    EXPECT_LT(shrunk.height, 15 + 60) << "15 rows of map and the legend";
}

#include "preview/preview.hpp"

#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "cli_support.hpp"

using namespace cli_testing;

namespace {

using rastrum_host::PreviewStyle;
using Rgb = std::array<int, 3>;

constexpr Rgb magenta{255, 0, 255};
constexpr Rgb viridisLow{68, 1, 84};
constexpr Rgb viridisHigh{253, 231, 37};

// The picture rendered from heights given as a function of (column, row).
struct Picture {
    RasterRead read;
    Rgb at(int column, int row) const {
        auto const i = static_cast<std::size_t>(row * read.width + column);
        auto const cells = static_cast<std::size_t>(read.width * read.height);
        return {int(read.values[i]), int(read.values[cells + i]), int(read.values[2 * cells + i])};
    }
};

Picture render(int width, int height, std::function<double(int, int)> const& heightAt, PreviewStyle style) {
    TempFolder const folder;
    auto raster = uniform(width, height, 1, GDT_Float64, 0.0);
    raster.nodata = Nodata;
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            raster.values[static_cast<std::size_t>(row * width + column)] = heightAt(column, row);
        }
    }
    writeRaster(folder / "in.tif", raster);
    GDALDatasetH const source = GDALOpen((folder / "in.tif").c_str(), GA_ReadOnly);
    rastrum_host::renderPreview(source, 1, style, folder / "preview.png");
    GDALClose(source);
    Picture picture{readRaster(folder / "preview.png")};
    EXPECT_EQ(picture.read.bands, 3);
    return picture;
}

} // namespace

// A spike beyond the 98th percentile takes the ramp's end colour without
// darkening the rest; holes take a colour nothing else does; the legend bar
// below the map runs from one end colour to the other.
TEST(PreviewStretch, PercentileRampHoleColourAndLegend) {
    auto const picture = render(24, 16, [](int c, int r) {
        return c == 0 && r == 0 ? Nodata : c == 23 && r == 15 ? 1e6 : c + 0.5 * r;
    }, PreviewStyle::Ramp);
    ASSERT_GT(picture.read.height, 16 + 20);
    EXPECT_EQ(picture.at(0, 1), viridisLow);
    EXPECT_EQ(picture.at(23, 15), viridisHigh);
    EXPECT_TRUE(picture.at(12, 8) != viridisLow && picture.at(12, 8) != viridisHigh) << "mid values, mid colours";
    for (int row = 0; row < 16; ++row) {
        for (int column = 0; column < 24; ++column) {
            EXPECT_EQ(picture.at(column, row) == magenta, column == 0 && row == 0) << column << ", " << row;
        }
    }
    EXPECT_EQ(picture.at(8, 16 + 14), viridisLow);
    EXPECT_EQ(picture.at(picture.read.width - 9, 16 + 14), viridisHigh);
}

TEST(PreviewStretch, DivergingIsWhiteAtZeroAndLongSidesShrinkTo2048) {
    auto const diverging = render(24, 16, [](int c, int r) { return r == 0 ? (c == 0 ? -4.0 : 0.0) : 2.0; },
                                  PreviewStyle::Diverging);
    EXPECT_EQ(diverging.at(5, 0), (Rgb{247, 247, 247}));
    EXPECT_EQ(diverging.at(0, 0), (Rgb{33, 102, 172})) << "the spread reaches -4 at the 98th percentile of |change|";

    auto const shrunk = render(4100, 30, [](int c, int) { return c % 7; }, PreviewStyle::Ramp).read;
    EXPECT_EQ(shrunk.width, rastrum_host::MaxPreviewSide);
    EXPECT_LT(shrunk.height, 15 + 60) << "15 rows of map and the legend";
}

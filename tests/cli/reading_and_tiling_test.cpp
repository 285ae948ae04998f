#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "Rastrum.hpp"
#include "core/errors.hpp"
#include "io/raster_reader.hpp"
#include "cli_support.hpp"
#include "tiling/tiled_grid.hpp"

using namespace cli_testing;

TEST(Reading, BandTerrainRgbAndACellTypeRasterChooseWhatIsRead) {
    TempFolder folder;
    auto rgb = uniform(4, 3, 3, GDT_Byte, 0.0);
    for (std::size_t i = 0; i < rgb.values.size(); ++i) {
        rgb.values[i] = static_cast<double>((i * 37 + 11) % 256);
    }
    rgb.nodata = rgb.values[5]; // band 1 at cell 5
    writeRaster(folder / "rgb.tif", rgb);
    auto codes = uniform(4, 3, 1, GDT_Byte, 0.0);
    for (std::size_t i = 0; i < codes.values.size(); ++i) {
        codes.values[i] = static_cast<double>(i % 5);
    }
    writeRaster(folder / "codes.tif", codes);

    auto const second = rastrum_host::readHeights(folder / "rgb.tif", {.band = 2, .cellTypesPath = {}, .terrainRgb = false});
    auto const decoded = rastrum_host::readHeights(folder / "rgb.tif", {.band = 1, .cellTypesPath = {}, .terrainRgb = true});
    auto const coded = rastrum_host::readHeights(folder / "rgb.tif", {.band = 1, .cellTypesPath = folder / "codes.tif",
                                                                      .terrainRgb = false});
    for (std::size_t i = 0; i < 12; ++i) {
        SCOPED_TRACE(i);
        bool const nodata = rgb.values[i] == *rgb.nodata;
        EXPECT_EQ(second.heights.values[i], static_cast<float>(rgb.values[12 + i]));
        EXPECT_EQ(second.cellTypes[i], 0) << "no cell of band 2 holds the nodata value";
        double const code = rgb.values[i] * 65536 + rgb.values[12 + i] * 256 + rgb.values[24 + i];
        EXPECT_TRUE(sameValue(decoded.heights.values[i], nodata ? NAN : static_cast<float>(-10000.0 + code * 0.1)));
        EXPECT_EQ(decoded.cellTypes[i], nodata ? 1 : 0);
        EXPECT_EQ(coded.cellTypes[i], i % 5) << "codes from the file, also at nodata";
        EXPECT_EQ(std::isnan(coded.heights.values[i]), nodata);
    }
}

TEST(Tiling, GridCarriesTheLayoutAttributesAndPutsCellCentresNorthUp) {
    rastrum_host::Georeference georef{.transform = TestTransform, .hasTransform = true, .crsWkt = {}};
    auto const placement = rastrum_host::placementOf(georef, 140, "dem.tif");
    rastrum_host::TiledGrid const tiled({150u, 140u, 1u}, placement, 64, 2);

    Velum::MultiIndex<3> counts, perFragment, overlap;
    Tensa::PhysicalSpace::point corner;
    Tensa::PhysicalSpace::vector fragmentExtent, cellShift;
    ASSERT_TRUE(Rastrum::getAttributes(*tiled.grid(), counts, corner, perFragment, fragmentExtent, overlap, cellShift));
    EXPECT_EQ(counts, Velum::MultiIndex<3>(3u, 3u, 1u)) << "steps of 62 points";
    EXPECT_EQ(corner, (Tensa::PhysicalSpace::point{477001.0, 4412000.0 - 279.0, 0.0})) << "south-western cell centre";
    EXPECT_EQ(perFragment, Velum::MultiIndex<3>(64u, 64u, 1u));
    EXPECT_EQ(fragmentExtent, (Tensa::PhysicalSpace::vector{126.0, 126.0, 0.0}));
    EXPECT_EQ(overlap, Velum::MultiIndex<3>(2u, 2u, 0u));
    EXPECT_EQ(cellShift, (Tensa::PhysicalSpace::vector{0.0, 0.0, 0.0}));

    // Rows stored south to north keep their order; y still grows northwards.
    georef.transform = {477000.0, 2.0, 0.0, 4411720.0, 0.0, 2.0};
    auto const southUp = rastrum_host::placementOf(georef, 140, "dem.tif");
    EXPECT_FALSE(southUp.northUp);
    EXPECT_EQ(southUp.origin, placement.origin);
    EXPECT_EQ(southUp.spacing, placement.spacing);

    auto const bare = rastrum_host::placementOf({}, 140, "plain.png");
    EXPECT_EQ(bare.origin, (Tensa::PhysicalSpace::point{0.5, 0.5, 0.0})) << "lower-left corner at the origin";

    georef.transform[2] = 0.5;
    EXPECT_THROW(rastrum_host::placementOf(georef, 140, "rotated.tif"), rastrum_host::InputError);
}

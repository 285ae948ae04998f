#include <gtest/gtest.h>

#include <cpl_conv.h>
#include <cpl_vsi.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "cli_support.hpp"
#include "io/raster_reader.hpp"

using namespace cli_testing;

namespace {

class GdalConventions : public testing::Test {
protected:
    void SetUp() override {
        writeRaster(dem, terrain(70, 50));
        reference = run({"sobel", dem, folder / "reference.tif"});
    }
    RasterRead run(std::vector<std::string> arguments) {
        auto const out = arguments[2];
        auto const result = rastrum(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return readRaster(out);
    }
    TempFolder folder;
    std::string const dem = folder / "dem.tif";
    RasterRead reference;
};

// Holes are NaN or the format's nodata.
void expectSameRaster(RasterRead a, RasterRead const& b) {
    EXPECT_TRUE(a.width == b.width && a.height == b.height && a.type == b.type && a.transform == b.transform);
    std::ranges::replace(a.values, a.nodata.value_or(NAN), NAN);
    expectSameValues(a.values, b.values);
}

} // namespace

TEST_F(GdalConventions, VirtualFileSystemsOpenLikeFiles) {
    auto const zip = "/vsizip/" + (folder / "dem.zip") + "/dem.tif";
    for (auto const& name : {zip, std::string("/vsimem/dem.tif")}) {
        ASSERT_EQ(CPLCopyFile(name.c_str(), dem.c_str()), 0) << name;
    }
    expectSameRaster(run({"sobel", zip, folder / "zipped.tif"}), reference);
    // /vsimem/ lives in this process only.
    rastrum_host::HeightReader const memory("/vsimem/dem.tif", {});
    rastrum_host::HeightReader const file(dem, {});
    auto const fromMemory = memory.read(3, 9).heights.values;
    auto const fromFile = file.read(3, 9).heights.values;
    ASSERT_EQ(fromMemory.size(), 70u * 9u);
    EXPECT_TRUE(std::ranges::equal(fromMemory, fromFile, sameValue));
    VSIUnlink("/vsimem/dem.tif");
}

// Standard output gets the file's bytes, in GeoTIFF or the format -of names; a
// file of the staged name in the temporary folder is no obstacle and stays as it was.
TEST_F(GdalConventions, StandardOutputGetsTheResult) {
    std::ofstream(folder / "stdout.tif") << "kept";
    for (auto const& format : {"GTiff", "COG"}) {
        auto const result =
            rastrum({"sobel", dem, "/vsistdout/", "-q", "-of", format}, "TMPDIR='" + folder.path().string() + "' {}");
        ASSERT_EQ(result.status, 0) << result.err;
        std::ofstream(folder / "piped", std::ios::binary) << result.out;
        expectSameRaster(readRaster(folder / "piped"), reference);
    }
    EXPECT_EQ(contents(folder / "stdout.tif"), "kept");
}

TEST_F(GdalConventions, GeoTiffsAreTiledAndCompressedUnlessCreationOptionsSayOtherwise) {
    struct Case {
        std::vector<std::string> options;
        char const* compression;
        int blockWidth;
    };
    for (auto const& c : std::vector<Case>{{{}, "ZSTD", 256},
                                           {{"-co", "COMPRESS=DEFLATE", "-co", "BLOCKXSIZE=32", "-co", "BLOCKYSIZE=32"},
                                            "DEFLATE", 32},
                                           {{"-co", "TILED=NO", "-co", "COMPRESS=NONE"}, nullptr, 70}}) {
        std::vector<std::string> arguments{"sobel", dem, folder / "co.tif", "--overwrite"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        expectSameRaster(run(arguments), reference);
        GDALDatasetH const written = GDALOpen((folder / "co.tif").c_str(), GA_ReadOnly);
        char const* compression = GDALGetMetadataItem(written, "COMPRESSION", "IMAGE_STRUCTURE");
        EXPECT_EQ(compression ? std::string(compression) : "", c.compression ? c.compression : "");
        int width = 0;
        int height = 0;
        GDALGetBlockSize(GDALGetRasterBand(written, 1), &width, &height);
        EXPECT_EQ(width, c.blockWidth);
        GDALClose(written);
    }
    // GDAL ignores what it does not know; gdal_translate says so, and so does rastrum.
    auto const typos = rastrum({"sobel", dem, folder / "typo.tif", "-co", "COMPRESS=DEFLAT", "-co", "COMPRES=LZW",
                                "-co", "NOEQUALS", "-q"});
    EXPECT_EQ(typos.status, 0); // written all the same
    EXPECT_EQ(typos.err, "rastrum: warning: 'DEFLAT' is an unexpected value for COMPRESS creation option of type "
                         "string-select.\nrastrum: warning: driver GTiff does not support creation option COMPRES\n"
                         "rastrum: warning: creation option 'NOEQUALS' is not formatted with the key=value format\n");
}

// The input's AREA_OR_POINT and band metadata carry over; its statistics never
// (they describe the input's values), its unit only where the result is in it.
TEST_F(GdalConventions, ResultsKeepTheInputsMetadataButNotItsStatistics) {
    GDALDatasetH const input = GDALOpen(dem.c_str(), GA_Update);
    GDALSetMetadataItem(input, "AREA_OR_POINT", "Point", nullptr);
    GDALRasterBandH const band = GDALGetRasterBand(input, 1);
    GDALSetMetadataItem(band, "SURVEY", "lidar 2024", nullptr);
    GDALSetMetadataItem(band, "STATISTICS_MEAN", "512.5", nullptr);
    GDALSetRasterUnitType(band, "m");
    GDALClose(input);
    struct Case {
        std::vector<std::string> arguments;
        char const* unit;
    };
    for (auto const& c : std::vector<Case>{{{"smooth", dem}, "m"},
                                           {{"calc", "subtract", dem, dem}, "m"},
                                           {{"calc", "multiply", dem, dem}, ""},
                                           {{"mask", dem}, ""},
                                           {{"slope", dem}, ""}}) {
        auto arguments = c.arguments;
        arguments.insert(arguments.end(), {folder / "meta.tif", "--overwrite", "-q"});
        ASSERT_EQ(rastrum(arguments).status, 0) << arguments[0];
        GDALDatasetH const written = GDALOpen((folder / "meta.tif").c_str(), GA_ReadOnly);
        GDALRasterBandH const result = GDALGetRasterBand(written, 1);
        auto const item = [](GDALMajorObjectH object, char const* key) {
            char const* value = GDALGetMetadataItem(object, key, nullptr);
            return std::string(value ? value : "(none)");
        };
        EXPECT_EQ(item(written, "AREA_OR_POINT"), "Point") << arguments[0];
        EXPECT_EQ(item(result, "SURVEY"), "lidar 2024") << arguments[0];
        EXPECT_EQ(item(result, "STATISTICS_MEAN"), "(none)") << arguments[0];
        EXPECT_EQ(std::string(GDALGetRasterUnitType(result)), c.unit) << arguments[0] << " " << arguments[1];
        GDALClose(written);
    }
    writeRaster(folder / "two.tif", uniform(8, 8, 2, GDT_Float32, 1.0));
    GDALDatasetH const two = GDALOpen((folder / "two.tif").c_str(), GA_Update);
    GDALSetMetadataItem(GDALGetRasterBand(two, 1), "YEAR", "2019", nullptr);
    GDALSetRasterUnitType(GDALGetRasterBand(two, 2), "ft");
    GDALClose(two);
    ASSERT_EQ(rastrum({"smooth", folder / "two.tif", folder / "b2.tif", "-b", "2", "-q"}).status, 0);
    GDALDatasetH const written = GDALOpen((folder / "b2.tif").c_str(), GA_ReadOnly);
    EXPECT_EQ(GDALGetMetadataItem(GDALGetRasterBand(written, 1), "YEAR", nullptr), nullptr);
    EXPECT_STREQ(GDALGetRasterUnitType(GDALGetRasterBand(written, 1)), "ft");
    GDALClose(written);
}

// Heights stored as scaled integers are computed in the units the band declares.
TEST_F(GdalConventions, ScaledIntegerHeightsAreUnscaledFirst) {
    auto stored = terrain(70, 50);
    auto heights = stored;
    stored.type = GDT_Int16;
    for (std::size_t i = 0; i < stored.values.size(); ++i) {
        bool const hole = stored.values[i] == Nodata;
        stored.values[i] = hole ? Nodata : std::round((stored.values[i] - 100.0) * 10.0);
        heights.values[i] = hole ? Nodata : static_cast<float>(stored.values[i] * 0.1 + 100.0);
    }
    writeRaster(folder / "int16.tif", stored);
    GDALDatasetH const scaled = GDALOpen((folder / "int16.tif").c_str(), GA_Update);
    GDALSetRasterScale(GDALGetRasterBand(scaled, 1), 0.1);
    GDALSetRasterOffset(GDALGetRasterBand(scaled, 1), 100.0);
    GDALClose(scaled);
    writeRaster(folder / "float.tif", heights);
    expectSameRaster(run({"smooth", folder / "int16.tif", folder / "from-int16.tif"}),
                     run({"smooth", folder / "float.tif", folder / "from-float.tif"}));
    EXPECT_NE(rastrum({"info", folder / "int16.tif"}).out.find("Scale:       0.1, offset 100 "), std::string::npos);
}

TEST_F(GdalConventions, EveryOfferedFormatGivesTheResultBack) {
    struct Format {
        char const* driver;
        char const* extension;
        GDALDataType maskType; // an ASCII grid has no type: GDAL reads integers back as Int32
        bool holdsFloats = true; // PNG takes masks only
    };
    std::vector<double> firstMask;
    for (auto const& f : std::vector<Format>{{"GTiff", "tif", GDT_Byte}, {"COG", "tif", GDT_Byte},
                                             {"AAIGrid", "asc", GDT_Int32}, {"ENVI", "bil", GDT_Byte},
                                             {"EHdr", "flt", GDT_Byte}, {"HFA", "img", GDT_Byte},
                                             {"GPKG", "gpkg", GDT_Byte}, {"netCDF", "nc", GDT_Byte},
                                             {"PCIDSK", "pix", GDT_Byte}, {"PNG", "png", GDT_Byte, false}}) {
        SCOPED_TRACE(f.driver);
        auto const out = folder / (std::string("out-") + f.driver + "." + f.extension);
        if (f.holdsFloats) {
            auto const read = run({"sobel", dem, out, "-of", f.driver});
            expectSameRaster(read, reference);
            EXPECT_TRUE(sameCrs(read.crsWkt, reference.crsWkt));
        }
        auto const mask = run({"mask", dem, out, "-of", f.driver, "--overwrite"});
        EXPECT_EQ(mask.type, f.maskType);
        EXPECT_TRUE(mask.transform == reference.transform && sameCrs(mask.crsWkt, reference.crsWkt));
        EXPECT_EQ(mask.bands, 1);
        if (firstMask.empty()) {
            firstMask = mask.values;
        }
        EXPECT_EQ(mask.values, firstMask);
    }
}

TEST_F(GdalConventions, ProgressOffATerminalIsGdalsDottedLineAndQuietSilencesIt) {
    auto const shown = rastrum({"smooth", dem, folder / "s.tif", "--fragment-size", "16", "--memory", "1"});
    EXPECT_EQ(shown.err, "0...10...20...30...40...50...60...70...80...90...100 - done.\n");
    auto const quiet = rastrum({"sobel", dem, folder / "q.tif", "-q"});
    EXPECT_EQ(quiet.err, "");
}

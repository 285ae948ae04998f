#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cli_support.hpp"
#include "terrain_fixture.hpp"

using namespace cli_testing;

namespace {

class BadInput : public testing::Test {
protected:
    TempFolder folder;
    std::string dem = folder / "dem.tif";
    std::string out = folder / "out.tif";

    void SetUp() override {
        writeRaster(dem, terrain(40, 30));
        writeRaster(folder / "narrow.tif", terrain(20, 30));
        auto shifted = terrain(40, 30);
        (*shifted.transform)[0] += 2.0;
        writeRaster(folder / "shifted.tif", shifted);
        auto geographic = terrain(40, 30);
        geographic.crsWkt = epsgWkt(4326);
        writeRaster(folder / "geographic.tif", geographic);
        writeRaster(folder / "codes_small.tif", uniform(10, 10, 1, GDT_Byte, 0.0));
        writeRaster(folder / "codes_float.tif", uniform(40, 30, 1, GDT_Float32, 0.0));
        writeRaster(folder / "holes.tif", uniform(40, 30, 1, GDT_Byte, 1.0));
        writeRaster(folder / "flat.tif", uniform(8, 8, 2, GDT_UInt16, 1.0));
        writeRaster(folder / "volume.tif", uniform(8, 8, 3, GDT_UInt16, 1.0));
        writeRaster(folder / "float_volume.tif", uniform(8, 8, 3, GDT_Float32, 1.0));
        std::ofstream(folder / "notes.txt") << "not a raster\n";
        std::ofstream(folder / "taken.tif") << "an earlier result\n";
        std::ofstream(folder / "taken.png") << "an earlier picture\n";
        std::ofstream(folder / "taken.ply") << "an earlier mesh\n";
    }

    // Each case refused with every `mentioned` text in the message, and the
    // folder as it was: no output, no temporary file.
    void expectRefused(std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> const& cases) {
        auto const before = folder.entries();
        for (auto const& [arguments, mentioned] : cases) {
            cli_testing::expectRefused(arguments, mentioned);
            EXPECT_EQ(folder.entries(), before);
        }
    }
};

} // namespace

TEST_F(BadInput, InputFilesThatAreMissingNotRastersOrUnsuitableAreNamed) {
    expectRefused({
        {{"sobel", folder / "missing.tif", out}, {"missing.tif", "no such file"}},
        {{"mask", folder / "notes.txt", out}, {"notes.txt", "not a raster"}},
        {{"info", folder / "notes.txt"}, {"notes.txt", "not a raster"}},
        {{"sobel", dem, out, "-b", "3"}, {"-b 3", "dem.tif", "1 band"}},
        {{"smooth", dem, out, "--cell-types", folder / "codes_small.tif"}, {"--cell-types", "codes_small.tif", "10 x 10"}},
        {{"smooth", dem, out, "--cell-types", folder / "codes_float.tif"}, {"codes_float.tif", "Float32"}},
        {{"mask", dem, out, "--terrain-rgb"}, {"--terrain-rgb", "dem.tif"}},
        {{"iso", folder / "flat.tif", out}, {"flat.tif", "2 band"}},
        {{"iso", folder / "float_volume.tif", out}, {"float_volume.tif", "Float32"}},
    });
}

TEST_F(BadInput, CalcRefusesRastersOfAnotherGridAndUnknownOperations) {
    expectRefused({
        {{"calc", "subtract", dem, folder / "narrow.tif", out}, {"dem.tif", "narrow.tif", "size"}},
        {{"calc", "add", dem, folder / "shifted.tif", out}, {"dem.tif", "shifted.tif", "georeferencing"}},
        {{"calc", "divide", dem, folder / "geographic.tif", out}, {"dem.tif", "geographic.tif", "reference system"}},
        {{"calc", "power", dem, dem, out}, {"power", "subtract"}},
    });
}

TEST_F(BadInput, UnknownCommandsOptionsAndBadNumbersAreNamed) {
    expectRefused({
        {{"frobnicate", dem}, {"frobnicate"}},
        {{}, {"subcommand"}},
        {{"sobel", dem, out, "--bogus"}, {"--bogus"}},
        {{"sobel", dem}, {"output"}},
        {{"sobel", dem, out, "--fragment-size", "abc"}, {"--fragment-size", "abc"}},
        {{"sobel", dem, out, "--fragment-size", "0"}, {"--fragment-size"}},
        {{"sobel", dem, out, "--fragment-size", "64", "--overlap", "64"}, {"--overlap 64", "--fragment-size 64"}},
        {{"sobel", dem, out, "--slope", "90"}, {"--slope"}},
        {{"smooth", dem, out, "--sigma-range", "nan"}, {"--sigma-range", "nan"}},
        {{"smooth", dem, out, "--sigma-spatial", "-1"}, {"--sigma-spatial"}},
        {{"smooth", dem, out, "--window", "0"}, {"--window"}},
        {{"overwrite", dem, out, "--range", "5:1"}, {"--range 5:1"}},
        {{"overwrite", dem, out, "--range", "low:high"}, {"--range low:high"}},
        {{"overwrite", dem, out, "--range", "0:1", "--value", "300"}, {"--value", "300"}},
    });
}

TEST_F(BadInput, OutputsInAnUnknownFormatOrAnUnwritablePlaceLeaveNothingBehind) {
    expectRefused({
        {{"sobel", dem, folder / "out.foo"}, {"out.foo", "-of"}},
        {{"sobel", dem, out, "-of", "Nope"}, {"-of Nope"}},
        {{"sobel", dem, folder / "nowhere/out.tif"}, {"nowhere"}},
        {{"sobel", dem, folder / "taken.tif"}, {"taken.tif", "--overwrite"}},
        // GDAL refuses these only once writing has begun.
        {{"sobel", dem, folder / "out.png"}, {"out.png", "PNG"}},
        {{"iso", folder / "volume.tif", folder / "out.asc"}, {"out.asc", "AAIGrid"}},
        {{"sobel", dem, out, "--preview", folder / "out.jpg"}, {"--preview", "out.jpg", ".png"}},
        {{"sobel", dem, out, "--preview", folder / "taken.png"}, {"taken.png", "--overwrite"}},
        {{"mesh", dem, folder / "surface.stl"}, {"surface.stl", ".ply"}},
        {{"mesh", dem, folder / "taken.ply"}, {"taken.ply", "--overwrite"}},
        // Every cell a hole: no square to triangulate, nor anything to shade.
        {{"mesh", folder / "codes_float.tif", folder / "surface.ply", "--cell-types", folder / "holes.tif"},
         {"codes_float.tif"}},
    });
    EXPECT_EQ(contents(folder / "taken.tif"), "an earlier result\n");

    auto const replaced = rastrum({"sobel", dem, folder / "taken.tif", "--overwrite", "-q"});
    EXPECT_EQ(replaced.status, 0) << replaced.err;
    EXPECT_EQ(readRaster(folder / "taken.tif").width, 40);
}

TEST_F(BadInput, AnUnreadableFileIsNamed) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root reads files whatever their permissions";
    }
    std::filesystem::permissions(dem, std::filesystem::perms::none);
    expectRefused({{{"sobel", dem, out}, {"dem.tif", "cannot be read"}}});
}

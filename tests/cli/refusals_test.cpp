#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "cli_support.hpp"

using namespace cli_testing;

namespace {

struct Refusal {
    std::vector<std::string> arguments;
    std::vector<std::string> said;
    std::string around = "{}"; // shell text around the command, e.g. a resource limit
};

// Every refused command line names what is wrong, exits 2 and leaves the
// folder as it was: no output, no temporary file, no file changed.
class Refusals : public testing::Test {
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
        shifted = terrain(40, 30);
        shifted.crsWkt = epsgWkt(4326);
        writeRaster(folder / "geographic.tif", shifted);
        writeRaster(folder / "codes_small.tif", uniform(10, 10, 1, GDT_Byte, 0.0));
        writeRaster(folder / "codes_float.tif", uniform(40, 30, 1, GDT_Float32, 0.0));
        writeRaster(folder / "holes.tif", uniform(40, 30, 1, GDT_Byte, 1.0));
        auto codes = uniform(40, 30, 1, GDT_Byte, 0.0);
        codes.values[41] = 7.0;
        writeRaster(folder / "code7.tif", codes);
        writeRaster(folder / "flat.tif", uniform(8, 8, 2, GDT_UInt16, 1.0));
        writeRaster(folder / "volume.tif", uniform(8, 8, 3, GDT_UInt16, 1.0));
        writeRaster(folder / "float_volume.tif", uniform(8, 8, 3, GDT_Float32, 1.0));
        writeRaster(folder / "rgb16.tif", uniform(40, 30, 3, GDT_UInt16, 300.0));
        writeRaster(folder / "other.asc", terrain(8, 8), "AAIGrid");
        // One height single precision cannot hold, at column 5 of row 1.
        for (auto const& [name, type, value] : {std::tuple{"uint32.tif", GDT_UInt32, 4000000001.0},
                                                std::tuple{"float64.tif", GDT_Float64, 1e302}}) {
            auto wide = uniform(40, 30, 1, type, 100.0);
            wide.values[45] = value;
            writeRaster(folder / name, wide);
        }
        std::ofstream(folder / "notes.txt") << "not a raster\n";
        for (auto const* name : {"taken.tif", "taken.png", "taken.ply", "run.log", "x.bin", "grad.prj", "g2.hdr"}) {
            std::ofstream(folder / name) << "an earlier file\n";
        }
    }

    std::map<std::string, std::string> snapshot() const {
        std::map<std::string, std::string> files;
        for (auto const& name : folder.entries()) {
            files[name] = std::filesystem::is_regular_file(folder.path() / name) ? contents(folder.path() / name) : "/";
        }
        return files;
    }

    void expectAllRefused(std::vector<Refusal> const& cases) {
        auto const before = snapshot();
        for (auto const& c : cases) {
            SCOPED_TRACE(commandLine(c.arguments));
            expectRefused(c.arguments, c.said, c.around);
            EXPECT_TRUE(snapshot() == before);
        }
    }
};

} // namespace

TEST_F(Refusals, InputsMissingUnreadableNotRastersOrUnsuitable) {
    std::filesystem::copy_file(dem, folder / "locked.tif");
    std::filesystem::permissions(folder / "locked.tif", std::filesystem::perms::none);
    std::vector<Refusal> cases{
        {{"sobel", folder / "missing.tif", out}, {"missing.tif", "no such file"}},
        {{"mask", folder / "notes.txt", out}, {"notes.txt", "not a raster"}},
        {{"info", folder / "notes.txt"}, {"notes.txt", "not a raster"}},
        {{"sobel", "/vsizip/" + folder / "none.zip" + "/x.tif", out}, {"none.zip/x.tif: cannot be opened as a raster"}},
        {{"sobel", "-in.tif", out}, {"-in.tif", "./-in.tif"}},
        {{"sobel", dem, out, "-b", "3"}, {"-b 3", "dem.tif", "1 band"}},
        {{"smooth", dem, out, "--cell-types", folder / "codes_small.tif"}, {"--cell-types", "codes_small.tif", "10 x 10"}},
        {{"smooth", dem, out, "--cell-types", folder / "codes_float.tif"}, {"codes_float.tif", "Float32"}},
        {{"mask", dem, out, "--cell-types", folder / "code7.tif"}, {"cell 1, 1 holds code 7"}},
        {{"mask", dem, out, "--terrain-rgb"}, {"--terrain-rgb", "dem.tif"}},
        {{"sobel", folder / "rgb16.tif", out, "--terrain-rgb"}, {"UInt16"}},
        {{"sobel", dem, out, "--terrain-rgb", "-b", "2"}, {"--terrain-rgb"}},
        {{"sobel", folder / "uint32.tif", out}, {"uint32.tif", "UInt32", "cell 5, 1 holds 4000000001", "exactly"}},
        {{"sobel", folder / "float64.tif", out}, {"float64.tif", "Float64", "cell 5, 1 holds 1e+302", "range"}},
        {{"iso", folder / "flat.tif", out}, {"flat.tif", "2 band"}},
        {{"iso", folder / "float_volume.tif", out}, {"float_volume.tif", "Float32"}},
        {{"calc", "subtract", dem, folder / "narrow.tif", out}, {"dem.tif", "narrow.tif", "size"}},
        {{"calc", "add", dem, folder / "shifted.tif", out}, {"dem.tif", "shifted.tif", "georeferencing"}},
        {{"calc", "divide", dem, folder / "geographic.tif", out}, {"dem.tif", "geographic.tif", "reference system"}},
        // Every cell a hole: no square to triangulate, nor anything to shade.
        {{"mesh", folder / "codes_float.tif", folder / "s.ply", "--cell-types", folder / "holes.tif"}, {"codes_float.tif"}},
    };
    if (::geteuid() != 0) { // root reads files whatever their permissions
        cases.push_back({{"sobel", folder / "locked.tif", out}, {"locked.tif", "cannot be read"}});
    }
    expectAllRefused(cases);
}

TEST_F(Refusals, CommandsOptionsAndNumbersThatWouldGiveWrongResults) {
    expectAllRefused({
        {{"frobnicate", dem}, {"frobnicate"}},
        {{}, {"subcommand"}},
        {{"sobel", dem, out, "--bogus"}, {"--bogus"}},
        {{"sobel", dem}, {"output"}},
        {{"calc", "power", dem, dem, out}, {"power", "subtract"}},
        {{"sobel", dem, out, "--fragment-size", "abc"}, {"--fragment-size", "abc"}},
        {{"sobel", dem, out, "--fragment-size", "0"}, {"--fragment-size"}},
        {{"sobel", dem, out, "--fragment-size", "64", "--overlap", "64"}, {"--overlap 64", "--fragment-size 64"}},
        {{"smooth", dem, out, "--fragment-size", "4"},
         {"--fragment-size 4: not larger than smooth's default --overlap of 4 (window - 1"}},
        {{"sobel", dem, out, "--fragment-size", "8", "--overlap", "0"}, {"--overlap 0", "--allow-seams"}},
        {{"smooth", dem, out, "--window", "7", "--overlap", "4"}, {"--overlap 4", "needs 6"}},
        {{"sobel", dem, out, "--fragment-size", "2", "--overlap", "0"}, {"at least 3"}},
        {{"smooth", dem, out, "--fragment-size", "1", "--overlap", "0"}, {"at least 3"}},
        {{"iso", folder / "volume.tif", out, "--fragment-size", "2", "--overlap", "0"}, {"at least 3"}},
        {{"mesh", dem, folder / "s.ply", "--fragment-size", "1", "--overlap", "0"}, {"at least 2"}},
        {{"sobel", dem, out, "--slope", "90"}, {"--slope"}},
        {{"smooth", dem, out, "--sigma-range", "nan"}, {"--sigma-range", "nan"}},
        {{"smooth", dem, out, "--sigma-spatial", "-1"}, {"--sigma-spatial"}},
        {{"smooth", dem, out, "--sigma-spatial", "1e-160"}, {"underflow"}},
        {{"smooth", dem, out, "--sigma-range", "1e200"}, {"underflow or overflow"}},
        {{"smooth", dem, out, "--window", "0"}, {"--window"}},
        {{"overwrite", dem, out, "--range", "5:1"}, {"--range 5:1"}},
        {{"overwrite", dem, out, "--range", "low:high"}, {"--range low:high"}},
        {{"overwrite", dem, out, "--range", "0:1", "--value", "300"}, {"--value", "300"}},
        {{"overwrite", dem, out, "--range", "0:1", "--value", "5"}, {"--value"}},
        {{"mask", dem, out, "--config", "FOO", "-q"}, {"--config FOO -q", "starting with '-'"}},
    });
}

TEST_F(Refusals, OutputsInAnUnknownFormatATakenOrUnwritablePlaceOrAFullDisk) {
    writeRaster(folder / "big.tif", terrain(400, 300));
    std::string const big = folder / "big.tif";
    std::string const fileSizeLimit = "trap '' XFSZ; ulimit -f 64; {}"; // stands in for a full disk
    std::vector<Refusal> cases{
        {{"sobel", dem, folder / "out.foo"}, {"out.foo", "-of"}},
        {{"sobel", dem, out, "-of", "Nope"}, {"-of Nope"}},
        {{"smooth", dem, out, "-ot", "Int16"}, {"-ot Int16: smooth writes Float32 or Float64"}},
        {{"sobel", dem, folder / "nowhere/out.tif"}, {"nowhere"}},
        {{"sobel", dem, folder / "taken.tif"}, {"taken.tif", "--overwrite"}},
        // GDAL refuses these only once writing has begun.
        {{"sobel", dem, folder / "out.png"}, {"out.png", "PNG format cannot hold Float32"}},
        {{"iso", folder / "volume.tif", folder / "out.asc"}, {"out.asc", "AAIGrid"}},
        {{"sobel", dem, out, "--preview", folder / "out.jpg"}, {"--preview", "out.jpg", ".png"}},
        {{"sobel", dem, out, "--preview", folder / "taken.png"}, {"taken.png", "--overwrite"}},
        {{"mesh", dem, folder / "surface.stl"}, {"surface.stl", ".ply"}},
        {{"mesh", dem, folder / "taken.ply"}, {"taken.ply", "--overwrite"}},
        // Side files are never replaced either.
        {{"mesh", dem, folder / "x.gltf"}, {"x.bin", "--overwrite"}},
        {{"sobel", dem, folder / "grad.asc"}, {"grad.prj", "--overwrite"}},
        {{"mask", dem, folder / "g2.bil", "-of", "ENVI"}, {"g2.hdr", "--overwrite"}},
        {{"smooth", dem, dem, "--overwrite"}, {dem + ": is the input " + dem}},
        {{"calc", "add", dem, folder / "other.asc", folder / "./other.asc", "--overwrite"}, {"./other.asc: is the"}},
        {{"info", dem}, {"standard output", "No space left"}, "{} >/dev/full"},
        {{"sobel", big, out, "-q"}, {out, "File too large"}, fileSizeLimit},
        {{"sobel", big, folder / "out.asc", "-q"}, {folder / "out.asc", "File too large"}, fileSizeLimit},
        // --log never replaces or mixes with a file of the run or another raster.
        {{"sobel", dem, out, "--log", dem}, {"reads or writes"}},
        {{"sobel", dem, out, "--log", out}, {"reads or writes"}},
        {{"sobel", dem, out, "--log", folder / "other.asc"}, {"not a .log"}},
        {{"sobel", dem, out, "--log", folder / "dem.prj"}, {"side file of " + dem}},
        {{"sobel", dem, out, "--log", folder / "nowhere/x.log"}, {"cannot be written"}},
    };
    for (auto const& [driver, name] : std::vector<std::pair<std::string, std::string>>{
             {"VRT", "x.vrt"}, {"JPEG", "x.jpg"}, {"XYZ", "x.xyz"}, {"MEM", "x.mem"}}) {
        cases.push_back({{"sobel", dem, folder / name, "-of", driver}, {"would not give the result back unchanged"}});
    }
#if !defined(__SANITIZE_ADDRESS__) // AddressSanitizer reserves more address space than the limit leaves
    // 6000 x 6000 cells, sparse on disk: a band of whole 6000-point fragments needs more than 700 MB.
    std::filesystem::create_directory(folder / "huge"); // kept out of the folder's snapshot
    GDALClose(GDALCreate(GDALGetDriverByName("GTiff"), (folder / "huge/in.tif").c_str(), 6000, 6000, 1, GDT_Float32,
                         nullptr));
    cases.push_back({{"sobel", folder / "huge/in.tif", out, "-q", "--fragment-size", "6000"},
                     {"need about 1545 MB of memory"}, "ulimit -v 700000; {}"});
#endif
    expectAllRefused(cases);

    auto const replaced = rastrum({"sobel", dem, folder / "taken.tif", "--overwrite", "-q"});
    EXPECT_EQ(replaced.status, 0) << replaced.err;
    EXPECT_EQ(readRaster(folder / "taken.tif").width, 40);
}

// One absurd or missing height at a data cell would put every other vertex
// of a mesh out of reach.
TEST_F(Refusals, MeshOfExtremeOrMissingDataHeights) {
    auto raster = uniform(8, 6, 1, GDT_Float32, 1501.0);
    raster.values[9] = std::numeric_limits<float>::lowest();
    writeRaster(folder / "lowest.tif", raster);
    raster.values[9] = -HUGE_VAL;
    writeRaster(folder / "infinite.tif", raster);
    raster.values[9] = Nodata;
    raster.nodata = Nodata;
    writeRaster(folder / "nodata.tif", raster);
    writeRaster(folder / "all_data.tif", uniform(8, 6, 1, GDT_Byte, 0.0));
    for (std::size_t i = 0; i < raster.values.size(); ++i) {
        raster.values[i] = (i + i / 8) % 2 == 0 ? 1501.0 : Nodata; // a checkerboard of holes
    }
    writeRaster(folder / "checkerboard.tif", raster);
    std::string const ply = folder / "s.ply";
    expectAllRefused({
        {{"mesh", folder / "lowest.tif", ply}, {"column 1, row 1 has the height -3.40282347e+38"}},
        {{"mesh", folder / "infinite.tif", ply}, {"has the height -inf"}},
        {{"mesh", folder / "nodata.tif", ply, "--cell-types", folder / "all_data.tif"}, {"has no height"}},
        {{"mesh", folder / "lowest.tif", ply, "--max-error", "1"}, {"undeclared nodata"}},
        {{"mesh", folder / "checkerboard.tif", ply, "--max-error", "0.3"}, {"no triangle of data cells"}},
    });
}

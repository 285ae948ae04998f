#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Rastrum.hpp"
#include "Tensa/MultiRange.hpp"
#include "cli_support.hpp"
#include "support/capture.hpp"
#include "support/grids.hpp"

using namespace cli_testing;
using testing_support::Index;
using FieldPtr = Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>;

namespace {

// The grid of a raster as the library expects it, built here rather than by
// the host: x east, y north (file rows reversed), "Height" as float with NaN
// at nodata and "CellType" 1 there.
Velum::UniformGridBuilder directGrid(RasterOnDisk const& raster, std::uint64_t fragment) {
    auto const& t = *raster.transform;
    auto const w = static_cast<std::uint64_t>(raster.width);
    auto const h = static_cast<std::uint64_t>(raster.height);
    Velum::UniformGridBuilder builder({.points = {w, h, 1u},
                                       .pointsPerFragment = {fragment, fragment, 1u},
                                       .overlap = {},
                                       .origin = {t[0] + t[1] / 2, t[3] + (static_cast<double>(h) - 0.5) * t[5], 0.0},
                                       .spacing = {t[1], -t[5], 1.0}});
    auto const valueAt = [&](Index const& p) { return raster.values[p[0] + w * (h - 1 - p[1])]; };
    builder.addField<float>("Height", [&](Index const& p) {
        return valueAt(p) == Nodata ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(valueAt(p));
    });
    builder.addField<unsigned char>("CellType", [&](Index const& p) { return static_cast<unsigned char>(valueAt(p) == Nodata); });
    return builder;
}

// A field of a library grid in file order (rows reversed in every layer), as
// doubles; NaN wherever `holes` (if given) is nodata.
template <class T>
std::vector<double> inFileOrder(Velum::UniformGridBuilder const& builder, char const* name, T missing,
                                RasterOnDisk const* holes = nullptr) {
    auto const values = testing_support::gather<T>(builder, *FieldPtr((*builder.grid())(name)), missing);
    Index const size = Lumen::StrongPtr<Velum::UniformCartesianArray>(builder.positions()->getData())->Size();
    std::vector<double> file(values.size());
    Index p;
    do {
        auto const i = p[0] + size[0] * ((size[1] - 1 - p[1]) + size[1] * p[2]);
        file[i] = holes && holes->values[i] == Nodata ? NAN : static_cast<double>(values[p.linear(size)]);
    } while (p.inc(size));
    return file;
}

class Subcommands : public testing::Test {
protected:
    TempFolder folder;
    RasterOnDisk raster = terrain(40, 30);
    std::string input = folder / "dem.tif";
    std::string out = folder / "out.tif";

    void SetUp() override { writeRaster(input, raster); }

    // Runs a subcommand into `out`, expects the input's georeferencing and
    // `type` there, and reads the result back.
    RasterRead run(std::vector<std::string> arguments, GDALDataType type = GDT_Float32) {
        arguments.insert(arguments.end(), {"-q", "--overwrite"});
        auto const result = rastrum(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        auto read = readRaster(out);
        EXPECT_EQ(read.type, type);
        EXPECT_EQ(read.transform, TestTransform);
        EXPECT_TRUE(sameCrs(read.crsWkt, utmWkt()));
        return read;
    }
};

} // namespace

TEST_F(Subcommands, MaskSobelSmoothAndOverwriteEqualTheLibraryOnTheSameFragments) {
    testing_support::ConsoleCapture const console;
    for (std::uint64_t const fragment : {256u, 16u}) {
        SCOPED_TRACE("fragment size " + std::to_string(fragment));
        auto const grid = directGrid(raster, fragment);
        auto bundle = Velum::BundlePtr::create();
        (*bundle)[0.0]->setGrid("dem", grid.grid());
        std::string height = "Height";
        ASSERT_EQ(Rastrum::binaryOperator(bundle, "CellType", nullptr, "", 0.0), "");
        ASSERT_EQ(Rastrum::sobelOperator(bundle, height, nullptr, "", 0.0, 30.0, "CellType"), "");
        ASSERT_EQ(Rastrum::bilateralSmoothing(*grid.grid(), "Height", "S", 5, 1.5, 3.0, 0, false, nullptr), "");
        ASSERT_EQ(Rastrum::bilateralSmoothing(*grid.grid(), "Height", "G", 5, 1.5, 3.0, 0, true, nullptr), "");

        std::vector<std::string> const tiling{"--fragment-size", std::to_string(fragment), "--overlap", "0",
                                               "--allow-seams"};
        auto with = [&](std::vector<std::string> arguments) {
            arguments.insert(arguments.end(), tiling.begin(), tiling.end());
            return arguments;
        };
        auto const mask = run(with({"mask", input, out}), GDT_Byte);
        EXPECT_FALSE(mask.nodata) << "the mask's zeros are its holes";
        expectSameValues(mask.values, inFileOrder(grid, "Binary", -1.0f), "mask");
        auto const sobel = run(with({"sobel", input, out, "--slope", "30", "--keep-partial"}));
        ASSERT_TRUE(sobel.nodata && std::isnan(*sobel.nodata));
        expectSameValues(sobel.values, inFileOrder(grid, "Height_Sobel", -1.0f, &raster), "sobel");
        auto smooth = with({"smooth", input, out, "--window", "5", "--sigma-spatial", "1.5", "--sigma-range", "3",
                            "--keep-partial"});
        auto const bilateral = run(smooth);
        ASSERT_TRUE(bilateral.nodata && std::isnan(*bilateral.nodata));
        expectSameValues(bilateral.values, inFileOrder(grid, "S", -1.0f, &raster), "bilateral");
        smooth.push_back("--gaussian");
        expectSameValues(run(smooth).values, inFileOrder(grid, "G", -1.0f, &raster), "gaussian");

        // Last, as it writes into the codes the others read; inverted on the second pass.
        bool const invert = fragment == 16;
        Tensa::MultiRange<double> range;
        range.add(1490.0, 1500.0);
        range.add(1510.0, 1515.0);
        testing::internal::CaptureStdout();
        ASSERT_TRUE(Rastrum::overwriteFieldValuesViaOtherField(grid.grid(), invert, "Height", range, "CellType", 3));
        testing::internal::GetCapturedStdout();
        auto overwrite = with({"overwrite", input, out, "--range", "1490:1500", "--range", "1510:1515", "--value", "3"});
        if (invert) {
            overwrite.insert(overwrite.end(), {"--invert", "--include-holes"});
        }
        auto const codes = run(overwrite, GDT_Byte);
        EXPECT_FALSE(codes.nodata);
        expectSameValues(codes.values, inFileOrder<unsigned char>(grid, "CellType", 99), "overwrite");
    }
}

// The second survey differs only in the southern rows and has an extra gap:
// with fragments of 16, the northern fragments subtract to nothing, which the
// library drops; their data cells must still read 0, not holes.
TEST_F(Subcommands, CalcIsTheCellwiseArithmeticAlsoInDroppedFragments) {
    auto second = raster;
    for (int row = 0; row < raster.height; ++row) {
        for (int x = 0; x < raster.width; ++x) {
            auto& value = second.values[static_cast<std::size_t>(x + raster.width * row)];
            value = x == 30 ? Nodata : value == Nodata ? value : static_cast<float>(value + (row >= 14 ? 0.25 * x : 0.0));
        }
    }
    writeRaster(folder / "second.tif", second);
    char const* names[] = {"subtract", "add", "divide", "multiply"};
    for (int op = 0; op < 4; ++op) {
        auto const result = run({"calc", names[op], input, folder / "second.tif", out, "--fragment-size", "16"});
        std::vector<double> expected;
        for (std::size_t i = 0; i < raster.values.size(); ++i) {
            auto const a = static_cast<float>(raster.values[i]);
            auto const b = static_cast<float>(second.values[i]);
            bool const hole = raster.values[i] == Nodata || second.values[i] == Nodata;
            expected.push_back(hole ? NAN : op == 0 ? a - b : op == 1 ? a + b : op == 2 ? a / b : a * b);
        }
        expectSameValues(result.values, expected, names[op]);
    }
}

TEST_F(Subcommands, CalcReadsEachRasterWithItsOwnOptions) {
    auto layered = terrain(40, 30);
    layered.bands = 2;
    layered.nodata.reset();
    for (std::size_t i = 0; i < 40 * 30; ++i) {
        layered.values.push_back(layered.values[i] - 1.0);
    }
    writeRaster(folder / "layered.tif", layered);
    auto codes = uniform(40, 30, 1, GDT_Byte, 0.0);
    codes.values[3] = 2.0;
    writeRaster(folder / "codes.tif", codes);
    auto const difference = run({"calc", "subtract", input, folder / "layered.tif", out, "--second-band", "2",
                                 "--second-cell-types", folder / "codes.tif"});
    for (std::size_t i = 0; i < raster.values.size(); ++i) {
        EXPECT_TRUE(sameValue(difference.values[i], raster.values[i] == Nodata || i == 3 ? NAN : 1.0)) << i;
    }
}

TEST_F(Subcommands, SmoothingSigmasAtTheLimitsKeepTheHeights) {
    // Only the centre weighs: a tiny spatial sigma, or a tiny range sigma
    // where no neighbour has the centre's very height.
    for (auto const* sigma : {"--sigma-spatial", "--sigma-range"}) {
        auto const smoothed = run({"smooth", input, out, sigma, "1e-150", "--keep-partial"});
        for (std::size_t i = 0; i < raster.values.size(); ++i) {
            bool const hole = raster.values[i] == Nodata;
            EXPECT_EQ(std::isnan(smoothed.values[i]), hole) << sigma << i;
            EXPECT_NEAR(hole ? 0.0 : smoothed.values[i] - raster.values[i], 0.0, 2e-4) << sigma << i;
        }
    }
}

TEST_F(Subcommands, IsoDensityEqualsTheLibraryLayerByLayer) {
    auto volume = uniform(20, 16, 4, GDT_UInt16, 0.0);
    volume.transform = TestTransform;
    volume.crsWkt = utmWkt();
    for (std::size_t i = 0; i < volume.values.size(); ++i) {
        volume.values[i] = i % 37 == 0 || i % 53 == 0 ? 3.0 : 0.0;
    }
    writeRaster(folder / "markers.tif", volume);
    for (std::uint64_t const fragment : {64u, 8u}) {
        Velum::UniformGridBuilder grid(testing_support::layoutOf({20u, 16u, 4u}, {fragment, fragment, 4u}));
        grid.addField<unsigned short>("Markers", [&](Index const& p) {
            return static_cast<unsigned short>(volume.values[p[0] + 20 * ((15 - p[1]) + 16 * p[2])]);
        });
        auto bundle = Velum::BundlePtr::create();
        (*bundle)[0.0]->setGrid("v", grid.grid());
        std::string name = "Markers";
        ASSERT_EQ(Rastrum::gausSmoothingUniform3D(bundle, name, nullptr), "");
        auto const density = run({"iso", folder / "markers.tif", out, "--fragment-size", std::to_string(fragment),
                                  "--overlap", "0", "--allow-seams"});
        EXPECT_EQ(density.bands, 4);
        expectSameValues(density.values, inFileOrder(grid, "Markers_Iso", -1.0f), "fragment " + std::to_string(fragment));
    }
}

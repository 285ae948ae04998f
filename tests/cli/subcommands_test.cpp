#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "Rastrum.hpp"
#include "Tensa/MultiRange.hpp"
#include "cli_support.hpp"
#include "support/capture.hpp"
#include "terrain_fixture.hpp"

using namespace cli_testing;
using FieldPtr = Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>;

namespace {

class Subcommands : public testing::Test {
protected:
    TempFolder folder;
    RasterOnDisk raster = terrain(40, 30);
    std::string input = folder / "dem.tif";

    void SetUp() override { writeRaster(input, raster); }

    // Runs a subcommand that writes `output` and reads the result back.
    RasterRead run(std::vector<std::string> arguments, std::string const& output) {
        arguments.push_back("-q");
        auto const result = rastrum(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return readRaster(folder / output);
    }
};

void expectGeoreferenceKept(RasterRead const& out) {
    EXPECT_TRUE(out.hasTransform);
    EXPECT_EQ(out.transform, TestTransform);
    EXPECT_TRUE(sameCrs(out.crsWkt, utmWkt()));
}

void expectSameValues(std::vector<double> const& actual, std::vector<double> const& expected, std::string const& what) {
    ASSERT_EQ(actual.size(), expected.size()) << what;
    int mismatches = 0;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        if (!sameValue(actual[i], expected[i]) && ++mismatches <= 3) {
            ADD_FAILURE() << what << ": cell " << i << " is " << actual[i] << ", expected " << expected[i];
        }
    }
    EXPECT_EQ(mismatches, 0) << what;
}

// NaN wherever the input is nodata.
std::vector<double> withHoles(std::vector<double> values, RasterOnDisk const& raster) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = raster.values[i] == Nodata ? std::nan("") : values[i];
    }
    return values;
}

} // namespace

TEST_F(Subcommands, MaskSobelAndSmoothEqualTheLibraryOnTheSameFragments) {
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
        auto const field = [&](char const* name) { return FieldPtr((*grid.grid())(name)); };

        std::vector<std::string> const tiling{"--fragment-size", std::to_string(fragment), "--overlap", "0",
                                               "--allow-seams"};
        auto with = [&](std::vector<std::string> arguments) {
            arguments.insert(arguments.end(), tiling.begin(), tiling.end());
            return arguments;
        };
        auto const mask = run(with({"mask", input, folder / "mask.tif", "--overwrite"}), "mask.tif");
        auto const sobel = run(with({"sobel", input, folder / "sobel.tif", "--slope", "30", "--keep-partial",
                                    "--overwrite"}),
                               "sobel.tif");
        std::vector<std::string> const smoothing{"--window", "5", "--sigma-spatial", "1.5", "--sigma-range", "3",
                                                 "--keep-partial", "--overwrite"};
        auto smoothArgs = with({"smooth", input, folder / "s.tif"});
        smoothArgs.insert(smoothArgs.end(), smoothing.begin(), smoothing.end());
        auto const bilateral = run(smoothArgs, "s.tif");
        smoothArgs.push_back("--gaussian");
        auto const gaussian = run(smoothArgs, "s.tif");

        expectSameValues(mask.values, inFileOrder(grid, *field("Binary"), -1.0f), "mask");
        expectSameValues(sobel.values, withHoles(inFileOrder(grid, *field("Height_Sobel"), -1.0f), raster), "sobel");
        expectSameValues(bilateral.values, withHoles(inFileOrder(grid, *field("S"), -1.0f), raster), "bilateral");
        expectSameValues(gaussian.values, withHoles(inFileOrder(grid, *field("G"), -1.0f), raster), "gaussian");
        for (auto const* out : {&mask, &sobel, &bilateral, &gaussian}) {
            expectGeoreferenceKept(*out);
            EXPECT_EQ(out->type, out == &mask ? GDT_Byte : GDT_Float32);
        }
        EXPECT_FALSE(mask.nodata) << "the mask's zeros are its holes";
        ASSERT_TRUE(sobel.nodata && bilateral.nodata);
        EXPECT_TRUE(std::isnan(*sobel.nodata) && std::isnan(*bilateral.nodata));
    }
}

TEST_F(Subcommands, CalcMatchesTheArithmeticAndTheLibraryAndIsZeroInADroppedFragment) {
    // The second survey differs only in the southern rows and has an extra gap:
    // with fragments of 16, the northern fragments subtract to 0 and are dropped.
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
        auto const out = run({"calc", names[op], input, folder / "second.tif", folder / "c.tif", "--fragment-size",
                              "16", "--overwrite"},
                             "c.tif");
        expectGeoreferenceKept(out);
        std::vector<double> expected;
        for (std::size_t i = 0; i < raster.values.size(); ++i) {
            auto const a = static_cast<float>(raster.values[i]);
            auto const b = static_cast<float>(second.values[i]);
            bool const hole = raster.values[i] == Nodata || second.values[i] == Nodata;
            expected.push_back(hole      ? std::nan("")
                               : op == 0 ? a - b
                               : op == 1 ? a + b
                               : op == 2 ? a / b
                                         : a * b);
        }
        expectSameValues(out.values, expected, names[op]);
    }

    auto const first = directGrid(raster, 16);
    auto const later = directGrid(second, 16);
    Velum::Grid result;
    bool hasData = false;
    ASSERT_EQ(Rastrum::rasterOperator(*first.grid(), *later.grid(), result, "Height", "Height", {}, hasData, nullptr),
              "");
    auto const library = inFileOrder(first, *FieldPtr(result("Height")), 0.0f);
    auto const out = run({"calc", "subtract", input, folder / "second.tif", folder / "c.tif", "--fragment-size", "16",
                          "--overwrite"},
                         "c.tif");
    std::size_t droppedDataCells = 0;
    for (std::size_t i = 0; i < library.size(); ++i) {
        if (!std::isnan(out.values[i])) {
            EXPECT_EQ(out.values[i], library[i]) << "cell " << i;
            droppedDataCells += i < 14 * 40 && out.values[i] == 0.0 ? 1u : 0u;
        }
    }
    EXPECT_GT(droppedDataCells, 200u) << "the dropped fragments' data cells are 0, not holes";
}

TEST_F(Subcommands, OverwriteWritesIntoTheCodesLikeTheLibrary) {
    for (bool const invert : {false, true}) {
        auto const grid = directGrid(raster, 16);
        Tensa::MultiRange<double> range;
        range.add(1490.0, 1500.0);
        range.add(1510.0, 1515.0);
        testing::internal::CaptureStdout();
        ASSERT_TRUE(Rastrum::overwriteFieldValuesViaOtherField(grid.grid(), invert, "Height", range, "CellType", 3));
        testing::internal::GetCapturedStdout();

        std::vector<std::string> arguments{"overwrite", input, folder / "codes.tif", "--range", "1490:1500",
                                           "--range", "1510:1515", "--value", "3", "--fragment-size", "16",
                                           "--overwrite"};
        if (invert) {
            arguments.insert(arguments.end(), {"--invert", "--include-holes"});
        }
        auto const out = run(arguments, "codes.tif");
        EXPECT_EQ(out.type, GDT_Byte);
        EXPECT_FALSE(out.nodata);
        expectGeoreferenceKept(out);
        expectSameValues(out.values, inFileOrder<unsigned char>(grid, *FieldPtr((*grid.grid())("CellType")), 99),
                         invert ? "inverted" : "inside");
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
        Velum::UniformGridBuilder grid({.points = {20u, 16u, 4u},
                                        .pointsPerFragment = {fragment, fragment, 4u},
                                        .overlap = {},
                                        .origin = {},
                                        .spacing = {1.0, 1.0, 1.0}});
        grid.addField<unsigned short>("Markers", [&](testing_support::Index const& p) {
            return static_cast<unsigned short>(volume.values[p[0] + 20 * ((15 - p[1]) + 16 * p[2])]);
        });
        auto bundle = Velum::BundlePtr::create();
        (*bundle)[0.0]->setGrid("v", grid.grid());
        std::string name = "Markers";
        ASSERT_EQ(Rastrum::gausSmoothingUniform3D(bundle, name, nullptr), "");

        auto const out = run({"iso", folder / "markers.tif", folder / "iso.tif", "--fragment-size",
                              std::to_string(fragment), "--overlap", "0", "--allow-seams", "--overwrite"},
                             "iso.tif");
        EXPECT_EQ(out.bands, 4);
        EXPECT_EQ(out.type, GDT_Float32);
        expectGeoreferenceKept(out);
        expectSameValues(out.values, inFileOrder(grid, *FieldPtr((*grid.grid())("Markers_Iso")), -1.0f),
                         "fragment " + std::to_string(fragment));
    }
}

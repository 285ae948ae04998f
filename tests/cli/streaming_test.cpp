#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "cli_support.hpp"
#include "io/raster_writer.hpp"
#include "streaming/streamed_operations.hpp"

using namespace cli_testing;
using namespace rastrum_host;

namespace {

using Whole = std::function<Raster<float>(HeightInput const&, HeightInput const&, Tiling const&)>;
using Streamed = std::function<void(HeightReader const&, HeightReader const&, BandWriter&, Tiling const&,
                                    StreamSettings const&)>;
struct Operation {
    std::string name;
    GDALDataType type;
    Whole whole;
    Streamed streamed;
};

SmoothOptions const bilateral{.gaussian = false, .window = 7, .sigmaSpatial = 1.5, .sigmaRange = 3.0};
OverwriteOptions const below{.ranges = {{-1e9, 1510.0}}, .invert = false, .value = 2};
OutputOptions const replacing{.format = "", .overwrite = true, .creationOptions = {}, .nodata = {}};

std::vector<Operation> operations() {
    return {
        {"mask", GDT_Byte, [](auto const& a, auto const&, auto const& t) { return runMask(a, t, {}); },
         [](auto const& a, auto const&, auto& w, auto const& t, auto const& s) { streamMask(a, w, t, s, {}); }},
        {"smooth", GDT_Float32, [](auto const& a, auto const&, auto const& t) { return runSmooth(a, bilateral, t, {}); },
         [](auto const& a, auto const&, auto& w, auto const& t, auto const& s) { streamSmooth(a, w, bilateral, t, s, {}); }},
        {"sobel", GDT_Float32, [](auto const& a, auto const&, auto const& t) { return runSobel(a, 30.0, t, {}); },
         [](auto const& a, auto const&, auto& w, auto const& t, auto const& s) {
             streamSobel(a, w, 30.0, false, t, s, {});
         }},
        {"slope", GDT_Float32, [](auto const& a, auto const&, auto const& t) { return runSlope(a, {}, t, {}); },
         [](auto const& a, auto const&, auto& w, auto const& t, auto const& s) { streamSlope(a, w, {}, t, s, {}); }},
        {"calc", GDT_Float32,
         [](auto const& a, auto const& b, auto const& t) { return runCalc(Rastrum::Operandi::Subtract, a, b, t, {}); },
         [](auto const& a, auto const& b, auto& w, auto const& t, auto const& s) {
             streamCalc(Rastrum::Operandi::Subtract, a, b, w, t, s, {});
         }},
        {"overwrite", GDT_Byte,
         [](auto const& a, auto const&, auto const& t) {
             auto const codes = runOverwrite(a, below, t, {});
             return Raster<float>{codes.width, codes.height, 1, {codes.values.begin(), codes.values.end()}};
         },
         [](auto const& a, auto const&, auto& w, auto const& t, auto const& s) { streamOverwrite(a, w, below, t, s, {}); }},
    };
}

// Every operation on `first` (and `second` for calc), streamed in bands of
// one fragment row and in one band larger than the raster, against its run
// on the whole raster.
void expectStreamingEqualsWhole(std::string const& first, std::string const& second, TempFolder const& folder) {
    HeightReader const a(first, {});
    HeightReader const b(second, {});
    auto const wholeA = a.read(0, a.height());
    auto const wholeB = b.read(0, b.height());
    for (auto const& operation : operations()) {
        for (std::uint64_t const fragment : {9u, 48u}) {
            Tiling const tiling{.fragmentSize = fragment, .overlap = {}, .allowSeams = false, .band = {}};
            auto const whole = operation.whole(wholeA, wholeB, tiling);
            for (std::uint64_t const memory : {std::uint64_t{1}, std::uint64_t{1} << 40}) {
                SCOPED_TRACE(operation.name + ", fragment " + std::to_string(fragment) + ", memory " +
                             std::to_string(memory));
                auto const out = folder / "streamed.tif";
                auto const nodata = operation.type == GDT_Float32 ? std::optional(std::nan("")) : std::nullopt;
                BandWriter writer(out, replacing, resultLayout(a, operation.type, nodata));
                operation.streamed(a, b, writer, tiling, {.memoryBytes = memory});
                writer.commit();
                auto const streamed = readRaster(out);
                EXPECT_EQ(streamed.type, operation.type);
                expectSameValues(streamed.values, {whole.values.begin(), whole.values.end()});
            }
        }
    }
}

} // namespace

// On generated terrain and on each elevation sample, calc taking the sample
// and its own smoothing, a second raster of the same grid.
TEST(Streaming, EveryOperationEqualsTheWholeRasterRun) {
    TempFolder folder;
    writeRaster(folder / "a.tif", terrain(131, 97));
    writeRaster(folder / "b.tif", terrain(131, 97, 0.4));
    expectStreamingEqualsWhole(folder / "a.tif", folder / "b.tif", folder);
    // Degrees of longitude shrink northward: slope's scale is the whole raster's, whatever the band.
    auto geographic = terrain(131, 97);
    geographic.transform = std::array{-105.3, 1e-4, 0.0, 40.1, 0.0, -1e-4};
    geographic.crsWkt = epsgWkt(4326);
    writeRaster(folder / "g.tif", geographic);
    expectStreamingEqualsWhole(folder / "g.tif", folder / "g.tif", folder);
    for (auto const& sample : elevationSamples()) {
        SCOPED_TRACE(sample);
        auto const smoothed = folder / "smoothed.tif";
        HeightReader const reader(sample, {});
        rastrum_host::writeRaster(smoothed, runSmooth(reader.read(0, reader.height()), bilateral, {}, {}),
                                  reader.georef(), replacing, std::nan(""));
        expectStreamingEqualsWhole(sample, smoothed, folder);
    }
}

TEST(Streaming, IsoEqualsTheWholeVolumeRun) {
    TempFolder folder;
    auto volume = uniform(37, 41, 4, GDT_UInt16, 0.0);
    for (std::size_t i = 0; i < volume.values.size(); ++i) {
        // Markers denser to the south, so that each fragment has a peak of its own.
        volume.values[i] = (i * 7919) % 41 < (i / 37) % 41 ? 1.0 : 0.0;
    }
    volume.transform = TestTransform;
    writeRaster(folder / "markers.tif", volume);
    MarkerReader const reader(folder / "markers.tif");
    Tiling const tiling{.fragmentSize = 12, .overlap = 10, .allowSeams = false, .band = {}};
    auto const whole = runIso(reader.read(0, reader.height()), tiling, {});
    for (std::uint64_t const memory : {std::uint64_t{1}, std::uint64_t{1} << 40}) {
        auto const out = folder / "iso.tif";
        BandWriter writer(out, replacing, {.width = 37, .height = 41, .bands = 4, .type = GDT_Float32,
                                    .georef = reader.georef(), .holeNodata = std::nan(""), .metadataFrom = nullptr});
        streamIso(reader, writer, tiling, {.memoryBytes = memory}, {});
        writer.commit();
        expectSameValues(readRaster(out).values, {whole.values.begin(), whole.values.end()});
    }
}

// Heights finer than single precision resolves at their magnitude come out of
// smoothing and arithmetic as Float64, streamed in bands of one fragment row,
// equal to the double run on the whole raster; -ot Float32 narrows them.
TEST(Streaming, Float64HeightsStayFloat64) {
    TempFolder folder;
    auto fine = terrain(53, 41);
    fine.type = GDT_Float64;
    for (std::size_t i = 0; i < fine.values.size(); ++i) {
        fine.values[i] += fine.values[i] == Nodata ? 0.0 : 1e6 + 1e-3 * static_cast<double>(i % 7);
    }
    writeRaster(folder / "fine.tif", fine);
    writeRaster(folder / "tilted.tif", terrain(53, 41, 0.4));
    HeightReader const reader(folder / "fine.tif", {});
    auto const heights = reader.read<double>(0, reader.height());
    auto const tilted = HeightReader(folder / "tilted.tif", {}).read<double>(0, reader.height());
    Tiling const tiling{.fragmentSize = 16, .overlap = {}, .allowSeams = false, .band = {}};
    auto const out = folder / "out.tif";
    std::vector<std::string> const streamed{"--fragment-size", "16", "--memory", "1", "-q", "--overwrite"};
    auto const expectRun = [&](std::vector<std::string> arguments, GDALDataType type, auto const& expected) {
        SCOPED_TRACE(commandLine(arguments));
        arguments.insert(arguments.end(), streamed.begin(), streamed.end());
        auto const run = rastrum(arguments);
        ASSERT_EQ(run.status, 0) << run.err;
        auto const result = readRaster(out);
        EXPECT_EQ(result.type, type);
        expectSameValues(result.values, {expected.values.begin(), expected.values.end()});
    };
    expectRun({"smooth", folder / "fine.tif", out}, GDT_Float64, runSmooth(heights, SmoothOptions{}, tiling, {}));
    expectRun({"calc", "subtract", folder / "fine.tif", folder / "tilted.tif", out}, GDT_Float64,
              runCalc(Rastrum::Operandi::Subtract, heights, tilted, tiling, {}));
    expectRun({"smooth", folder / "fine.tif", out, "-ot", "Float32"}, GDT_Float32,
              runSmooth(reader.read(0, reader.height()), SmoothOptions{}, tiling, {}));
}

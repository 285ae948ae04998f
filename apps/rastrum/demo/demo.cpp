#include "demo/demo.hpp"

#include <cpl_conv.h>
#include <ogr_srs_api.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "io/atomic_output.hpp"
#include "commands/commands.hpp"
#include "demo/demo_terrain.hpp"
#include "core/errors.hpp"
#include "io/gdal_dataset.hpp"
#include "io/raster_writer.hpp"

namespace rastrum_host {
namespace fs = std::filesystem;

namespace {

// The demo terrain lies in UTM zone 13 north.
int constexpr DemoEpsg = 32613;
std::uint32_t constexpr MarkerLayers = 4;
float constexpr MarkerLayerThickness = 0.5f;

Georeference demoGeoreference(DemoTerrain const& terrain) {
    Georeference georef;
    georef.transform = {terrain.originX, terrain.spacing, 0.0, terrain.originY, 0.0, -terrain.spacing};
    georef.hasTransform = true;
    useGdal();
    OGRSpatialReferenceH const srs = OSRNewSpatialReference(nullptr);
    char* wkt = nullptr;
    // Without the projection database the rasters are still placed, only unnamed.
    if (OSRImportFromEPSG(srs, DemoEpsg) == OGRERR_NONE && OSRExportToWkt(srs, &wkt) == OGRERR_NONE) {
        georef.crsWkt = wkt;
    }
    CPLFree(wkt);
    OSRDestroySpatialReference(srs);
    return georef;
}

Raster<float> surveyRaster(DemoTerrain const& terrain, std::vector<float> const& heights) {
    Raster<float> raster{terrain.width, terrain.height, 1, heights};
    for (std::size_t i = 0; i < raster.values.size(); ++i) {
        if (terrain.holes[i] != 0) {
            raster.values[i] = std::numeric_limits<float>::quiet_NaN();
        }
    }
    return raster;
}

struct Step {
    std::string operation;
    std::string output;
    std::uint64_t cells;
    std::optional<std::uint64_t> fragments; // none for work over the whole raster
    std::uint64_t holes;
    double seconds;
};

std::string summaryTable(DemoOptions const& options, std::vector<Step> const& steps) {
    std::ostringstream table;
    table << "# Rastrum demo\n\n"
          << "Terrain " << options.width << " x " << options.height << " points (seed " << options.seed
          << "), fragments of up to " << options.fragmentSize << " x " << options.fragmentSize
          << " points with each operation's default overlap.\n\n"
          << "| Operation | Output | Cells | Fragments | Holes | Seconds |\n"
          << "|---|---|---:|---:|---:|---:|\n";
    for (auto const& step : steps) {
        std::array<char, 32> seconds{};
        std::snprintf(seconds.data(), seconds.size(), "%.3f", step.seconds);
        table << "| " << step.operation << " | " << step.output << " | " << step.cells << " | "
              << (step.fragments ? std::to_string(*step.fragments) : "-") << " | " << step.holes << " | "
              << seconds.data() << " |\n";
    }
    return table.str();
}

void writeText(fs::path const& path, std::string const& text, bool overwrite) {
    AtomicOutput output(path, overwrite);
    std::ofstream file(output.tmpPath());
    file << text;
    file.close();
    if (!file) {
        throw InputError(path.string() + ": cannot be written");
    }
    output.commit();
}

} // namespace

void runDemo(DemoOptions const& options, RunContext const& context, std::ostream& out) {
    fs::path const folder(options.folder);
    std::error_code error;
    fs::create_directories(folder, error);
    if (error || !fs::is_directory(folder)) {
        throw InputError(options.folder + ": cannot make the demo folder: " + error.message());
    }
    auto const terrain = generateDemoTerrain(options.width, options.height, options.seed);
    auto const georef = demoGeoreference(terrain);
    OutputOptions const writing{.format = "", .overwrite = options.overwrite, .creationOptions = {}, .nodata = {}};
    auto const path = [&](char const* name) { return (folder / name).string(); };

    writeRaster(path("survey-2019.tif"), surveyRaster(terrain, terrain.before), georef, writing,
                std::numeric_limits<double>::quiet_NaN());
    writeRaster(path("survey-2024.tif"), surveyRaster(terrain, terrain.after), georef, writing,
                std::numeric_limits<double>::quiet_NaN());
    Raster<std::uint16_t> markers{terrain.width, terrain.height, MarkerLayers,
                                  depositionMarkers(terrain, MarkerLayers, MarkerLayerThickness)};
    writeRaster(path("deposits.tif"), markers, georef, writing, std::nullopt);

    std::uint64_t holes = 0;
    for (auto h : terrain.holes) {
        holes += h != 0 ? 1 : 0;
    }
    std::uint64_t const cells = std::uint64_t{terrain.width} * terrain.height;
    Tiling const tiling{.fragmentSize = options.fragmentSize, .overlap = std::nullopt, .band = std::nullopt};
    InputArgs const before{path("survey-2019.tif"), {}};
    InputArgs const after{path("survey-2024.tif"), {}};
    InputArgs const difference{path("difference.tif"), {}};
    auto const output = [&](char const* name, char const* preview) {
        return OutputArgs{path(name), writing, preview ? path(preview) : std::string(), 256, {}, {}};
    };
    auto const fragments = [&](std::uint64_t overlap, std::uint32_t layers) {
        TiledGrid const plan({terrain.width, terrain.height, layers}, GridPlacement{}, options.fragmentSize, overlap);
        return plan.fragmentCounts().product();
    };

    SmoothOptions const bilateral{.gaussian = false, .window = 5, .sigmaSpatial = 1.5, .sigmaRange = 0.5};
    SmoothOptions const gaussian{.gaussian = true, .window = 5, .sigmaSpatial = 1.5, .sigmaRange = 0.5};
    std::uint64_t const smoothOverlap = effectiveWindow(bilateral.window) - 1;
    OverwriteOptions const changed{.ranges = {{-1.0e6, -0.25}, {0.25, 1.0e6}}, .invert = false, .value = 4};

    struct Run {
        char const* operation;
        char const* output;
        std::optional<std::uint64_t> overlap; // none for work over the whole raster
        std::uint32_t layers;
        std::function<void()> run;
    };
    std::vector<Run> const runs{
        {"mask", "mask.tif", 0, 1, [&] { commandMask(after, output("mask.tif", "mask.png"), tiling, context); }},
        {"smooth (bilateral)", "smooth.tif", smoothOverlap, 1,
         [&] { commandSmooth(after, output("smooth.tif", "smooth.png"), bilateral, tiling, context); }},
        {"smooth (Gaussian)", "gaussian.tif", smoothOverlap, 1,
         [&] { commandSmooth(after, output("gaussian.tif", "gaussian.png"), gaussian, tiling, context); }},
        {"sobel", "gradient.tif", SobelOverlap, 1,
         [&] { commandSobel(after, output("gradient.tif", "gradient.png"), 30.0, tiling, context); }},
        {"calc subtract (2024 - 2019)", "difference.tif", 0, 1,
         [&] { commandCalc("subtract", after, before, output("difference.tif", "difference.png"), tiling, context); }},
        {"overwrite (change of 0.25 m or more -> code 4)", "changed.tif", 0, 1,
         [&] { commandOverwrite(difference, output("changed.tif", "changed.png"), changed, tiling, context); }},
        {"iso (deposit layers)", "deposits-density.tif", IsoOverlap, MarkerLayers,
         [&] { commandIso(path("deposits.tif"), output("deposits-density.tif", "deposits-density.png"), tiling, context); }},
        {"mesh", "surface.ply", SurfaceOverlap, 1,
         [&] { commandMesh(after, output("surface.ply", "relief.png"), {}, tiling, context); }},
        {"mesh (simplified, within 0.25 m)", "surface.glb", std::nullopt, 1,
         [&] { commandMesh(after, output("surface.glb", nullptr), {.maxError = 0.25, .up = {}}, tiling, context); }},
    };

    std::vector<Step> steps;
    for (auto const& run : runs) {
        auto const start = std::chrono::steady_clock::now();
        run.run();
        std::chrono::duration<double> const took = std::chrono::steady_clock::now() - start;
        auto const used = run.overlap ? std::optional(fragments(*run.overlap, run.layers)) : std::nullopt;
        steps.push_back({run.operation, run.output, cells * run.layers, used, run.layers == 1 ? holes : 0, took.count()});
    }
    auto const summary = summaryTable(options, steps);
    writeText(folder / "summary.md", summary, options.overwrite);
    out << summary;
}

} // namespace rastrum_host

#include "cli.hpp"

#include <CLI/CLI.hpp>
#include <cpl_conv.h>
#include <gdal.h>
#include <malloc.h>
#include <omp.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "commands/commands.hpp"
#include "commands/run_files.hpp"
#include "console/console_route.hpp"
#include "demo/demo.hpp"
#include "core/errors.hpp"
#include "console/progress_bar.hpp"
#include "io/staging_folder.hpp"
#include "console/text_progress.hpp"

namespace rastrum_host {
namespace {

int constexpr BadInput = 2;

// Options every subcommand but info shares.
struct Common {
    Tiling tiling;
    std::uint64_t overlap = 0;
    std::string logPath;
    bool quiet = false;
    unsigned threads = 0; // 0: every core
    std::vector<std::pair<std::string, std::string>> config;
};

// A finite number in [lo, hi) (or (lo, hi)); CLI11's own Range lets NaN through.
CLI::Validator finiteIn(double lo, double hi, bool includeLo, std::string const& text) {
    return CLI::Validator(
        [=](std::string& value) -> std::string {
            char* end = nullptr;
            double const v = std::strtod(value.c_str(), &end);
            bool const ok = end != value.c_str() && *end == '\0' && std::isfinite(v) && (includeLo ? v >= lo : v > lo) &&
                            v < hi;
            return ok ? std::string() : "must be " + text + ", not '" + value + "'";
        },
        text);
}

// Beyond these the weights exp(-d² / 2σ²) of a smoothing window, and their
// normalisation, are not representable in double precision: all NaN or 0/0.
CLI::Validator sigma() {
    return CLI::Validator(
        [](std::string& value) -> std::string {
            char* end = nullptr;
            double const v = std::strtod(value.c_str(), &end);
            bool const number = end != value.c_str() && *end == '\0' && std::isfinite(v) && v > 0.0;
            if (number && v >= 1e-150 && v <= 1e150) {
                return {};
            }
            return number ? "must be from 1e-150 to 1e150, not " + value +
                                ": the smoothing weights exp(-d²/2σ²) underflow or overflow in double precision"
                          : "must be a positive number, not '" + value + "'";
        },
        "from 1e-150 to 1e150");
}

// An argument that looks like an option the subcommand lacks, most likely a
// file whose name starts with '-'; empty when there is none.
std::string strayDash(CLI::App const& command, std::vector<char*> const& arguments) {
    for (std::size_t i = 2; i < arguments.size(); ++i) {
        std::string const argument = arguments[i];
        std::string const name = argument.substr(0, argument.find('='));
        bool const number = argument.size() > 1 && (std::isdigit(static_cast<unsigned char>(argument[1])) ||
                                                     argument[1] == '.');
        if (argument.size() > 1 && argument[0] == '-' && !number && !command.get_option_no_throw(name)) {
            return argument;
        }
    }
    return {};
}

std::pair<double, double> parseRange(std::string const& text) {
    auto const colon = text.find(':');
    if (colon != std::string::npos) {
        std::string lo = text.substr(0, colon);
        std::string hi = text.substr(colon + 1);
        auto const check = finiteIn(-HUGE_VAL, HUGE_VAL, true, "a number");
        if (check(lo).empty() && check(hi).empty() && std::stod(lo) <= std::stod(hi)) {
            return {std::stod(lo), std::stod(hi)};
        }
    }
    throw InputError("--range " + text + ": expected LO:HI, two numbers with LO <= HI");
}

void addInput(CLI::App& command, InputArgs& input, std::string const& name = "input",
              std::string const& prefix = "--", std::string const& which = "") {
    command.add_option(name, input.path, "height raster GDAL reads (GeoTIFF, ESRI ASCII grid, ...)")->required();
    auto* band = command.add_option(prefix == "--" ? "-b,--band" : prefix + "band", input.read.band,
                                    "band holding the heights" + which + ", from 1")
                     ->check(CLI::Range(1, 65535))
                     ->capture_default_str();
    command.add_option(prefix + "cell-types", input.read.cellTypesPath,
                       "unsigned 8-bit raster of cell-type codes" + which +
                           " instead of the nodata mask: 0 and 4 data, 1-3 holes; other codes are refused");
    command
        .add_flag(prefix + "terrain-rgb", input.read.terrainRgb,
                  "bands 1-3" + which + " are 8-bit terrain-RGB: height = -10000 + (R*65536 + G*256 + B) * 0.1")
        ->excludes(band);
}

void addOutput(CLI::App& command, OutputArgs& output) {
    command.add_option("output", output.path, "result raster; its format follows the extension")->required();
    command.add_option("--format", output.options.format,
                       "GDAL format (driver short name such as GTiff, COG, AAIGrid), also spelt -of");
    command.add_option("--co", output.options.creationOptions,
                       "creation option NAME=VALUE of the format, also spelt -co; repeatable. GeoTIFFs are by "
                       "default TILED=YES COMPRESS=ZSTD ZSTD_LEVEL=1 PREDICTOR=2 BIGTIFF=IF_SAFER NUM_THREADS=ALL_CPUS");
    command.add_option("--ot", output.type,
                       "type of the result, also spelt -ot: Float32 or Float64 for smooth and calc (default: Float64 "
                       "for Float64 heights, else Float32); the others write one type only");
    command.add_option("--dstnodata", output.options.nodata,
                       "nodata value of float results (default NaN, or -3.4028234663852886e38 where the format "
                       "records no NaN: AAIGrid, GPKG, HFA)");
    command.add_option("--memory", output.memoryMegabytes, "megabytes for the band of rows computed at a time")
        ->check(CLI::Range(1u, 1u << 30))
        ->capture_default_str();
    command.add_flag("--overwrite", output.options.overwrite, "replace an existing output (and preview)");
    command.add_option("--preview", output.preview, "also render the result as a PNG picture");
}

void addTiling(CLI::App& command, Common& common, std::string const& defaultOverlap) {
    command.add_option("--fragment-size", common.tiling.fragmentSize, "points per fragment along x and y")
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 20))
        ->capture_default_str();
    command.add_option("--overlap", common.overlap, "points shared by neighbouring fragments (default " +
                                                        defaultOverlap + ")")
        ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{1} << 20));
    command.add_flag("--allow-seams", common.tiling.allowSeams,
                     "accept an --overlap below what the operation needs (results differ where fragments meet)");
}

// One rule at the raster's edge for every operation with a window.
std::string const EdgeRule =
    "Edges: a cell whose window reaches past the raster's edge is written as nodata, as gdaldem does;\n"
    "--keep-partial keeps the library's own values there.\n";

void addConsole(CLI::App& command, Common& common) {
    command.add_flag("-q,--quiet", common.quiet, "no progress and no library messages on standard error");
    command.add_option("--log", common.logPath, "append the library's messages to this .log or .txt file (or a new one)");
    command.add_option("--threads", common.threads, "worker threads (default: every core)")
        ->check(CLI::Range(1u, 4096u));
    command.add_option("--config", common.config, "GDAL configuration option KEY VALUE; repeatable")
        ->type_size(2)
        ->allow_extra_args(false);
}

// A subcommand from one raster to another: its input, output, fragment and console options.
CLI::App& addRasterToRaster(CLI::App& app, std::string const& name, std::string const& description,
                            InputArgs& input, OutputArgs& output, Common& common, std::string const& defaultOverlap) {
    auto& command = *app.add_subcommand(name, description);
    addInput(command, input);
    addOutput(command, output);
    addTiling(command, common, defaultOverlap);
    addConsole(command, common);
    return command;
}

// GDAL's configuration first, so that it applies to every file; the block
// cache stays small unless configured, since bands are read once each.
void configure(Common const& common) {
    for (auto const& [key, value] : common.config) {
        // `--config FOO -q` would otherwise take -q as FOO's value.
        if (key.starts_with('-') || value.starts_with('-')) {
            throw InputError("--config " + key + " " + value + ": expected KEY VALUE, neither starting with '-'");
        }
        CPLSetConfigOption(key.c_str(), value.c_str());
    }
    // Every band allocates the same large buffers again; kept on the heap they are reused instead of
    // being mapped, faulted in page by page and unmapped for each band.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    if (!CPLGetConfigOption("GDAL_CACHEMAX", nullptr)) {
        GDALSetCacheMax64(std::int64_t{64} << 20);
    }
    if (common.threads > 0) {
        omp_set_num_threads(static_cast<int>(common.threads));
    }
}

std::string const OutOfMemory = "rastrum: out of memory; nothing was written. Give the run more memory, or a "
                                "smaller --memory or --fragment-size\n";

// An allocation that fails inside a parallel loop cannot be unwound to the
// command line; it ends the run with the same message instead of an abort.
void outOfMemoryInWorkers() {
    if (omp_in_parallel()) {
        std::fputs(OutOfMemory.c_str(), stderr);
        std::_Exit(2);
    }
    throw std::bad_alloc();
}

// The bar on a terminal, GDAL's dotted line elsewhere; nothing with -q.
Lumen::StrongPtr<Lumen::LoaderProgress> progressFor(Lumen::StrongPtr<ProgressBar> const& bar, bool quiet) {
    if (quiet) {
        return {};
    }
    if (isatty(fileno(stderr)) == 1) {
        return bar;
    }
    return Lumen::makeStrong<TextProgress>(stderr);
}

// GDAL's tools spell options -of, -co and -ot, which CLI11 cannot declare.
std::vector<char*> withFormatSpelling(int argc, char** argv) {
    static std::string format = "--format";
    static std::string creation = "--co";
    static std::string type = "--ot";
    std::vector<char*> arguments(argv, argv + argc);
    for (auto& argument : arguments) {
        if (std::strcmp(argument, "-of") == 0) {
            argument = format.data();
        } else if (std::strcmp(argument, "-co") == 0) {
            argument = creation.data();
        } else if (std::strcmp(argument, "-ot") == 0) {
            argument = type.data();
        }
    }
    return arguments;
}

int parseAndRun(int argc, char** argv) {
    CLI::App app("Numerical operations on elevation rasters, cut into fragments: masks, smoothing, gradients,\n"
                 "raster arithmetic and marker densities. Results keep the input's georeferencing.",
                 "rastrum");
    app.set_version_flag("--version", std::string(RASTRUM_VERSION));
    app.require_subcommand(1);
    app.footer("Example:\n  rastrum sobel dem.tif gradient.tif\nrastrum SUBCOMMAND --help shows a subcommand's options.");

    Common common;
    InputArgs input;
    InputArgs second;
    OutputArgs output;
    SmoothOptions smooth;
    OverwriteOptions overwrite;
    std::vector<std::string> ranges;
    double slope = 45.0;
    bool keepPartial = false;
    SlopeOptions slopeOptions;
    std::string operation;
    std::string volume;

    auto& info = *app.add_subcommand("info", "Describe a raster: size, georeferencing, nodata, heights, fragments");
    addInput(info, input);
    addTiling(info, common, "0");
    info.footer("Example:\n  rastrum info dem.tif --fragment-size 128 --overlap 2");

    auto& mask =
        addRasterToRaster(app, "mask", "Byte mask: 1 at data cells, 0 at holes (nodata)", input, output, common, "0");
    mask.footer("Example:\n  rastrum mask dem.tif mask.tif");

    auto& smoothing = addRasterToRaster(app, "smooth", "Edge-preserving bilateral smoothing of the heights", input,
                                        output, common, "window - 1, no seams");
    smoothing.add_flag("--gaussian", smooth.gaussian, "plain normalised Gaussian instead of the bilateral filter");
    smoothing.add_option("--window", smooth.window, "window edge in cells, made odd and at least 3")
        ->check(CLI::Range(1u, 255u))
        ->capture_default_str();
    smoothing.add_option("--sigma-spatial", smooth.sigmaSpatial, "spatial standard deviation, in cells")
        ->check(sigma())
        ->capture_default_str();
    smoothing.add_option("--sigma-range", smooth.sigmaRange, "height standard deviation (bilateral), in height units")
        ->check(sigma())
        ->capture_default_str();
    smoothing.add_flag("--keep-partial", smooth.keepPartial,
                       "keep the library's values in the band of (window - 1) / 2 cells along the raster's edge");
    smoothing.footer(EdgeRule + "Example:\n  rastrum smooth dem.tif smooth.tif --window 7 --sigma-range 0.5");

    auto& sobel = addRasterToRaster(
        app, "sobel", "Sobel gradient magnitude of the heights: 32 x the height change per cell for a plane", input,
        output, common, "2, no seams");
    sobel.add_option("--slope", slope, "slope in degrees whose gradient on a plane is stated, as a threshold aid")
        ->check(finiteIn(0.0, 90.0, true, "an angle from 0 to below 90 degrees"))
        ->capture_default_str();
    sobel.add_flag("--keep-partial", keepPartial,
                   "keep the library's values where the 3 x 3 stencil touched a hole (a sum over the cut stencil)\n"
                   "or left the raster (0)");
    sobel.footer("Units: unnormalised; a plane rising h height units per cell gives 32 x h whatever the cell size\n"
                 "(weights 3, 10, 3 on each side, no division by the cell size). The library's own threshold line,\n"
                 "written to --log, is for a one-sided step and gives half the gradient of that plane.\n"
                 "Holes: nodata wherever the 3 x 3 stencil touched a hole, unless --keep-partial.\n" +
                 EdgeRule + "Example:\n  rastrum sobel dem.tif gradient.tif --slope 30");

    auto& sloping = addRasterToRaster(app, "slope",
                                      "Slope of the heights in degrees (or percent) from the Sobel gradient", input,
                                      output, common, "2, no seams");
    sloping.add_flag("-p,--percent", slopeOptions.percent, "percent slope (100 x rise over run) instead of degrees");
    sloping.add_option("-s,--scale", slopeOptions.scale,
                       "horizontal units per height unit, as gdaldem's -s (111120 for metres over degrees);\n"
                       "default 1, or metres per degree at the raster's latitude when the CRS is geographic")
        ->check(finiteIn(0.0, HUGE_VAL, false, "a positive number"));
    sloping.footer("Slope = atan(gradient / (32 x cell size)) with the cell size along x and y (each scaled).\n"
                   "Nodata wherever the 3 x 3 stencil touched a hole or left the raster, as gdaldem slope does\n"
                   "without -compute_edges.\n"
                   "Example:\n  rastrum slope dem.tif slope.tif\n  rastrum slope srtm.tif slope.tif -s 111120 -p");

    auto& calc = *app.add_subcommand("calc", "Cell-by-cell arithmetic of two rasters of the same grid");
    calc.add_option("operation", operation, "subtract, add, divide or multiply")->required();
    addInput(calc, input, "first", "--", " of the first raster");
    addInput(calc, second, "second", "--second-", " of the second raster");
    addOutput(calc, output);
    addTiling(calc, common, "0");
    addConsole(calc, common);
    calc.footer("-b, --cell-types and --terrain-rgb read the first raster; --second-band, --second-cell-types\n"
                "and --second-terrain-rgb the second, which has the first one's size and georeferencing.\n"
                "Example (DEM of difference):\n  rastrum calc subtract dem2024.tif dem2019.tif change.tif");

    auto& overwriting = addRasterToRaster(
        app, "overwrite", "Write a value into the cell-type codes where the height lies in (or outside) intervals",
        input, output, common, "0");
    overwriting.add_option("--range", ranges, "closed interval of heights LO:HI; repeatable")->required();
    overwriting.add_flag("--invert", overwrite.invert,
                         "write where the height lies in none of the intervals (holes are left alone)");
    overwriting.add_flag("--include-holes", overwrite.includeHoles, "with --invert, write into hole cells too");
    overwriting.add_option("--value", overwrite.value, "cell-type code written: 0 or 4 data, 1-3 a hole")
        ->check(CLI::Range(0, 4))
        ->capture_default_str();
    overwriting.footer("Example (flag cells below sea level as holes):\n"
                       "  rastrum overwrite dem.tif codes.tif --range -500:0 --value 2");

    auto& iso = *app.add_subcommand("iso", "Density of markers in a 3D volume, for iso-surfaces");
    iso.add_option("input", volume, "multi-band 16-bit raster, one band per layer, non-zero cells are markers")
        ->required();
    addOutput(iso, output);
    addTiling(iso, common, "2");
    addConsole(iso, common);
    iso.footer("Each fragment is scaled to its own peak of 1, so fragments show as steps where they meet;\n"
               "a --fragment-size as large as the volume avoids them.\n"
               "Example:\n  rastrum iso markers.tif density.tif");

    auto& meshing = *app.add_subcommand("mesh", "Triangle surface of the data cells, in georeferenced coordinates");
    addInput(meshing, input);
    meshing.add_option("output", output.path, "mesh file: .ply, .obj, .gltf or .glb")->required();
    meshing.add_flag("--overwrite", output.options.overwrite, "replace an existing output (and preview)");
    meshing.add_option("--preview", output.preview, "also render the heights as a shaded relief PNG");
    MeshOptions meshOptions;
    meshing.add_option("--max-error", meshOptions.maxError,
                       "simplify: an adaptive surface within this many height units of every data cell")
        ->check(finiteIn(0.0, HUGE_VAL, true, "a height difference >= 0"));
    meshing.add_option("--up", meshOptions.up, "axis pointing up: z (PLY's default) or y (OBJ's and glTF's)")
        ->transform(CLI::CheckedTransformer(std::map<std::string, UpAxis>{{"y", UpAxis::Y}, {"z", UpAxis::Z}}));
    addTiling(meshing, common, "1, no gaps");
    addConsole(meshing, common);
    meshing.footer("Full resolution: one vertex per data cell in a square of four, welded across fragments.\n"
                   "Axes: PLY x east, y north, z up; OBJ and glTF x east, y up, z south (north at -z), as their\n"
                   "importers assume; --up z writes OBJ with z up. Vertices are stored relative to an origin the\n"
                   "file records (PLY: comment origin, OBJ: # origin, glTF: the node's extras.origin, as east,\n"
                   "north, height), so the model sits near the viewer's origin. Every vertex has a normal and\n"
                   "triangles face up. Cells with non-finite or absurd heights (such as -3.4e38) are refused.\n"
                   "Examples:\n  rastrum mesh dem.tif surface.glb\n  rastrum mesh dem.tif surface.obj --max-error 0.5");

    DemoOptions demoOptions;
    auto& demo = *app.add_subcommand("demo", "Generate a terrain and run every operation on it into one folder");
    demo.add_option("folder", demoOptions.folder, "where the rasters, results, previews and summary go")
        ->capture_default_str();
    demo.add_option("--width", demoOptions.width, "points west to east")
        ->check(CLI::Range(16u, 16384u))
        ->capture_default_str();
    demo.add_option("--height", demoOptions.height, "points north to south")
        ->check(CLI::Range(16u, 16384u))
        ->capture_default_str();
    demo.add_option("--fragment-size", demoOptions.fragmentSize, "points per fragment along x and y")
        ->check(CLI::Range(std::uint64_t{8}, std::uint64_t{1} << 20))
        ->capture_default_str();
    demo.add_option("--seed", demoOptions.seed, "seed of the generated terrain")->capture_default_str();
    demo.add_flag("--overwrite", demoOptions.overwrite, "replace the files of an earlier run");
    addConsole(demo, common);
    demo.footer("Example:\n  rastrum demo demo-output --width 2048 --height 1536");

    // CLI11 would only say that a subcommand is required.
    auto const named = [&](CLI::App const* command) { return command->get_name() == argv[1]; };
    if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(named).empty()) {
        std::cerr << "rastrum: unknown subcommand '" << argv[1] << "'; run rastrum --help for the list\n";
        return BadInput;
    }
    auto arguments = withFormatSpelling(argc, argv);
    try {
        app.parse(static_cast<int>(arguments.size()), arguments.data());
    } catch (CLI::ParseError const& error) {
        auto const stray = error.get_exit_code() != 0 && argc > 1 && argv[1][0] != '-'
                               ? strayDash(*app.get_subcommand(argv[1]), arguments)
                               : std::string();
        if (stray.empty()) {
            return app.exit(error) == 0 ? 0 : BadInput;
        }
        std::cerr << "rastrum: " << stray << ": " << argv[1] << " has no such option; a file whose name starts "
                  << "with '-' is written ./" << stray << '\n';
        return BadInput;
    }

    CLI::App const& chosen = *app.get_subcommands().front();
    if (auto const* overlap = chosen.get_option_no_throw("--overlap"); overlap && overlap->count() > 0) {
        common.tiling.overlap = common.overlap;
    }
    try {
        configure(common);
        std::set_new_handler(outOfMemoryInWorkers);
        if (&chosen == &info) {
            std::cout << commandInfo(input, common.tiling);
            return 0;
        }
        output.stream.memoryBytes = std::uint64_t{output.memoryMegabytes} << 20;
        RunContext context;
        auto const bar = Lumen::makeStrong<ProgressBar>(stderr);
        context.progress = progressFor(bar, common.quiet);
        // The gradient's own lines (a threshold for a one-sided step per fragment) mislead beside the host's
        // note on a plane; they go to --log only.
        bool const gradient = &chosen == &sobel || &chosen == &sloping;
        std::vector<std::string> const inputs{input.path, input.read.cellTypesPath, second.path,
                                              second.read.cellTypesPath, volume};
        refuseOutputOverInput({output.path, output.preview}, inputs);
        auto runFiles = inputs;
        runFiles.insert(runFiles.end(), {output.path, output.preview});
        ConsoleRoute const route(common.logPath, common.quiet || gradient, common.quiet ? nullptr : bar.getPointer(),
                                 runFiles);
        auto const tell = [&](std::string const& note) {
            if (!common.quiet && !note.empty()) {
                bar->writeLine("rastrum: " + note); // above the bar, as the library's lines
            }
        };
        if (&chosen == &mask) {
            commandMask(input, output, common.tiling, context);
        } else if (&chosen == &smoothing) {
            commandSmooth(input, output, smooth, common.tiling, context);
        } else if (&chosen == &sobel) {
            tell(commandSobel(input, output, slope, common.tiling, context, keepPartial));
        } else if (&chosen == &sloping) {
            commandSlope(input, output, slopeOptions, common.tiling, context);
        } else if (&chosen == &calc) {
            commandCalc(operation, input, second, output, common.tiling, context);
        } else if (&chosen == &overwriting) {
            for (auto const& range : ranges) {
                overwrite.ranges.push_back(parseRange(range));
            }
            commandOverwrite(input, output, overwrite, common.tiling, context);
        } else if (&chosen == &iso) {
            commandIso(volume, output, common.tiling, context);
        } else if (&chosen == &meshing) {
            tell(commandMesh(input, output, meshOptions, common.tiling, context));
        } else if (&chosen == &demo) {
            runDemo(demoOptions, context, std::cout);
        }
    } catch (InputError const& error) {
        std::cerr << "rastrum: " << withoutStagingFolders(error.what()) << '\n';
        return BadInput;
    } catch (std::bad_alloc const&) {
        std::cerr << OutOfMemory;
        return BadInput;
    } catch (std::exception const& error) {
        std::cerr << "rastrum: internal error: " << withoutStagingFolders(error.what()) << '\n';
        return 1;
    }
    return 0;
}

} // namespace

int runCommandLine(int argc, char** argv) {
    int const status = parseAndRun(argc, argv);
    // A full disk or a closed pipe must not pass for success.
    errno = 0;
    std::cout.flush();
    if (std::fflush(stdout) != 0 || std::cout.fail() || std::ferror(stdout)) {
        std::cerr << "rastrum: cannot write to standard output: "
                  << (errno != 0 ? std::strerror(errno) : "the write failed") << '\n';
        return status == 0 ? BadInput : status;
    }
    return status;
}

} // namespace rastrum_host

// Runs the library's kernels and operations on generated terrain next to
// OpenCV peers and a memcpy bound; see bench/RESULTS.md for a rendered run.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "Lumen/Console.hpp"
#include "agreement.hpp"
#include "benchmarks.hpp"
#include "datasets.hpp"
#include "frame/cell_types.hpp"
#include "settings.hpp"

namespace {

std::string cpuModel() {
    std::ifstream cpuinfo("/proc/cpuinfo");
    std::string line;
    while (std::getline(cpuinfo, line)) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown";
}

std::string shortNumber(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", value);
    return text;
}

template <class Values, class Counted>
std::string percentage(Values const& values, Counted counted) {
    auto const share = static_cast<double>(std::ranges::count_if(values, counted)) / static_cast<double>(values.size());
    return shortNumber(100.0 * share) + " %";
}

// What the rendered results need to know about the run besides the timings.
void describeRun(int team) {
    Rastrum::CellTypeTables const tables;
    auto const holes = [&](unsigned char code) { return tables.HOLE_CELL_TYPES[code]; };
    auto const smallest = bench::RASTER_SIZES.front();
    benchmark::AddCustomContext("cpu_model", cpuModel());
    benchmark::AddCustomContext("omp_threads", std::to_string(team));
    benchmark::AddCustomContext("hole_cells", percentage(bench::surveys(smallest).later.codes, holes));
    benchmark::AddCustomContext("marker_cells", percentage(bench::markers(bench::VOLUME_SIZES.front()),
                                                           [](unsigned short m) { return m != 0; }));
    benchmark::AddCustomContext("raster_fragment", std::to_string(bench::RASTER_FRAGMENT));
    benchmark::AddCustomContext("volume_fragment", std::to_string(bench::VOLUME_FRAGMENT));
    benchmark::AddCustomContext("window", std::to_string(bench::WINDOW));
    benchmark::AddCustomContext("sigma_spatial", shortNumber(bench::SIGMA_SPATIAL));
    benchmark::AddCustomContext("sigma_range", shortNumber(bench::SIGMA_RANGE));
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    // The operations' console lines would drown the results.
    Lumen::Console::setSink([](std::string const&) {});
    if (!bench::peersAgree(bench::RASTER_SIZES.front(), std::cerr)) {
        std::cerr << "rastrum-bench: the peers do not compute what the kernels compute\n";
        return 2;
    }
    int const team = omp_get_max_threads();
    describeRun(team);
    for (auto const n : bench::RASTER_SIZES) {
        bench::registerRasterKernels(n);
        bench::registerRasterOperations(n, team);
    }
    for (auto const n : bench::VOLUME_SIZES) {
        bench::registerVolumeKernels(n);
        bench::registerVolumeOperations(n, team);
    }
    auto const ran = benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return ran > 0 ? 0 : 1;
}

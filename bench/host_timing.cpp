// The host's in-memory path of one operation, timed from C++: the reference
// bench/python.py holds the Python calls against. Reads raw float32 heights
// (NaN at holes) or, for iso, raw uint16 layers; prints the best of the
// repeats in seconds. File reading is outside the timing.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

#include "mesh/surface.hpp"
#include "operations/operations.hpp"

namespace {

using namespace rastrum_host;

template <class T>
Raster<T> readRaw(char const* path, std::uint32_t width, std::uint32_t height, std::uint32_t bands) {
    Raster<T> raster{.width = width, .height = height, .bands = bands, .values = {}};
    raster.values.resize(std::size_t{width} * height * bands);
    std::ifstream(path, std::ios::binary)
        .read(reinterpret_cast<char*>(raster.values.data()), static_cast<std::streamsize>(raster.values.size() * sizeof(T)));
    return raster;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::cerr << "usage: rastrum-host-timing OPERATION RAW WIDTH HEIGHT REPEATS\n";
        return 2;
    }
    std::string const operation = argv[1];
    auto const width = static_cast<std::uint32_t>(std::stoul(argv[3]));
    auto const height = static_cast<std::uint32_t>(std::stoul(argv[4]));
    int const repeats = std::stoi(argv[5]);
    Tiling const tiling;
    RunContext const context;
    HeightInput input;
    MarkerVolume volume;
    if (operation == "iso") {
        volume.markers = readRaw<std::uint16_t>(argv[2], width, height, 3);
    } else {
        input.heights = readRaw<float>(argv[2], width, height, 1);
        input.cellTypes.resize(input.heights.values.size());
        std::transform(input.heights.values.begin(), input.heights.values.end(), input.cellTypes.begin(),
                       [](float h) { return std::isnan(h) ? NodataCell : DataCell; });
    }
    double best = 1e30;
    for (int i = 0; i < repeats; ++i) {
        auto const start = std::chrono::steady_clock::now();
        if (operation == "mask") {
            runMask(input, tiling, context);
        } else if (operation == "smooth") {
            runSmooth(input, SmoothOptions{}, tiling, context);
        } else if (operation == "gaussian") {
            runSmooth(input, SmoothOptions{.gaussian = true}, tiling, context);
        } else if (operation == "sobel") {
            runSobel(input, 45.0, tiling, context);
        } else if (operation == "calc") {
            runCalc(Rastrum::Operandi::Subtract, input, input, tiling, context);
        } else if (operation == "overwrite") {
            runOverwrite(input, OverwriteOptions{.ranges = {{480.0, 500.0}}}, tiling, context);
        } else if (operation == "iso") {
            runIso(volume, tiling, context);
        } else if (operation == "mesh") {
            computeSurface(input, tiling, context);
        } else {
            std::cerr << "unknown operation " << operation << '\n';
            return 2;
        }
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    std::cout << best << '\n';
    return EXIT_SUCCESS;
}

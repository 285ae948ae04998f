#pragma once

// What the mesh timing programs share: the terrain-RGB tile they are given
// and the best of seven runs.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#include "io/raster_reader.hpp"

namespace bench_tile {

// Calls each(tile, maxError, text) for each error named after the tile, a
// terrain-RGB file; returns the exit status (2 when the usage is wrong).
template <class Each>
int forEachError(int argc, char** argv, Each&& each) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s tile.png E1 [E2 ...]\n", argv[0]);
        return 2;
    }
    rastrum_host::ReadOptions options;
    options.terrainRgb = true;
    auto const tile = rastrum_host::readHeights(argv[1], options);
    for (int k = 2; k < argc; ++k) {
        if (int const status = each(tile, std::stod(argv[k]), argv[k]); status != 0) {
            return status;
        }
    }
    return 0;
}

// The fastest of seven runs, in milliseconds.
template <class Run>
double bestOfSeven(Run&& run) {
    double best = 1e300;
    for (int k = 0; k < 7; ++k) {
        auto const start = std::chrono::steady_clock::now();
        run();
        std::chrono::duration<double, std::milli> const took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count());
    }
    return best;
}

} // namespace bench_tile

#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "operations/operations.hpp"

namespace rastrum_host {

struct DemoOptions {
    std::string folder = "rastrum-demo";
    std::uint32_t width = 1024;
    std::uint32_t height = 768;
    std::uint64_t fragmentSize = 256;
    std::uint64_t seed = 2024;
    bool overwrite = false; // replace the files of an earlier run
};

// Generates two surveys of a river valley and a volume of deposition markers,
// writes them as GeoTIFF into the folder, runs every subcommand on them through
// the subcommands' own code, and writes results, previews, a mesh and a
// summary table ("summary.md", also printed to `out`) beside them.
void runDemo(DemoOptions const& options, RunContext const& context, std::ostream& out);

} // namespace rastrum_host

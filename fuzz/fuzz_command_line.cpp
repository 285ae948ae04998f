// Arbitrary bytes as a command line: one argument per line, run through the
// whole command line in a scratch folder. @DEM, @DEM2, @CODES, @VOL and @RGB
// name small rasters in $RASTRUM_FUZZ_INPUTS (made by scripts/fuzz.sh).
// Findings: a crash or sanitizer report, status 1 (an internal error), or a
// staging folder left behind. Inputs a run replaced (--overwrite) are restored.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "cli.hpp"

namespace fs = std::filesystem;

namespace {

struct Scratch {
    fs::path inputs;                         // copies of the rasters, restored when a run replaced one
    std::map<fs::path, std::string> pristine;
    fs::path work;                           // the current folder, emptied after each run
};

std::string contentsOf(fs::path const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Scratch& scratch() {
    static Scratch s = [] {
        char const* source = std::getenv("RASTRUM_FUZZ_INPUTS");
        char folder[] = "/tmp/rastrum-fuzz-cli-XXXXXX";
        if (!source || !::mkdtemp(folder)) {
            std::fprintf(stderr, "set RASTRUM_FUZZ_INPUTS to the folder of inputs scripts/fuzz.sh makes\n");
            std::abort();
        }
        Scratch made{fs::path(folder) / "inputs", {}, fs::path(folder) / "work"};
        fs::create_directories(made.inputs);
        fs::create_directories(made.work);
        for (auto const& entry : fs::directory_iterator(source)) {
            fs::copy_file(entry.path(), made.inputs / entry.path().filename());
            made.pristine[made.inputs / entry.path().filename()] = contentsOf(entry.path());
        }
        fs::current_path(made.work);
        return made;
    }();
    return s;
}

std::string expanded(std::string const& argument, Scratch const& s) {
    static std::map<std::string, std::string> const names{
        {"@DEM", "dem.tif"}, {"@DEM2", "dem2.tif"}, {"@CODES", "codes.tif"}, {"@VOL", "volume.tif"}, {"@RGB", "rgb.tif"}};
    auto const found = names.find(argument);
    return found == names.end() ? argument : (s.inputs / found->second).string();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    auto& s = scratch();
    std::vector<std::string> arguments{"rastrum"};
    std::istringstream lines(std::string(reinterpret_cast<char const*>(data), size));
    for (std::string line; std::getline(lines, line) && arguments.size() < 32;) {
        // Paths stay in the scratch folder; the demo generates a large terrain.
        if (line.find('/') != std::string::npos || line.find('\0') != std::string::npos) {
            return 0;
        }
        arguments.push_back(expanded(line, s));
    }
    if (arguments.size() > 1 && arguments[1] == "demo") {
        return 0;
    }
    std::vector<char*> argv;
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    int const status = rastrum_host::runCommandLine(static_cast<int>(arguments.size()), argv.data());
    if (status == 1) {
        std::fprintf(stderr, "internal error\n");
        std::abort();
    }
    for (auto const& entry : fs::directory_iterator(s.work)) {
        if (entry.path().filename().string().starts_with(".rastrum-")) {
            std::fprintf(stderr, "staging folder left behind: %s\n", entry.path().c_str());
            std::abort();
        }
    }
    for (auto const& entry : fs::directory_iterator(s.work)) {
        fs::remove_all(entry.path());
    }
    for (auto const& [path, contents] : s.pristine) {
        if (contentsOf(path) != contents) {
            std::ofstream(path, std::ios::binary) << contents; // a run with --overwrite replaced it
        }
    }
    return 0;
}

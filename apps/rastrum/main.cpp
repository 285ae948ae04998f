#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "cli.hpp"
#include "io/staging_folder.hpp"

namespace {

// Whether the command may run a compute team: not for help, the version or info.
bool computes(int argc, char** argv) {
    if (argc < 2) {
        return false;
    }
    std::string_view const first = argv[1];
    return first != "info" && first != "--version" && first != "--help" && first != "-h";
}

} // namespace

int main(int argc, char** argv) {
    // The compute team shares the cores with GDAL's reading, writing and compression threads.
    // Workers that spin while waiting for the next region take the core a preempted team mate or
    // the compressor needs (measured at 20000 x 20000: bilateral smoothing 15.7 s -> 13.4 s,
    // Gaussian 10.0 s -> 7.6 s), so they sleep instead unless the user chose otherwise. OpenMP
    // reads the policy once, before main, from an environment the C library sets up before
    // that: the process starts again with it set (about 40 ms), or on as it is if it cannot.
    if (computes(argc, argv) && std::getenv("OMP_WAIT_POLICY") == nullptr &&
        setenv("OMP_WAIT_POLICY", "passive", 1) == 0) {
        execv("/proc/self/exe", argv);
    }
    rastrum_host::removeStagingOnSignals();
    return rastrum_host::runCommandLine(argc, argv);
}

#include <cstdlib>

#include "cli.hpp"
#include "io/staging_folder.hpp"

namespace {

// The compute team shares the cores with GDAL's reading, writing and
// compression threads. Workers that spin while waiting for the next region
// take the core a preempted team mate or the compressor needs (measured at
// 20000 x 20000: bilateral smoothing 15.7 s -> 13.4 s, Gaussian 10.0 s ->
// 7.6 s), so they sleep instead unless the user chose otherwise. OpenMP reads
// the policy when its library initialises, before main: this runs earlier.
void sleepingWorkers(int, char**, char**) {
    if (std::getenv("OMP_WAIT_POLICY") == nullptr) {
        setenv("OMP_WAIT_POLICY", "passive", 0);
    }
}

[[gnu::used, gnu::section(".preinit_array")]] void (*const setWaitPolicy)(int, char**, char**) = &sleepingWorkers;

} // namespace

int main(int argc, char** argv) {
    rastrum_host::removeStagingOnSignals();
    return rastrum_host::runCommandLine(argc, argv);
}

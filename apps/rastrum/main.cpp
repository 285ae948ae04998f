#include "cli.hpp"
#include "io/staging_folder.hpp"

int main(int argc, char** argv) {
    rastrum_host::removeStagingOnSignals();
    return rastrum_host::runCommandLine(argc, argv);
}

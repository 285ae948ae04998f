#pragma once

namespace rastrum_host {

// Parses the command line and runs the chosen subcommand. Returns the exit
// status: 0 on success (and for --help, --version), 2 for bad input of any
// kind (unknown subcommand or option, a bad number, a missing or unsuitable
// file, an existing output), 1 for a fault of the program itself.
int runCommandLine(int argc, char** argv);

} // namespace rastrum_host

#include "cli.hpp"

int main(int argc, char** argv) { return rastrum_host::runCommandLine(argc, argv); }

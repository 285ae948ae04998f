#pragma once

#include <fstream>
#include <memory>
#include <string>

#include "Lumen/Console.hpp"
#include "console/progress_bar.hpp"

namespace rastrum_host {

// Sends the library's console lines, while alive, to a log file (--log), or
// else to standard error unless quiet (-q). The log file is made on the first
// line, so a run refused for bad input leaves none behind. Lines for standard
// error go above the progress bar, if one is given.
class ConsoleRoute {
public:
    // InputError naming --log when the log's folder does not exist.
    ConsoleRoute(std::string const& logPath, bool quiet, ProgressBar* bar = nullptr);
    ConsoleRoute(ConsoleRoute const&) = delete;
    ConsoleRoute& operator=(ConsoleRoute const&) = delete;
    ~ConsoleRoute();

private:
    std::shared_ptr<std::ofstream> log_;
    Lumen::Console::Sink previous_;
};

} // namespace rastrum_host

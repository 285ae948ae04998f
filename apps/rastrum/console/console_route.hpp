#pragma once

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Lumen/Console.hpp"
#include "console/progress_bar.hpp"

namespace rastrum_host {

// Sends the library's console lines, while alive, to a log file (--log), or
// else to standard error unless quiet (-q). Lines for standard error go above
// the progress bar, if one is given; there identical lines (the operations
// repeat theirs per fragment) are folded into one with a count, printed in the
// order they first came when the route ends.
//
// A log never replaces anything: lines are appended to an existing .log or
// .txt file, or else a new file is made (and removed again when no line
// came, so that a run refused for bad input leaves none behind). Any other
// existing file, any file the run reads or writes or a side file of one could
// be (dem.prj beside dem.asc), and a log that cannot be written are refused
// before the run starts.
class ConsoleRoute {
public:
    // InputError naming --log when the log is refused; `runFiles` are the
    // files the run reads or writes (empty names are skipped).
    ConsoleRoute(std::string const& logPath, bool quiet, ProgressBar* bar = nullptr,
                 std::vector<std::string> const& runFiles = {});
    ConsoleRoute(ConsoleRoute const&) = delete;
    ConsoleRoute& operator=(ConsoleRoute const&) = delete;
    ~ConsoleRoute();

private:
    struct Folded;
    std::shared_ptr<Folded> folded_;
    ProgressBar* bar_ = nullptr;
    std::shared_ptr<std::ofstream> log_;
    std::string logPath_;
    bool made_ = false; // the log is new: removed again when no line came
    Lumen::Console::Sink previous_;
};

} // namespace rastrum_host

#include "console/console_route.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <utility>
#include <vector>

#include "commands/run_files.hpp"
#include "core/errors.hpp"

namespace rastrum_host {
namespace fs = std::filesystem;

struct ConsoleRoute::Folded {
    std::mutex mutex;
    std::vector<std::pair<std::string, std::size_t>> lines; // in the order they first came, with their count
};

namespace {

void checkLog(std::string const& logPath, std::vector<std::string> const& runFiles) {
    fs::path const path(logPath);
    auto const refuse = [&](std::string const& why) { throw InputError("--log " + logPath + ": " + why); };
    bool const logName = path.extension() == ".log" || path.extension() == ".txt";
    for (auto const& file : runFiles) {
        if (file.empty()) {
            continue;
        }
        if (sameFile(path, file)) {
            refuse("is a file this run reads or writes");
        }
        // GDAL reads and writes side files such as dem.prj and out.tif.aux.xml.
        fs::path const run(file);
        bool const beside = sameFile(fs::absolute(path).parent_path(), fs::absolute(run).parent_path());
        if (!logName && beside &&
            (path.stem() == run.stem() || path.filename().string().starts_with(run.filename().string() + "."))) {
            refuse("could be a side file of " + file + "; name the log .log or .txt");
        }
    }
    std::error_code error;
    auto const status = fs::status(path, error);
    if (fs::exists(status)) {
        if (!fs::is_regular_file(status) || !logName) {
            refuse("exists and is not a .log or .txt file, the only ones a log is appended to");
        }
    }
}

} // namespace

ConsoleRoute::ConsoleRoute(std::string const& logPath, bool quiet, ProgressBar* bar,
                           std::vector<std::string> const& runFiles) {
    if (!logPath.empty()) {
        checkLog(logPath, runFiles);
        std::error_code error;
        made_ = !fs::exists(logPath, error);
        log_ = std::make_shared<std::ofstream>(logPath, std::ios::app);
        if (!log_->is_open()) {
            throw InputError("--log " + logPath + ": cannot be written: " + std::strerror(errno));
        }
        logPath_ = logPath;
        previous_ = Lumen::Console::setSink([log = log_, logPath](std::string const& line) {
            bool const wasGood = log->good();
            *log << line << '\n' << std::flush;
            if (wasGood && !log->good()) {
                std::cerr << "rastrum: --log " << logPath << ": cannot be written: " << std::strerror(errno) << '\n';
            }
        });
    } else if (quiet) {
        previous_ = Lumen::Console::setSink([](std::string const&) {});
    } else {
        bar_ = bar;
        folded_ = std::make_shared<Folded>();
        previous_ = Lumen::Console::setSink([folded = folded_](std::string const& line) {
            std::scoped_lock const lock(folded->mutex);
            auto const same = std::ranges::find(folded->lines, line, &std::pair<std::string, std::size_t>::first);
            if (same == folded->lines.end()) {
                folded->lines.emplace_back(line, 1);
            } else {
                ++same->second;
            }
        });
    }
}

ConsoleRoute::~ConsoleRoute() {
    Lumen::Console::setSink(previous_);
    std::error_code error;
    if (made_ && log_->tellp() == 0) {
        log_.reset();
        fs::remove(logPath_, error); // a run refused before its first line leaves no log
    }
    if (!folded_) {
        return;
    }
    for (auto const& [line, count] : folded_->lines) {
        auto const text = count > 1 ? line + " (" + std::to_string(count) + " times)" : line;
        if (bar_) {
            bar_->writeLine(text);
        } else {
            std::fprintf(stderr, "%s\n", text.c_str());
        }
    }
}

} // namespace rastrum_host

#include "console/console_route.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <utility>
#include <vector>

#include "core/errors.hpp"

namespace rastrum_host {

struct ConsoleRoute::Folded {
    std::mutex mutex;
    std::vector<std::pair<std::string, std::size_t>> lines; // in the order they first came, with their count
};

ConsoleRoute::ConsoleRoute(std::string const& logPath, bool quiet, ProgressBar* bar) {
    if (!logPath.empty()) {
        std::filesystem::path const path(logPath);
        auto const folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
        std::error_code error;
        if (!std::filesystem::is_directory(folder, error) || std::filesystem::is_directory(path, error)) {
            throw InputError("--log " + logPath + ": cannot be written there");
        }
        log_ = std::make_shared<std::ofstream>();
        previous_ = Lumen::Console::setSink([log = log_, logPath](std::string const& line) {
            if (!log->is_open()) {
                log->open(logPath);
            }
            *log << line << '\n' << std::flush;
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

#include "console/console_route.hpp"

#include <filesystem>

#include "core/errors.hpp"

namespace rastrum_host {

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
    } else if (bar) {
        previous_ = Lumen::Console::setSink([bar](std::string const& line) { bar->writeLine(line); });
    } else {
        previous_ = Lumen::Console::setSink({});
    }
}

ConsoleRoute::~ConsoleRoute() { Lumen::Console::setSink(previous_); }

} // namespace rastrum_host

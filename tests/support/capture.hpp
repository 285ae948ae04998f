#pragma once

#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "Lumen/Console.hpp"
#include "Lumen/LoaderProgress.hpp"

namespace testing_support {

// Collects the console lines emitted while it is alive.
class ConsoleCapture {
public:
    ConsoleCapture()
        : previous_(Lumen::Console::setSink([this](std::string const& line) { lines_.push_back(line); })) {}
    ConsoleCapture(ConsoleCapture const&) = delete;
    ConsoleCapture& operator=(ConsoleCapture const&) = delete;
    ~ConsoleCapture() { Lumen::Console::setSink(previous_); }

    // The console serialises emission, so reading after the call is safe.
    std::vector<std::string> const& lines() const { return lines_; }

private:
    std::vector<std::string> lines_;
    Lumen::Console::Sink previous_;
};

struct Report {
    std::string text;
    std::uint32_t current;
    std::uint32_t total;
    friend bool operator==(Report const&, Report const&) = default;
};

// Records progress reports from any number of threads.
class ProgressRecorder : public Lumen::LoaderProgress {
public:
    void report(std::string const& text, std::uint32_t current, std::uint32_t total) override {
        std::lock_guard const lock(mutex_);
        reports_.push_back({text, current, total});
    }
    std::vector<Report> reports() const {
        std::lock_guard const lock(mutex_);
        return reports_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<Report> reports_;
};

// A progress sink that fails, as a host's cancel button may.
class ThrowingProgress : public Lumen::LoaderProgress {
public:
    void report(std::string const&, std::uint32_t, std::uint32_t) override { throw std::runtime_error("cancelled"); }
};

} // namespace testing_support

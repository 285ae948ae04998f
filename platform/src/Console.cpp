#include "Lumen/Console.hpp"

#include <iostream>
#include <mutex>
#include <utility>

namespace Lumen {
namespace {

void writeToStandardError(std::string const& line) { std::cerr << line << '\n'; }

struct SinkState {
    std::mutex mutex;
    Console::Sink sink = writeToStandardError;
};

SinkState& sinkState() {
    static SinkState state;
    return state;
}

} // namespace

Console::Console() = default;

Console::~Console() {
    auto& state = sinkState();
    std::lock_guard const lock(state.mutex);
    state.sink(line_.str());
}

Console& Console::operator<<(char const* text) {
    line_ << text;
    return *this;
}

Console& Console::operator<<(std::string const& text) {
    line_ << text;
    return *this;
}

Console& Console::operator<<(double value) {
    line_ << value;
    return *this;
}

Console::Sink Console::setSink(Sink sink) {
    auto& state = sinkState();
    std::lock_guard const lock(state.mutex);
    if (!sink) {
        sink = writeToStandardError;
    }
    return std::exchange(state.sink, std::move(sink));
}

} // namespace Lumen

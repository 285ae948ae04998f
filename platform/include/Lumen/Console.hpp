#pragma once

#include <concepts>
#include <functional>
#include <sstream>
#include <string>

namespace Lumen {

// The host's diagnostic console. A Console is built on the stack, written to,
// and emits its text as one line when it is destroyed. Lines go to a sink that
// is standard error unless a host or a test installs another one; emission is
// serialised, so threads may log at the same time.
class Console {
public:
    using Sink = std::function<void(std::string const& line)>;

    Console();
    Console(Console const&) = delete;
    Console& operator=(Console const&) = delete;
    ~Console();

    Console& operator<<(char const* text);
    Console& operator<<(std::string const& text);
    Console& operator<<(double value);

    template <std::integral I>
        requires(!std::same_as<I, bool> && !std::same_as<I, char>)
    Console& operator<<(I value) {
        line_ << value;
        return *this;
    }

    // Installs a sink and returns the one it replaces; an empty sink restores
    // the default (standard error).
    static Sink setSink(Sink sink);

private:
    std::ostringstream line_;
};

} // namespace Lumen

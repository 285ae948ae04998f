#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace bench {

// Sends standard output to /dev/null while alive, for an operation that
// prints a progress line per fragment.
class StdoutSilencer {
public:
    StdoutSilencer() {
        flush();
        saved_ = dup(STDOUT_FILENO);
        int const null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        close(null);
    }
    StdoutSilencer(StdoutSilencer const&) = delete;
    StdoutSilencer& operator=(StdoutSilencer const&) = delete;
    ~StdoutSilencer() {
        flush();
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }

private:
    static void flush() {
        std::cout.flush();
        std::fflush(stdout);
    }

    int saved_;
};

} // namespace bench

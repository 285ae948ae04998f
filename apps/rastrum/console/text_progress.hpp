#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>

#include "Lumen/LoaderProgress.hpp"

namespace rastrum_host {

// Progress as GDAL's own tools print it when not on a terminal:
//   0...10...20...30...40...50...60...70...80...90...100 - done.
// a dot every 2.5 %, the tens as numbers. Counts the reports that arrive
// against their total, as the progress bar does.
class TextProgress : public Lumen::LoaderProgress {
public:
    explicit TextProgress(std::FILE* stream) : stream_(stream) {}
    TextProgress(TextProgress const&) = delete;
    TextProgress& operator=(TextProgress const&) = delete;

    void report(std::string const& text, std::uint32_t current, std::uint32_t total) override;

private:
    std::FILE* stream_;
    std::mutex mutex_;
    std::uint64_t done_ = 0;
    int printed_ = -1; // the last of the 41 marks printed (0 %, 2.5 %, ..., 100 %)
};

} // namespace rastrum_host

#include "console/text_progress.hpp"

#include <algorithm>

namespace rastrum_host {

void TextProgress::report(std::string const&, std::uint32_t, std::uint32_t total) {
    std::scoped_lock const lock(mutex_);
    ++done_;
    int const reached = total == 0 ? 40 : static_cast<int>(std::min<std::uint64_t>(done_, total) * 40 / total);
    if (printed_ < 0) {
        std::fputc('0', stream_);
        printed_ = 0;
    }
    for (int mark = printed_ + 1; mark <= reached; ++mark) {
        if (mark % 4 == 0) {
            std::fprintf(stream_, "%d", mark / 4 * 10);
        } else {
            std::fputc('.', stream_);
        }
    }
    if (reached == 40 && printed_ < 40) {
        std::fputs(" - done.\n", stream_);
    }
    printed_ = std::max(printed_, reached);
    std::fflush(stream_);
}

} // namespace rastrum_host

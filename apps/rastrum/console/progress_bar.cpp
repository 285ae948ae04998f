#include "console/progress_bar.hpp"

#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace rastrum_host {
namespace {

constexpr std::size_t barWidth = 30;

std::string labelOf(std::string_view text) {
    auto const end = text.find_last_not_of(" #");
    return std::string(text.substr(0, end == std::string_view::npos ? 0 : end + 1));
}

} // namespace

ProgressBar::ProgressBar(std::FILE* stream, Drawing drawing)
    : stream_(stream), enabled_(drawing == Drawing::Always || isatty(fileno(stream)) == 1) {}

ProgressBar::~ProgressBar() { finish(); }

void ProgressBar::report(std::string const& text, std::uint32_t /*current*/, std::uint32_t total) {
    if (!enabled_) {
        return;
    }
    std::string label = labelOf(text);
    std::scoped_lock const lock(mutex_);
    if (running_ && (label != label_ || total != total_ || done_ >= total_)) {
        endLine();
    }
    if (!running_) {
        running_ = true;
        label_ = std::move(label);
        total_ = total;
        done_ = 0;
    }
    ++done_;
    draw();
}

void ProgressBar::finish() {
    if (!enabled_) {
        return;
    }
    std::scoped_lock const lock(mutex_);
    if (running_) {
        endLine();
    }
}

void ProgressBar::writeLine(std::string const& line) {
    std::scoped_lock const lock(mutex_);
    bool const shown = enabled_ && running_;
    // Carriage return and erase to the end of the line: the bar only draws on terminals.
    std::fprintf(stream_, "%s%s\n", shown ? "\r\033[K" : "", line.c_str());
    if (shown) {
        draw();
    }
    std::fflush(stream_);
}

void ProgressBar::endLine() {
    std::fputc('\n', stream_);
    std::fflush(stream_);
    running_ = false;
}

void ProgressBar::draw() {
    std::uint64_t const shown = std::min(done_, total_);
    std::uint64_t const percent = total_ == 0 ? 100 : shown * 100 / total_;
    auto const filled = static_cast<std::size_t>(total_ == 0 ? barWidth : shown * barWidth / total_);
    std::string const bar = std::string(filled, '#') + std::string(barWidth - filled, '-');
    std::fprintf(stream_, "\r%s [%s] %u/%u %3u%%", label_.c_str(), bar.c_str(), static_cast<unsigned>(shown),
                 static_cast<unsigned>(total_), static_cast<unsigned>(percent));
    std::fflush(stream_);
}

} // namespace rastrum_host

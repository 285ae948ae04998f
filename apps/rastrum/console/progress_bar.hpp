#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

#include "Lumen/LoaderProgress.hpp"

namespace rastrum_host {

// Shows the library's progress reports as one line, rewritten in place:
//   Smoothing [#########---------------------] 12/40  30%
// The label is the report text without the trailing "#" the library writes
// before a fragment number. Reports come from worker threads in any order, so
// the bar counts the reports that have arrived instead of showing the last
// number. A report with another text or total, or one after the count reached
// the total, ends the line and starts a new bar.
//
// Draws only when the stream is a terminal, so logs and pipes stay clean;
// Drawing::Always draws anyway (for tests). Reports may arrive on any thread.
class ProgressBar : public Lumen::LoaderProgress {
public:
    enum class Drawing { OnTerminal, Always };

    explicit ProgressBar(std::FILE* stream, Drawing drawing = Drawing::OnTerminal);
    ProgressBar(ProgressBar const&) = delete;
    ProgressBar& operator=(ProgressBar const&) = delete;
    ~ProgressBar() override;

    void report(std::string const& text, std::uint32_t current, std::uint32_t total) override;

    // Ends the current line, if a bar is shown.
    void finish();

    // Writes a line of text to the bar's stream above the bar, which is
    // redrawn below it with its count kept.
    void writeLine(std::string const& line);

private:
    void endLine();
    void draw();

    std::FILE* stream_;
    bool enabled_;
    std::mutex mutex_;
    bool running_ = false;
    std::string label_;
    std::uint32_t done_ = 0;
    std::uint32_t total_ = 0;
};

} // namespace rastrum_host

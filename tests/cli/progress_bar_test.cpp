#include "console/progress_bar.hpp"
#include "console/console_route.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Lumen/Console.hpp"
#include "cli_support.hpp"

namespace {

// Everything written to a FILE*, kept in memory.
class CapturedStream {
public:
    CapturedStream() : stream_(open_memstream(&buffer_, &size_)) {}
    CapturedStream(CapturedStream const&) = delete;
    CapturedStream& operator=(CapturedStream const&) = delete;
    ~CapturedStream() {
        std::fclose(stream_);
        std::free(buffer_);
    }
    std::FILE* stream() const { return stream_; }
    std::string text() {
        std::fflush(stream_);
        return {buffer_, size_};
    }

private:
    char* buffer_ = nullptr;
    std::size_t size_ = 0;
    std::FILE* stream_;
};

TEST(ProgressBar, DrawsOneLineRewrittenPerReport) {
    CapturedStream out;
    {
        rastrum_host::ProgressBar bar(out.stream(), rastrum_host::ProgressBar::Drawing::Always);
        bar.report("Smoothing #", 0, 3);
        bar.report("Smoothing #", 1, 3);
        bar.report("Smoothing #", 2, 3);
        bar.finish();
        bar.finish();
    }
    EXPECT_EQ(out.text(), "\rSmoothing [##########--------------------] 1/3  33%"
                          "\rSmoothing [####################----------] 2/3  66%"
                          "\rSmoothing [##############################] 3/3 100%\n");
}

TEST(ProgressBar, LinesOfTextGoAboveTheBarWhichKeepsItsCount) {
    CapturedStream out;
    {
        rastrum_host::ProgressBar bar(out.stream(), rastrum_host::ProgressBar::Drawing::Always);
        bar.writeLine("before any bar");
        bar.report("Smoothing #", 0, 2);
        bar.writeLine("Threshold");
        bar.report("Smoothing #", 1, 2);
    }
    EXPECT_EQ(out.text(), "before any bar\n"
                          "\rSmoothing [###############---------------] 1/2  50%"
                          "\r\033[KThreshold\n"
                          "\rSmoothing [###############---------------] 1/2  50%"
                          "\rSmoothing [##############################] 2/2 100%\n");
}

TEST(ProgressBar, NewTextTotalOrCompletedRunStartsANewLine) {
    CapturedStream out;
    {
        rastrum_host::ProgressBar bar(out.stream(), rastrum_host::ProgressBar::Drawing::Always);
        bar.report("Applying Sobel to current Fragment # ", 0, 1);
        bar.report("Applying Sobel to current Fragment # ", 0, 1);
        bar.report("Applying Sobel to current Fragment # ", 0, 2);
        bar.report("Smoothing #", 0, 2);
    } // the destructor ends the open line
    std::string const full(30, '#');
    std::string const half = std::string(15, '#') + std::string(15, '-');
    EXPECT_EQ(out.text(), "\rApplying Sobel to current Fragment [" + full + "] 1/1 100%\n" +
                              "\rApplying Sobel to current Fragment [" + full + "] 1/1 100%\n" +
                              "\rApplying Sobel to current Fragment [" + half + "] 1/2  50%\n" +
                              "\rSmoothing [" + half + "] 1/2  50%\n");
}

TEST(ProgressBar, SilentWhenTheStreamIsNoTerminal) {
    CapturedStream out;
    {
        rastrum_host::ProgressBar bar(out.stream());
        bar.report("Smoothing #", 0, 2);
        bar.finish();
    }
    EXPECT_EQ(out.text(), "");
}

// Reports from many threads are each counted once and drawn whole, in order.
TEST(ProgressBar, CountsReportsFromWorkerThreads) {
    constexpr unsigned threads = 8;
    constexpr unsigned perThread = 200;
    constexpr unsigned total = threads * perThread;
    CapturedStream out;
    {
        rastrum_host::ProgressBar bar(out.stream(), rastrum_host::ProgressBar::Drawing::Always);
        std::vector<std::jthread> workers;
        for (unsigned t = 0; t < threads; ++t) {
            workers.emplace_back([&bar, t] {
                for (unsigned i = 0; i < perThread; ++i) {
                    bar.report("Smoothing #", t * perThread + i, total);
                }
            });
        }
    }
    std::istringstream lines(out.text());
    std::string segment;
    std::getline(lines, segment, '\r');
    EXPECT_EQ(segment, "");
    unsigned expected = 0;
    while (std::getline(lines, segment, '\r')) {
        ++expected;
        std::string const count = std::to_string(expected) + "/" + std::to_string(total) + " ";
        ASSERT_EQ(segment.rfind("Smoothing [", 0), 0u) << segment;
        ASSERT_NE(segment.find("] " + count), std::string::npos) << segment;
    }
    EXPECT_EQ(expected, total);
    EXPECT_EQ(segment.back(), '\n');
}

} // namespace

TEST(ConsoleRoute, IdenticalLinesAreFoldedWithACountAboveTheBarAndKeptWholeInTheLog) {
    char const* threshold = "Threshold value for : 45 degree is: 32.000000";
    auto const emit = [&] {
        for (int i = 0; i < 3; ++i) {
            Lumen::Console() << threshold;
        }
        Lumen::Console() << "other";
    };
    CapturedStream out;
    {
        rastrum_host::ProgressBar bar(out.stream(), rastrum_host::ProgressBar::Drawing::Always);
        rastrum_host::ConsoleRoute const route("", false, &bar);
        emit();
    }
    EXPECT_EQ(out.text(), std::string(threshold) + " (3 times)\nother\n");
    cli_testing::TempFolder folder;
    {
        rastrum_host::ConsoleRoute const route(folder / "log.txt", false);
        emit();
    }
    std::ifstream log(folder / "log.txt");
    std::string const line(threshold);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(log), {}), line + "\n" + line + "\n" + line + "\nother\n");
}

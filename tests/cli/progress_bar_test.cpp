#include "console/progress_bar.hpp"
#include "console/console_route.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Lumen/Console.hpp"
#include "cli_support.hpp"

namespace {

using rastrum_host::ProgressBar;

// What a bar on `drawn`'s stream shows for `calls`, its destructor ending the open line.
std::string drawn(std::function<void(ProgressBar&)> const& calls,
                  ProgressBar::Drawing drawing = ProgressBar::Drawing::Always) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = open_memstream(&text, &size);
    {
        ProgressBar bar(stream, drawing);
        calls(bar);
    }
    std::fclose(stream);
    std::string shown(text, size);
    std::free(text);
    return shown;
}

TEST(ProgressBar, DrawsOneLineRewrittenPerReport) {
    auto const text = drawn([](ProgressBar& bar) {
        bar.report("Smoothing #", 0, 3);
        bar.report("Smoothing #", 1, 3);
        bar.report("Smoothing #", 2, 3);
        bar.finish();
        bar.finish();
    });
    EXPECT_EQ(text, "\rSmoothing [##########--------------------] 1/3  33%"
                    "\rSmoothing [####################----------] 2/3  66%"
                    "\rSmoothing [##############################] 3/3 100%\n");
}

TEST(ProgressBar, LinesOfTextGoAboveTheBarWhichKeepsItsCount) {
    auto const text = drawn([](ProgressBar& bar) {
        bar.writeLine("before any bar");
        bar.report("Smoothing #", 0, 2);
        bar.writeLine("Threshold");
        bar.report("Smoothing #", 1, 2);
    });
    EXPECT_EQ(text, "before any bar\n"
                    "\rSmoothing [###############---------------] 1/2  50%"
                    "\r\033[KThreshold\n"
                    "\rSmoothing [###############---------------] 1/2  50%"
                    "\rSmoothing [##############################] 2/2 100%\n");
}

TEST(ProgressBar, NewTextTotalOrCompletedRunStartsANewLine) {
    auto const text = drawn([](ProgressBar& bar) {
        bar.report("Applying Sobel to current Fragment # ", 0, 1);
        bar.report("Applying Sobel to current Fragment # ", 0, 1);
        bar.report("Applying Sobel to current Fragment # ", 0, 2);
        bar.report("Smoothing #", 0, 2);
    });
    std::string const full(30, '#');
    std::string const half = std::string(15, '#') + std::string(15, '-');
    EXPECT_EQ(text, "\rApplying Sobel to current Fragment [" + full + "] 1/1 100%\n" +
                    "\rApplying Sobel to current Fragment [" + full + "] 1/1 100%\n" +
                    "\rApplying Sobel to current Fragment [" + half + "] 1/2  50%\n" +
                    "\rSmoothing [" + half + "] 1/2  50%\n");
}

TEST(ProgressBar, SilentWhenTheStreamIsNoTerminal) {
    auto const text = drawn([](ProgressBar& bar) {
        bar.report("Smoothing #", 0, 2);
        bar.finish();
    }, ProgressBar::Drawing::OnTerminal);
    EXPECT_EQ(text, "");
}

// Reports from many threads are each counted once and drawn whole, in order.
TEST(ProgressBar, CountsReportsFromWorkerThreads) {
    constexpr unsigned threads = 8;
    constexpr unsigned perThread = 200;
    constexpr unsigned total = threads * perThread;
    std::istringstream lines(drawn([&](ProgressBar& bar) {
        std::vector<std::jthread> workers;
        for (unsigned t = 0; t < threads; ++t) {
            workers.emplace_back([&bar, t] {
                for (unsigned i = 0; i < perThread; ++i) {
                    bar.report("Smoothing #", t * perThread + i, total);
                }
            });
        }
    }));
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
    EXPECT_EQ(drawn([&](ProgressBar& bar) {
                  rastrum_host::ConsoleRoute const route("", false, &bar);
                  emit();
              }),
              std::string(threshold) + " (3 times)\nother\n");
    cli_testing::TempFolder folder;
    {
        rastrum_host::ConsoleRoute const route(folder / "log.txt", false);
        emit();
    }
    std::string const line = threshold + std::string("\n");
    EXPECT_EQ(cli_testing::contents(folder / "log.txt"), line + line + line + "other\n");
}

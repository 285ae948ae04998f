#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Lumen/Console.hpp"
#include "support/capture.hpp"

TEST(Console, EmitsOneLineWhenDestroyed) {
    testing_support::ConsoleCapture capture;
    {
        Lumen::Console console;
        console << " Data at T=" << 0.5 << " of " << 42u << std::string(" slices, ") << -3 << " " << 1.0 << " "
                << 1e-7;
        EXPECT_TRUE(capture.lines().empty()) << "nothing is emitted before the console goes away";
    }
    Lumen::Console() << "second";
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{" Data at T=0.5 of 42 slices, -3 1 1e-07", "second"}));
}

TEST(Console, SinkIsRestoredAndLinesFromThreadsAllArrive) {
    std::vector<std::string> outer;
    auto const previous = Lumen::Console::setSink([&outer](std::string const& line) { outer.push_back(line); });
    {
        testing_support::ConsoleCapture capture;
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([] {
                for (int n = 0; n < 250; ++n) {
                    Lumen::Console() << "line " << n;
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(capture.lines().size(), 1000u);
    }
    Lumen::Console() << "after";
    Lumen::Console::setSink(previous);
    EXPECT_EQ(outer, std::vector<std::string>{"after"});
}

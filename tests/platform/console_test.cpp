#include <gtest/gtest.h>

#include <string>
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

TEST(Console, CaptureRestoresTheSinkItReplaced) {
    std::vector<std::string> outer;
    auto const previous = Lumen::Console::setSink([&outer](std::string const& line) { outer.push_back(line); });
    {
        testing_support::ConsoleCapture capture;
        Lumen::Console() << "inner";
        EXPECT_EQ(capture.lines(), std::vector<std::string>{"inner"});
    }
    Lumen::Console() << "after";
    Lumen::Console::setSink(previous);
    EXPECT_EQ(outer, std::vector<std::string>{"after"});
}

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Rastrum.hpp"
#include "Velum/UniformGridBuilder.hpp"
#include "support/capture.hpp"
#include "support/grids.hpp"
#include "support/threads.hpp"

using testing_support::ConsoleCapture;
using testing_support::Index;
using testing_support::ProgressRecorder;
using testing_support::Report;

namespace {

// A height grid: height(p) and code(p) per point, spacing dx in x and y.
template <class HeightAt, class CodeAt>
Velum::UniformGridBuilder heightGrid(Index points, Index perFragment, HeightAt heightAt, CodeAt codeAt,
                                     double dx = 1.0) {
    Velum::UniformGridBuilder builder(
        {.points = points, .pointsPerFragment = perFragment, .overlap = {}, .origin = {}, .spacing = {dx, dx, dx}});
    builder.addField<float>("Height", heightAt);
    builder.addField<unsigned char>("CellType", [&](Index const& p) { return static_cast<unsigned char>(codeAt(p)); });
    return builder;
}

auto const risingInY = [](Index const& p) { return 0.5f * static_cast<float>(p[1]); };
auto const allData = [](Index const&) { return 0; };

Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> sobelOf(Velum::UniformGridBuilder const& builder) {
    return (*builder.grid())("Height_Sobel");
}

struct Call {
    Velum::BundlePtr bundle = Velum::BundlePtr::create();
    Lumen::StrongPtr<ProgressRecorder> progress = Lumen::makeStrong<ProgressRecorder>();
    std::string height = "Height";

    void put(double time, std::string const& name, Velum::UniformGridBuilder const& builder) {
        (*bundle)[time]->setGrid(name, builder.grid());
    }
    std::string run(double time, std::string const& grid = "", std::string const& codes = "CellType") {
        return Rastrum::sobelOperator(bundle, height, progress, grid, time, 45.0, codes);
    }
};

} // namespace

TEST(SobelOperator, WritesHeightSobelAndAThresholdLinePerFragmentOnFourThreads) {
    // Four fragments of 3 x 3: each has one interior point.
    auto const grid = heightGrid(Index(6u, 6u, 1u), Index(3u, 3u, 1u), risingInY, allData);
    Call call;
    call.put(0.0, "dem", grid);
    ConsoleCapture console;

    EXPECT_EQ(testing_support::withThreads(4, [&] { return call.run(0.0); }), "");

    std::vector<float> expected(36, 0.0f);
    for (unsigned i : {1u, 4u}) {
        for (unsigned j : {1u, 4u}) {
            expected[i + 6 * j] = 32.0f * 0.5f;
        }
    }
    ASSERT_TRUE(sobelOf(grid));
    EXPECT_EQ(testing_support::gather(grid, *sobelOf(grid), -1.0f), expected);
    std::vector<std::string> lines{" Data at T=0"};
    lines.insert(lines.end(), 4, "Threshold value for : 45 degree is: 16.000000");
    EXPECT_EQ(console.lines(), lines);
    auto reports = call.progress->reports();
    std::ranges::sort(reports, {}, &Report::current);
    for (std::uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(reports.at(i), (Report{"Applying Sobel to current Fragment # ", i, 4}));
    }
}

TEST(SobelOperator, OnlyTheExactTimeIsProcessedButNaNTakesEverySlice) {
    auto const first = heightGrid(Index(3u, 3u, 1u), Index(3u, 3u, 1u), risingInY, allData);
    auto const second = heightGrid(Index(3u, 3u, 1u), Index(3u, 3u, 1u), risingInY, allData);
    Call call;
    call.put(0.0, "dem", first);
    call.put(1.0, "dem", second);
    ConsoleCapture console;

    EXPECT_EQ(call.run(std::nextafter(1.0, 0.0)), "");
    EXPECT_FALSE(sobelOf(first) || sobelOf(second));
    EXPECT_EQ(call.run(std::nan("")), "");
    EXPECT_TRUE(sobelOf(first) && sobelOf(second));
}

TEST(SobelOperator, NamesWhatIsMissingAndTheLastFailureWins) {
    ConsoleCapture console;
    Velum::BundlePtr unbound = Velum::BundlePtr::create();
    unbound->unbind();
    std::string height = "Height";
    EXPECT_EQ(Rastrum::sobelOperator(unbound, height, nullptr, "", 0.0, 45.0, "CellType"),
              "Bundle need to be bound or is NullPtr");

    auto const nonUniform = heightGrid(Index(3u, 3u, 1u), Index(3u, 3u, 1u), risingInY, allData);
    nonUniform.positions()->setPersistentData(nullptr, nullptr, Lumen::Cache::MemCache());
    auto const good = heightGrid(Index(3u, 3u, 1u), Index(3u, 3u, 1u), risingInY, allData);
    Call stopsAtFirst;
    stopsAtFirst.put(0.0, "a", nonUniform);
    stopsAtFirst.put(0.0, "b", good);
    EXPECT_EQ(stopsAtFirst.run(0.0), "This is not a uniform grid: a ...Skipping");
    EXPECT_FALSE(sobelOf(good)) << "the grids after a failure are not visited";

    // With a NaN time both slices run; the later slice's message is returned.
    Call twoFailures;
    twoFailures.put(0.0, "a", heightGrid(Index(3u, 3u, 1u), Index(3u, 3u, 1u), risingInY, allData));
    twoFailures.put(1.0, "a", heightGrid(Index(3u, 3u, 1u), Index(3u, 3u, 1u), risingInY, allData));
    (*twoFailures.bundle)[0.0]->grids().at("a")->getCartesianRepresentation()->setField("Height", nullptr);
    EXPECT_EQ(twoFailures.run(std::nan(""), "", "Codes"), "Found no cell type field:Codes");
    EXPECT_EQ(twoFailures.run(0.0, "", "Codes"), "Can not find height field: Height")
        << "the height field is looked for before the cell types";

    Call cancelled;
    cancelled.put(0.0, "dem", heightGrid(Index(6u, 6u, 1u), Index(3u, 3u, 1u), risingInY, allData));
    EXPECT_EQ(Rastrum::sobelOperator(cancelled.bundle, height, Lumen::makeStrong<testing_support::ThrowingProgress>(),
                                     "", 0.0, 45.0, "CellType"),
              "Fragments left unfinished in grid:dem");
}

TEST(SobelOperator, ZeroSpacingGivesNeitherOutputNorThresholdLine) {
    auto const flat = heightGrid(Index(4u, 4u, 1u), Index(4u, 4u, 1u), risingInY, allData, 0.0);
    Call call;
    call.put(0.0, "dem", flat);
    ConsoleCapture console;

    EXPECT_EQ(call.run(0.0), "");
    ASSERT_TRUE(sobelOf(flat));
    EXPECT_TRUE(sobelOf(flat)->getFragmentIDs().empty());
    EXPECT_EQ(console.lines(), std::vector<std::string>{" Data at T=0"});
}

TEST(SobelOperator, TwoPointWideFragmentsAreZeroAndNarrowerOnesSkipped) {
    // Fragments of 2, 2 and 1 points along x, 4 along y.
    auto const grid = heightGrid(Index(5u, 4u, 1u), Index(2u, 4u, 1u), risingInY, allData);
    Call call;
    call.put(0.0, "dem", grid);
    ConsoleCapture console;

    EXPECT_EQ(call.run(0.0), "");
    auto const sobel = sobelOf(grid);
    ASSERT_TRUE(sobel);
    auto const narrow = sobel->getFragmentID(Index(2u, 0u, 0u));
    EXPECT_EQ(sobel->getFragmentIDs().size(), 2u);
    EXPECT_FALSE(sobel->getData(narrow));
    std::vector<float> expected(20, 0.0f);
    expected[4] = expected[9] = expected[14] = expected[19] = -1.0f; // the skipped column
    EXPECT_EQ(testing_support::gather(grid, *sobel, -1.0f), expected);
}

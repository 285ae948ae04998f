#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Rastrum.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/UniformGridBuilder.hpp"
#include "overwrite/range_mask.hpp"
#include "support/capture.hpp"
#include "support/grids.hpp"

using testing_support::ConsoleCapture;
using testing_support::Index;

namespace {

Tensa::MultiRange<double> ranges(std::vector<std::pair<double, double>> const& intervals) {
    Tensa::MultiRange<double> range;
    for (auto const& [lo, hi] : intervals) {
        range.add(lo, hi);
    }
    return range;
}

// Two fragments of 3 x 1 points; the tested field "Level" holds 0, 1, ..., 5.
template <class T>
Velum::UniformGridBuilder levelGrid() {
    Velum::UniformGridBuilder builder(testing_support::layoutOf(Index(6u, 1u, 1u), Index(3u, 1u, 1u)));
    builder.addField<T>("Level", [](Index const& p) { return static_cast<T>(p[0]); });
    builder.addField<unsigned char>("CellType", [](Index const&) -> unsigned char { return 0; });
    return builder;
}

std::vector<unsigned char> codesOf(Velum::UniformGridBuilder const& grid) {
    return testing_support::gather<unsigned char>(grid, *Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>(
                                                            (*grid.grid())("CellType")),
                                                  255);
}

struct Overwrite {
    std::string out;
    bool result;
    Overwrite(Velum::UniformGridBuilder const& grid, bool invert, Tensa::MultiRange<double> const& range, int value,
              std::string const& field = "Level") {
        testing::internal::CaptureStdout();
        result = Rastrum::overwriteFieldValuesViaOtherField(grid.grid(), invert, field, range, "CellType", value);
        out = testing::internal::GetCapturedStdout();
    }
};

} // namespace

TEST(RangeMask, ToleranceIsOneNanounitAtBothEndsOfEveryInterval) {
    auto const two = ranges({{0.0, 1.0}, {5.0, 6.0}});
    EXPECT_TRUE(Rastrum::insideRanges(two, 1.0 + 0.5e-9));
    EXPECT_FALSE(Rastrum::insideRanges(two, 1.0 + 2e-9));
    EXPECT_TRUE(Rastrum::insideRanges(two, -0.5e-9));
    EXPECT_FALSE(Rastrum::insideRanges(two, 5.0 - 2e-9));
    EXPECT_FALSE(Rastrum::insideRanges(two, 3.0)) << "inside the overall bounds, in no interval";
    EXPECT_TRUE(Rastrum::insideRanges(two, 5.5));
    EXPECT_FALSE(Rastrum::insideRanges(Tensa::MultiRange<double>(), 0.0));
}

TEST(OverwriteFieldValues, WritesTheLowByteWhereTheValueIsInsideAndPrintsProgress) {
    auto const grid = levelGrid<float>();
    Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const codes = (*grid.grid())("CellType");
    auto const creator = codes->getCreator(codes->getFragmentID(Index(1u, 0u, 0u)));

    Overwrite const run(grid, false, ranges({{0.0, 1.0}, {4.0, 4.0}}), 300);
    EXPECT_TRUE(run.result);
    EXPECT_EQ(codesOf(grid), (std::vector<unsigned char>{44, 44, 0, 0, 44, 0}));
    EXPECT_EQ(run.out, "computing fragment 1 / 2       \rcomputing fragment 2 / 2       \r");
    EXPECT_EQ(creator->changeCount(), 1u) << "the changed fragment is touched";
}

TEST(OverwriteFieldValues, InvertWritesOutsideAndAnEmptyListIsNeverInside) {
    auto const inverted = levelGrid<unsigned short>();
    EXPECT_TRUE(Overwrite(inverted, true, ranges({{2.0, 3.0}}), 1).result);
    EXPECT_EQ(codesOf(inverted), (std::vector<unsigned char>{1, 1, 0, 0, 1, 1}));

    auto const none = levelGrid<unsigned short>();
    Overwrite(none, false, Tensa::MultiRange<double>(), 1);
    EXPECT_EQ(codesOf(none), std::vector<unsigned char>(6, 0));
    Overwrite(none, true, Tensa::MultiRange<double>(), 3);
    EXPECT_EQ(codesOf(none), std::vector<unsigned char>(6, 3));
}

TEST(OverwriteFieldValues, EveryTestedTypeGivesTheSameMaskAndOthersCountAsMissing) {
    auto const range = ranges({{1.5, 3.0}});
    std::vector<unsigned char> const expected{0, 0, 9, 9, 0, 0};
    auto check = [&](auto const& grid) {
        EXPECT_TRUE(Overwrite(grid, false, range, 9).result);
        EXPECT_EQ(codesOf(grid), expected);
    };
    check(levelGrid<double>()), check(levelGrid<float>()), check(levelGrid<unsigned char>());
    check(levelGrid<unsigned short>()), check(levelGrid<unsigned int>());

    auto const ints = levelGrid<int>();
    ConsoleCapture console;
    Overwrite const run(ints, false, range, 9);
    EXPECT_TRUE(run.result) << "a fragment failure does not fail the call";
    EXPECT_EQ(codesOf(ints), std::vector<unsigned char>(6, 0));
    EXPECT_EQ(console.lines(), std::vector<std::string>(2, "overwriteFieldValuesViaOtherField: ERROR: no m_data"));
}

TEST(OverwriteFieldValues, MissingPiecesAreNamedOnTheConsole) {
    auto const grid = levelGrid<float>();
    ConsoleCapture console;
    EXPECT_FALSE(Overwrite(grid, false, ranges({{0, 1}}), 1, "Nope").result);
    EXPECT_FALSE(Rastrum::overwriteFieldValuesViaOtherField(grid.grid(), false, "Level", ranges({{0, 1}}), "Mask", 1));
    EXPECT_FALSE(Rastrum::overwriteFieldValuesViaOtherField(nullptr, false, "Level", ranges({{0, 1}}), "Mask", 1));

    auto const noRaster = levelGrid<float>();
    noRaster.positions()->setPersistentData(nullptr, noRaster.positions()->getFragmentID(Index(0u, 0u, 0u)),
                                            Lumen::Cache::MemCache());
    EXPECT_TRUE(Overwrite(noRaster, false, ranges({{0, 5}}), 7).result);
    EXPECT_EQ(codesOf(noRaster), (std::vector<unsigned char>{0, 0, 0, 7, 7, 7}));
    auto const shortTarget = levelGrid<float>();
    Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const codes = (*shortTarget.grid())("CellType");
    codes->setPersistentData(Lumen::makeStrong<Velum::MemArray<3, unsigned char>>(Index(2u, 1u, 1u)),
                             codes->getFragmentID(Index(1u, 0u, 0u)), Lumen::Cache::MemCache());
    EXPECT_TRUE(Overwrite(shortTarget, false, ranges({{0, 5}}), 7).result);
    EXPECT_EQ(console.lines(), (std::vector<std::string>{
                                   "overwriteFieldValuesViaOtherField: ERROR: no f_field found with name Nope",
                                   "overwriteFieldValuesViaOtherField: ERROR: no f_target found with name Mask",
                                   "overwriteFieldValuesViaOtherField: ERROR: no f_raster found",
                                   "overwriteFieldValuesViaOtherField: ERROR: no raster",
                                   "overwriteFieldValuesViaOtherField: ERROR: no m_target"}));
}

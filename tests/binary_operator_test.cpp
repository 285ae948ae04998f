#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Rastrum.hpp"
#include "Velum/Bundle.hpp"
#include "Velum/MemArray.hpp"
#include "binary/binary_mask.hpp"
#include "support/capture.hpp"
#include "support/grids.hpp"
#include "support/instruction_sets.hpp"
#include "support/threads.hpp"

using testing_support::cellTypeGrid;
using testing_support::ConsoleCapture;
using testing_support::Index;
using testing_support::ProgressRecorder;
using testing_support::Report;

namespace {

auto const zero = [](Index const&) -> unsigned char { return 0; };

Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> binaryOf(Velum::UniformGridBuilder const& builder) {
    return (*builder.grid())("Binary");
}

// The reports sorted by fragment number, as parallel fragments report in any order.
std::vector<Report> sorted(std::vector<Report> reports) {
    std::ranges::sort(reports, {}, &Report::current);
    return reports;
}

std::vector<Report> reportsFor(std::vector<std::uint32_t> const& numbers, std::uint32_t count) {
    std::vector<Report> reports;
    for (auto const i : numbers) {
        reports.push_back({"Binary: Fragment # ", i, count});
    }
    return reports;
}

std::vector<std::uint32_t> upTo(std::uint32_t count) {
    std::vector<std::uint32_t> numbers(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        numbers[i] = i;
    }
    return numbers;
}

struct Call {
    Velum::BundlePtr bundle = Velum::BundlePtr::create();
    Lumen::StrongPtr<ProgressRecorder> progress = Lumen::makeStrong<ProgressRecorder>();

    void put(double time, std::string const& name, Velum::UniformGridBuilder const& builder) {
        (*bundle)[time]->setGrid(name, builder.grid());
    }
    std::string run(double time, std::string const& gridName = "", std::string const& field = "CellType") {
        return Rastrum::binaryOperator(bundle, field, progress, gridName, time);
    }
};

} // namespace

TEST(BinaryMask, EveryCodeOffACacheLineAndPastTheCodesOnEveryInstructionSet) {
    Rastrum::CellTypeTable const selected{true, false, false, false, true, false, true};
    std::vector<unsigned char> codes(1000);
    std::iota(codes.begin(), codes.end(), static_cast<unsigned char>(0));
    testing_support::forEachInstructionSet([&](std::string const& set) {
        std::vector<float> mask(codes.size() + 4, -1.0f);
        Rastrum::binaryMask(std::span(codes).subspan(1), std::span(mask).subspan(1), selected);
        for (std::size_t p = 1; p < mask.size(); ++p) {
            ASSERT_EQ(mask[p], p < codes.size() && selected[codes[p]] ? 1.0f : 0.0f) << set << " cell " << p;
        }
    });
}

TEST(BinaryOperator, MarksDataCodesInEveryFragmentOnFourThreadsAndReportsEachOnce) {
    // All 256 codes, one per point, over 4 x 4 fragments with shorter last ones.
    auto const grid = cellTypeGrid(Index(16u, 16u, 1u), Index(5u, 5u, 1u),
                                   [](Index const& p) { return static_cast<unsigned char>(p[0] + 16 * p[1]); });
    Call call;
    call.put(0.0, "terrain", grid);
    ConsoleCapture console;

    EXPECT_EQ(testing_support::withThreads(4, [&] { return call.run(0.0); }), "");

    ASSERT_TRUE(binaryOf(grid));
    std::vector<float> expected;
    for (unsigned code = 0; code < 256; ++code) {
        expected.push_back(code == 0 || code == 4 ? 1.0f : 0.0f);
    }
    EXPECT_EQ(testing_support::gather(grid, *binaryOf(grid), -1.0f), expected);
    EXPECT_EQ(console.lines(), std::vector<std::string>{" Data at T=0"});
    EXPECT_EQ(sorted(call.progress->reports()), reportsFor(upTo(16), 16));
}

TEST(BinaryOperator, ProcessesOnlyTheSliceAtExactlyTheRequestedTime) {
    auto const early = cellTypeGrid(Index(4u, 4u, 1u), Index(2u, 2u, 1u), zero);
    auto const late = cellTypeGrid(Index(4u, 4u, 1u), Index(2u, 2u, 1u), zero);
    Call call;
    call.put(0.5, "g", early);
    call.put(1.0, "g", late);
    ConsoleCapture console;

    EXPECT_EQ(call.run(std::nextafter(1.0, 2.0)), "");
    EXPECT_FALSE(binaryOf(late)) << "no tolerance is applied to the time";
    EXPECT_EQ(call.run(1.0), "");
    EXPECT_FALSE(binaryOf(early));
    EXPECT_TRUE(binaryOf(late));
    EXPECT_EQ(console.lines(), (std::vector<std::string>{" Data at T=0.5", " Data at T=1", " Data at T=0.5",
                                                         " Data at T=1"}));
}

TEST(BinaryOperator, GridNameSelectsOneGridAndAnUnknownNameNone) {
    auto const east = cellTypeGrid(Index(3u, 3u, 1u), Index(3u, 3u, 1u), zero);
    auto const west = cellTypeGrid(Index(3u, 3u, 1u), Index(3u, 3u, 1u), zero);
    Call call;
    call.put(0.0, "east", east);
    call.put(0.0, "west", west);
    ConsoleCapture console;

    EXPECT_EQ(call.run(0.0, "nowhere"), "");
    EXPECT_FALSE(binaryOf(west));
    EXPECT_EQ(call.run(0.0, "west"), "");
    EXPECT_FALSE(binaryOf(east));
    EXPECT_TRUE(binaryOf(west));
}

TEST(BinaryOperator, RefusesAnEmptyOrUnboundBundleBeforeAnythingElse) {
    ConsoleCapture console;
    Velum::BundlePtr empty;
    EXPECT_EQ(Rastrum::binaryOperator(empty, "CellType", nullptr, "", 0.0), "Bundle need to be bound or is NullPtr");
    Call call;
    call.put(0.0, "g", cellTypeGrid(Index(2u, 2u, 1u), Index(2u, 2u, 1u), zero));
    call.bundle->unbind();
    EXPECT_EQ(call.run(0.0), "Bundle need to be bound or is NullPtr");
    EXPECT_TRUE(console.lines().empty());
    EXPECT_TRUE(call.progress->reports().empty());
}

TEST(BinaryOperator, AFailureEndsTheSliceButLaterSlicesAreStillLogged) {
    auto const before = cellTypeGrid(Index(2u, 2u, 1u), Index(2u, 2u, 1u), zero);
    auto const after = cellTypeGrid(Index(2u, 2u, 1u), Index(2u, 2u, 1u), zero);
    auto const noPositions = cellTypeGrid(Index(2u, 2u, 1u), Index(2u, 2u, 1u), zero);
    noPositions.grid()->getCartesianRepresentation()->setField("Positions", nullptr);
    Call call;
    call.put(0.0, "a", before);
    call.put(0.0, "b", noPositions);
    call.put(0.0, "c", after);
    call.put(1.0, "a", cellTypeGrid(Index(2u, 2u, 1u), Index(2u, 2u, 1u), zero));
    ConsoleCapture console;

    EXPECT_EQ(call.run(0.0), "Found no positions field:");
    EXPECT_TRUE(binaryOf(before));
    EXPECT_FALSE(binaryOf(after)) << "the grids after a failure are not visited";
    EXPECT_EQ(console.lines(), (std::vector<std::string>{" Data at T=0", " Data at T=1"}));
}

TEST(BinaryOperator, NamesTheMissingPieceOfAGrid) {
    ConsoleCapture console;
    Call missingField;
    missingField.put(0.0, "g", cellTypeGrid(Index(2u, 2u, 1u), Index(2u, 2u, 1u), zero));
    EXPECT_EQ(missingField.run(0.0, "", "Codes"), "Found no cell type field:Codes");

    Call notFragmented;
    auto const flat = cellTypeGrid(Index(2u, 2u, 1u), Index(2u, 2u, 1u), zero);
    flat.grid()->getCartesianRepresentation()->setField("CellType", Lumen::makeStrong<Velum::Field>());
    notFragmented.put(0.0, "g", flat);
    EXPECT_EQ(notFragmented.run(0.0), "Found no cell type field:CellType");

    Call noFragmentation;
    auto const source = cellTypeGrid(Index(2u, 2u, 1u), Index(2u, 2u, 1u), zero);
    auto const unfragmented = Lumen::makeStrong<Velum::Grid>();
    auto const representation = unfragmented->makeCartesianRepresentation(3);
    representation->setField("Positions", source.positions());
    representation->setField("CellType", (*source.grid())("CellType"));
    (*noFragmentation.bundle)[0.0]->setGrid("g", unfragmented);
    EXPECT_EQ(noFragmentation.run(0.0), "can not create binary field:");
    EXPECT_FALSE((*unfragmented)("Binary"));
}

TEST(BinaryOperator, EmptyLayoutOrNonUniformGridGetsAResultFieldWithoutFragments) {
    auto const empty = cellTypeGrid(Index(0u, 4u, 1u), Index(2u, 2u, 1u), zero);
    auto const nonUniform = cellTypeGrid(Index(4u, 2u, 1u), Index(2u, 2u, 1u), zero);
    nonUniform.positions()->setPersistentData(nullptr, nullptr, Lumen::Cache::MemCache());
    Call call;
    call.put(0.0, "empty", empty);
    call.put(0.0, "nonUniform", nonUniform);
    ConsoleCapture console;

    EXPECT_EQ(call.run(0.0), "");
    for (auto const* grid : {&empty, &nonUniform}) {
        ASSERT_TRUE(binaryOf(*grid));
        EXPECT_TRUE(binaryOf(*grid)->getFragmentIDs().empty());
    }
    EXPECT_TRUE(call.progress->reports().empty());
}

TEST(BinaryOperator, SkipsFragmentsWithoutUsableCellTypesAndStoresEmptyOnes) {
    // Four fragments of 2 x 2: intact, float codes, zero extent, no data.
    auto const grid = cellTypeGrid(Index(8u, 2u, 1u), Index(2u, 2u, 1u), [](Index const&) { return '\4'; });
    Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const codes = (*grid.grid())("CellType");
    auto& cache = Lumen::Cache::MemCache();
    auto const id = [&](unsigned f) { return codes->getFragmentID(Index(f, 0u, 0u)); };
    codes->setPersistentData(Lumen::makeStrong<Velum::MemArray<3, float>>(Index(2u, 2u, 1u)), id(1), cache);
    codes->setPersistentData(Lumen::makeStrong<Velum::MemArray<3, unsigned char>>(Index(0u, 2u, 1u)), id(2), cache);
    codes->setPersistentData(nullptr, id(3), cache);
    Call call;
    call.put(0.0, "g", grid);
    ConsoleCapture console;

    EXPECT_EQ(call.run(0.0), "");
    auto const binary = binaryOf(grid);
    ASSERT_TRUE(binary);
    EXPECT_EQ(binary->getFragmentIDs(), (std::vector{id(0), id(2)}));
    Lumen::StrongPtr<Velum::MemArray<3, float>> const empty = binary->getData(id(2));
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->Size(), Index(0u, 2u, 1u));
    EXPECT_EQ(sorted(call.progress->reports()), reportsFor(upTo(4), 4)) << "reports precede the data checks";
}

TEST(BinaryOperator, AFieldCutFinerThanItsGridIsReadOnlyWithinTheGridsFragments) {
    // A 2 x 2 grid whose cell-type field is cut into 3 x 3 fragments.
    auto const grid = cellTypeGrid(Index(4u, 4u, 1u), Index(2u, 2u, 1u), zero);
    auto const finer = cellTypeGrid(Index(6u, 6u, 1u), Index(2u, 2u, 1u), zero);
    grid.grid()->getCartesianRepresentation()->setField("CellType", (*finer.grid())("CellType"));
    Call call;
    call.put(0.0, "g", grid);
    ConsoleCapture console;

    EXPECT_EQ(call.run(0.0), "");
    EXPECT_EQ(sorted(call.progress->reports()), reportsFor({0, 1, 3, 4}, 9));
}

TEST(BinaryOperator, AThrowingProgressSinkStopsTheGridWithAMessage) {
    Call call;
    call.put(0.0, "g", cellTypeGrid(Index(4u, 4u, 1u), Index(2u, 2u, 1u), zero));
    ConsoleCapture console;
    EXPECT_EQ(Rastrum::binaryOperator(call.bundle, "CellType", Lumen::makeStrong<testing_support::ThrowingProgress>(),
                                      "", 0.0),
              "Fragments left unfinished in grid:g");
}

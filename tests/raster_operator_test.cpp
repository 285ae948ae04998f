#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <string>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Rastrum.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/UniformGridBuilder.hpp"
#include "support/capture.hpp"
#include "support/grids.hpp"

using testing_support::Index;
using FieldPtr = Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>;

namespace {

auto const allData = [](Index const&) { return 0; };

// A raster "H" of element type T with cell types, cut into fragments.
template <class T, class ValueAt, class CodeAt = decltype(allData)>
Velum::UniformGridBuilder raster(Index points, Index perFragment, ValueAt valueAt, CodeAt codeAt = allData) {
    Velum::UniformGridBuilder builder(testing_support::layoutOf(points, perFragment));
    builder.addField<T>("H", [&](Index const& p) { return static_cast<T>(valueAt(p)); });
    builder.addField<unsigned char>("CellType", [&](Index const& p) { return static_cast<unsigned char>(codeAt(p)); });
    return builder;
}

struct Combination {
    Velum::Grid result;
    bool hasData = false;
    std::string message;

    Combination(Velum::UniformGridBuilder const& first, Velum::UniformGridBuilder const& second, Rastrum::Operandi::Operation op,
        std::string const& firstField = "H", std::string const& secondField = "H") {
        hasData = true; // the call must reset it
        message = Rastrum::rasterOperator(*first.grid(), *second.grid(), result, firstField, secondField,
                                          Rastrum::Operandi{op}, hasData, nullptr);
    }
    FieldPtr field(std::string const& name) const { return result(name); }
};

float heightOfLater(Index const& p) { return 100.0f + static_cast<float>(p[0]) + 10.0f * static_cast<float>(p[1]); }
float heightOfEarlier(Index const& p) { return 90.0f + 0.5f * static_cast<float>(p[0]); }

} // namespace

TEST(RasterOperator, SetupFailuresComeInOrderAndLeaveTheResultAlone) {
    auto const full = raster<float>(Index(2u, 2u, 1u), Index(2u, 2u, 1u), heightOfLater);
    auto const noPositions = raster<float>(Index(2u, 2u, 1u), Index(2u, 2u, 1u), heightOfLater);
    noPositions.grid()->getCartesianRepresentation()->setField("Positions", nullptr);
    auto const noCodes = raster<float>(Index(2u, 2u, 1u), Index(2u, 2u, 1u), heightOfLater);
    noCodes.grid()->getCartesianRepresentation()->setField("CellType", nullptr);
    auto const bare = Velum::UniformGridBuilder(testing_support::layoutOf(Index(2u, 2u, 1u), Index(2u, 2u, 1u)));

    struct Case {
        Velum::UniformGridBuilder const& first;
        Velum::UniformGridBuilder const& second;
        char const* firstField;
        char const* secondField;
        char const* message;
    };
    for (auto const& c : {Case{full, full, "Nope", "H", "a Have no field=Nope"},
                          Case{noPositions, bare, "H", "Missing", "apos Have no field-positions=H"},
                          Case{full, full, "H", "Missing", "b Have no field=Missing"},
                          Case{noCodes, full, "H", "H", "ca No celltype for=H"},
                          Case{full, noCodes, "H", "H", "cb No celltype for=H"},
                          Case{noCodes, noCodes, "H", "Missing", "b Have no field=Missing"},
                          Case{noCodes, noCodes, "H", "H", "ca No celltype for=H"}}) {
        Combination const run(c.first, c.second, Rastrum::Operandi::Subtract, c.firstField, c.secondField);
        EXPECT_EQ(run.message, c.message);
        EXPECT_FALSE(run.hasData);
        EXPECT_FALSE(run.result.getCartesianRepresentation()) << c.message;
    }
}

TEST(RasterOperator, ZeroFragmentsGiveTheThreeFieldsWithoutData) {
    auto const empty = raster<float>(Index(0u, 4u, 1u), Index(2u, 2u, 1u), heightOfLater);
    Combination const run(empty, empty, Rastrum::Operandi::Add);
    EXPECT_EQ(run.message, "");
    EXPECT_FALSE(run.hasData);
    auto const representation = run.result.getCartesianRepresentation();
    ASSERT_TRUE(representation);
    std::vector<std::string> names;
    for (auto const& [name, field] : representation->fields()) {
        names.push_back(name);
        EXPECT_TRUE(field->getFragmentIDs().empty());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"CellType", "Height", "Positions"}));
}

TEST(RasterOperator, DifferenceOfSurveysIsZeroAndMaskedAtHolesOfEither) {
    auto const laterCode = [](Index const& p) { return p[0] == 0 ? 2 : 0; };
    auto const earlierCode = [](Index const& p) { return p[1] == 3 ? 1 : p[0] == 5 ? 4 : 0; };
    auto const later = raster<float>(Index(6u, 4u, 1u), Index(3u, 2u, 1u), heightOfLater, laterCode);
    auto const earlier = raster<float>(Index(6u, 4u, 1u), Index(3u, 2u, 1u), heightOfEarlier, earlierCode);

    Combination const run(later, earlier, Rastrum::Operandi::Subtract);
    EXPECT_EQ(run.message, "");
    EXPECT_TRUE(run.hasData);

    std::vector<float> height;
    std::vector<unsigned char> mask;
    for (unsigned j = 0; j < 4; ++j) {
        for (unsigned i = 0; i < 6; ++i) {
            Index const p(i, j, 0u);
            bool const hole = laterCode(p) != 0 || earlierCode(p) == 1;
            height.push_back(hole ? 0.0f : heightOfLater(p) - heightOfEarlier(p));
            mask.push_back(hole ? 1 : 0);
        }
    }
    EXPECT_EQ(testing_support::gather(later, *run.field("Height"), -1.0f), height);
    EXPECT_EQ(testing_support::gather<unsigned char>(later, *run.field("CellType"), 9), mask);

    Index const at(1u, 1u, 0u);
    Velum::Field::CreatorPtr const shared = (*run.field("Positions"))[at];
    EXPECT_EQ(shared.getPointer(), Velum::Field::CreatorPtr((*later.positions())[at]).getPointer())
        << "positions are shared with the first grid, not copied";
}

template <class T>
class RasterElementTypes : public testing::Test {};
using ElementTypes = testing::Types<float, double, unsigned char, unsigned short, unsigned int, unsigned long long, int>;
TYPED_TEST_SUITE(RasterElementTypes, ElementTypes);

TYPED_TEST(RasterElementTypes, EveryOperationMatchesAnIndependentComputation) {
    using T = TypeParam;
    using Result = std::conditional_t<std::is_floating_point_v<T>, T, int>;
    auto const a = [](Index const& p) { return static_cast<T>(7 + (p[0] + 3 * p[1]) % 5); };
    auto const b = [](Index const& p) { return static_cast<T>(1 + (p[0] + p[1]) % 9); };
    auto const first = raster<T>(Index(5u, 4u, 1u), Index(3u, 3u, 1u), a);
    auto const second = raster<T>(Index(5u, 4u, 1u), Index(3u, 3u, 1u), b);

    for (auto const op : {Rastrum::Operandi::Subtract, Rastrum::Operandi::Add, Rastrum::Operandi::Divide,
                          Rastrum::Operandi::Multiply}) {
        Combination const run(first, second, op);
        ASSERT_EQ(run.message, "");
        std::vector<Result> expected;
        for (unsigned j = 0; j < 4; ++j) {
            for (unsigned i = 0; i < 5; ++i) {
                auto const x = a(Index(i, j, 0u));
                auto const y = b(Index(i, j, 0u));
                if constexpr (std::is_floating_point_v<T>) {
                    expected.push_back(op == 0 ? T(x - y) : op == 1 ? T(x + y) : op == 2 ? T(x / y) : T(x * y));
                } else {
                    auto const wx = static_cast<long long>(x);
                    auto const wy = static_cast<long long>(y);
                    expected.push_back(static_cast<int>(op == 0 ? wx - wy : op == 1 ? wx + wy : op == 2 ? wx / wy : wx * wy));
                }
            }
        }
        EXPECT_EQ(testing_support::gather<Result>(first, *run.field("Height"), Result(-99)), expected) << "op " << op;
    }
}

TEST(RasterOperator, FragmentsWithoutDataCellsOrWithAnAllZeroResultAreDropped) {
    // Three fragments along x: all holes in the first grid, equal values, different values.
    auto const first = raster<float>(Index(6u, 2u, 1u), Index(2u, 2u, 1u), heightOfLater,
                                     [](Index const& p) { return p[0] < 2 ? 3 : 0; });
    auto const second = raster<float>(Index(6u, 2u, 1u), Index(2u, 2u, 1u),
                                      [](Index const& p) { return heightOfLater(p) - (p[0] >= 4 ? 1.0f : 0.0f); });
    Combination const run(first, second, Rastrum::Operandi::Subtract);
    EXPECT_TRUE(run.hasData);
    auto const positions = run.field("Positions");
    auto const id = [&](unsigned f) { return positions->getFragmentID(Index(f, 0u, 0u)); };
    EXPECT_EQ(positions->getFragmentIDs(), std::vector{id(2)});
    EXPECT_EQ(run.field("Height")->getFragmentIDs(), std::vector{id(2)});
    EXPECT_EQ(run.field("CellType")->getFragmentIDs(), std::vector{id(2)});

    Combination const same(first, first, Rastrum::Operandi::Subtract);
    EXPECT_FALSE(same.hasData) << "a - a leaves nothing";
    EXPECT_TRUE(same.field("Positions")->getFragmentIDs().empty());
}

TEST(RasterOperator, FragmentsOfOtherExtentsOrElementTypesGetNoDataButKeepPositions) {
    auto const first = raster<float>(Index(6u, 2u, 1u), Index(2u, 2u, 1u), heightOfLater);
    auto const second = raster<float>(Index(6u, 2u, 1u), Index(2u, 2u, 1u), heightOfEarlier);
    FieldPtr const h = (*second.grid())("H");
    auto& cache = Lumen::Cache::MemCache();
    h->setPersistentData(Lumen::makeStrong<Velum::MemArray<3, double>>(Index(2u, 2u, 1u)),
                         h->getFragmentID(Index(0u, 0u, 0u)), cache);
    h->setPersistentData(Lumen::makeStrong<Velum::MemArray<3, float>>(Index(2u, 1u, 2u)),
                         h->getFragmentID(Index(1u, 0u, 0u)), cache);

    Combination const run(first, second, Rastrum::Operandi::Add);
    auto const positions = run.field("Positions");
    auto const id = [&](unsigned f) { return positions->getFragmentID(Index(f, 0u, 0u)); };
    EXPECT_EQ(run.field("Height")->getFragmentIDs(), std::vector{id(2)});
    EXPECT_EQ(positions->getFragmentIDs(), (std::vector{id(0), id(1), id(2)}));
}

TEST(RasterOperator, FragmentIdentityIsTestedOnTheSecondFieldAndTheFirstCellTypes) {
    // The first grid has two fragments; the second's data field covers only one.
    auto const first = raster<float>(Index(4u, 2u, 1u), Index(2u, 2u, 1u), heightOfLater);
    auto const narrow = raster<float>(Index(2u, 2u, 1u), Index(2u, 2u, 1u), heightOfEarlier);
    Combination const shortData(first, narrow, Rastrum::Operandi::Add);
    auto const id = [&](Combination const& run, unsigned f) {
        return run.field("Positions")->getFragmentID(Index(f, 0u, 0u));
    };
    EXPECT_EQ(shortData.field("Positions")->getFragmentIDs(), (std::vector{id(shortData, 0), id(shortData, 1)}))
        << "skipped without touching the shared positions";

    // The second's cell types cover only one fragment: that fragment loses its positions.
    auto const wide = raster<float>(Index(4u, 2u, 1u), Index(2u, 2u, 1u), heightOfEarlier);
    wide.grid()->getCartesianRepresentation()->setField("CellType", (*narrow.grid())("CellType"));
    Combination const shortCodes(first, wide, Rastrum::Operandi::Add);
    EXPECT_EQ(shortCodes.field("Positions")->getFragmentIDs(), std::vector{id(shortCodes, 0)});
}

TEST(RasterOperatorDeathTest, ZeroDivisorsGiveInfinitiesForFloatsAndAreFatalForIntegersAtDataCells) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const numerator = [](Index const& p) { return p[0] == 0 ? 0 : 3; };
    auto const zero = [](Index const&) { return 0; };
    Combination const floats(raster<float>(Index(2u, 1u, 1u), Index(2u, 1u, 1u), numerator),
                             raster<float>(Index(2u, 1u, 1u), Index(2u, 1u, 1u), zero), Rastrum::Operandi::Divide);
    Lumen::StrongPtr<Velum::MemArray<3, float>> const quotient = floats.field("Height")->getFirstCreator()->getData();
    ASSERT_TRUE(quotient);
    EXPECT_TRUE(std::isnan(quotient->values()[0]));
    EXPECT_EQ(quotient->values()[1], INFINITY);

    auto const nine = raster<int>(Index(3u, 1u, 1u), Index(3u, 1u, 1u), [](Index const&) { return 9; });
    auto const divisor = [](Index const& p) { return p[0] == 1 ? 0 : 2; };
    auto const atData = raster<int>(Index(3u, 1u, 1u), Index(3u, 1u, 1u), divisor);
    // The default action, not a sanitizer's report, is what a caller meets.
    EXPECT_EXIT((std::signal(SIGFPE, SIG_DFL), Combination(nine, atData, Rastrum::Operandi::Divide)),
                testing::KilledBySignal(SIGFPE), "");
    auto const atHole = raster<int>(Index(3u, 1u, 1u), Index(3u, 1u, 1u), divisor,
                                   [](Index const& p) { return p[0] == 1 ? 1 : 0; });
    Combination const run(nine, atHole, Rastrum::Operandi::Divide);
    Lumen::StrongPtr<Velum::MemArray<3, int>> const height = run.field("Height")->getFirstCreator()->getData();
    ASSERT_TRUE(height);
    EXPECT_EQ(std::vector<int>(height->values().begin(), height->values().end()), (std::vector{4, 0, 4}))
        << "a hole is not divided";
}

TEST(RasterOperatorDeathTest, AnOperationOutsideTheFourEndsTheProcessAtTheFirstKernel) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const data = raster<float>(Index(2u, 2u, 1u), Index(2u, 2u, 1u), heightOfLater);
    auto const invalid = static_cast<Rastrum::Operandi::Operation>(7);
    EXPECT_EXIT(Combination(data, data, invalid), testing::ExitedWithCode(1), "wrong input");

    auto const holes = raster<float>(Index(2u, 2u, 1u), Index(2u, 2u, 1u), heightOfLater,
                                     [](Index const&) { return 1; });
    Combination const untouched(holes, holes, invalid);
    EXPECT_EQ(untouched.message, "") << "no fragment reaches a kernel";
}

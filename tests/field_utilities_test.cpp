#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Rastrum.hpp"
#include "Velum/UniformGridBuilder.hpp"
#include "support/capture.hpp"

using testing_support::ConsoleCapture;
using Index = Velum::MultiIndex<3>;
using FieldPtr = Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>;

namespace {

// Three fragments of 2 x 2 points along x.
Velum::UniformGridBuilder threeFragments() {
    return Velum::UniformGridBuilder({.points = {6u, 2u, 1u},
                                      .pointsPerFragment = {2u, 2u, 1u},
                                      .overlap = {},
                                      .origin = {},
                                      .spacing = {1.0, 1.0, 1.0}});
}

Lumen::StrongPtr<Tensa::BoundingBox> rangeOf(FieldPtr const& field, unsigned fragment) {
    auto const creator = field->getCreator(field->getFragmentID(Index(fragment, 0u, 0u)));
    return creator ? creator->valueRange() : nullptr;
}

std::vector<double> extent(Lumen::StrongPtr<Tensa::BoundingBox> const& box) {
    return box ? std::vector{box->min()[0], box->max()[0]} : std::vector<double>{};
}

} // namespace

TEST(AddRangeAttribute, WithoutAlphaPrintsItsLineAndSetsNoRange) {
    auto const grid = threeFragments();
    auto const height = grid.addField<float>("Height", [](Index const& p) { return static_cast<float>(p[0]); });
    ConsoleCapture console;
    Rastrum::addRangeAttribute(*grid.grid()->getCartesianRepresentation());
    EXPECT_EQ(console.lines(), std::vector<std::string>{"addRangeAttribute:: No Alpha field"});
    EXPECT_FALSE(rangeOf(height, 0));
}

TEST(AddRangeAttribute, WidensDataFieldsOnTheAlphaFragmentsOnly) {
    auto const grid = threeFragments();
    auto const alpha = grid.addField<float>("Alpha", [](Index const&) { return 1.0f; });
    auto const codes = grid.addField<unsigned char>("CellType", [](Index const&) -> unsigned char { return 4; });
    auto const height =
        grid.addField<float>("Height", [](Index const& p) { return static_cast<float>(10 * p[0] + p[1]) - 3.0f; });
    auto const count = grid.addField<int>("Count", [](Index const& p) { return -static_cast<int>(p[0]); });
    alpha->setPersistentData(nullptr, alpha->getFragmentID(Index(2u, 0u, 0u)), Lumen::Cache::MemCache());
    auto& representation = *grid.grid()->getCartesianRepresentation();
    ConsoleCapture console;

    Rastrum::addRangeAttribute(representation);
    Rastrum::addRangeAttribute(representation); // widening again by the same data changes nothing

    EXPECT_TRUE(console.lines().empty());
    EXPECT_EQ(extent(rangeOf(height, 0)), (std::vector{-3.0, 8.0}));
    EXPECT_EQ(extent(rangeOf(height, 1)), (std::vector{17.0, 28.0}));
    EXPECT_FALSE(rangeOf(height, 2)) << "fragment 2 has no Alpha";
    EXPECT_EQ(extent(rangeOf(count, 1)), (std::vector{-3.0, -2.0}));
    for (FieldPtr const& structural : {alpha, codes, grid.positions()}) {
        EXPECT_FALSE(rangeOf(structural, 0));
        EXPECT_FALSE(rangeOf(structural, 1));
    }
}

TEST(TestIfFieldNameExists, AnExactPassThenAContainingPassOverEveryFieldName) {
    auto const grid = threeFragments();
    for (char const* name : {"Height_Sobel", "Height", "CellType"}) {
        grid.addField<float>(name, [](Index const&) { return 0.0f; });
    }
    auto const representation = grid.grid()->getCartesianRepresentation();
    std::vector<std::string> const all{"CellType", "Height", "Height_Sobel", "Positions"};
    struct Case {
        std::string name;
        std::vector<std::string> matches;
    };
    for (auto const& c : {Case{"Height", {"Height"}}, Case{"Heig", {"Height", "Height_Sobel"}},
                          Case{"Sobel", {"Height_Sobel"}}, Case{"Slope", {}}}) {
        std::string name = c.name;
        std::vector<std::string> matches;
        std::vector<std::string> names;
        EXPECT_EQ(Rastrum::testIfFieldNameExists(representation, name, matches, names), !c.matches.empty());
        EXPECT_EQ(matches, c.matches) << c.name;
        EXPECT_EQ(names, all) << "names of a failed exact pass are dropped";
        std::vector<std::string> shortForm;
        EXPECT_EQ(Rastrum::testIfFieldNameExists(representation, name, shortForm), !c.matches.empty());
        EXPECT_EQ(shortForm, c.matches);
    }
    std::string name = "Height";
    std::vector<std::string> untouched{"kept"};
    EXPECT_FALSE(Rastrum::testIfFieldNameExists(nullptr, name, untouched));
    EXPECT_EQ(untouched, std::vector<std::string>{"kept"});
}

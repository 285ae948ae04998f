#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "Velum/Bundle.hpp"
#include "Velum/Slice.hpp"

TEST(Bundle, SlicesRunInAscendingTimeWhateverTheInsertionOrder) {
    auto bundle = Velum::BundlePtr::create();
    auto const late = (*bundle)[2.0];
    bundle->setSlice(-1.0, nullptr);
    auto const early = (*bundle)[0.5];
    EXPECT_EQ((*bundle)[2.0].getPointer(), late.getPointer()) << "an existing slice is found, not replaced";
    EXPECT_FALSE(bundle->setSlice(std::nan(""), early));
    EXPECT_FALSE((*bundle)[std::nan("")]);

    std::vector<double> times;
    std::vector<bool> held;
    for (auto const& [time, slice] : bundle->slices()) {
        times.push_back(time);
        held.push_back(slice.valid());
    }
    EXPECT_EQ(times, (std::vector<double>{-1.0, 0.5, 2.0}));
    EXPECT_EQ(held, (std::vector<bool>{false, true, true}));
}

TEST(Bundle, OnlyABoundNonEmptyHandleCountsAsBound) {
    Velum::BundlePtr empty;
    auto bundle = Velum::BundlePtr::create();
    EXPECT_FALSE(empty.isBound());
    EXPECT_TRUE(bundle.isBound());
    bundle->unbind();
    EXPECT_FALSE(bundle.isBound());
}

TEST(Slice, GridsRunInNameOrderAndTheLoaderRunsOnceOnAccess) {
    int loads = 0;
    Velum::Slice slice([&loads](Velum::Slice& s) {
        ++loads;
        s.newGrid("zeta");
        s.newGrid("alpha");
        s.setGrid("mid", nullptr);
    });
    EXPECT_TRUE(slice.grids().empty());
    slice.accessSlice();
    slice.accessSlice();
    EXPECT_EQ(loads, 1);

    std::vector<std::string> names;
    for (auto const& [name, grid] : slice.grids()) {
        names.push_back(name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"alpha", "mid", "zeta"}));

    auto const before = slice.grids().at("alpha");
    auto const after = slice.newGrid("alpha");
    EXPECT_NE(before.getPointer(), after.getPointer()) << "newGrid replaces a grid of the same name";
    EXPECT_EQ(slice.grids().at("alpha").getPointer(), after.getPointer());
}

TEST(Bundle, IterateVisitsLoadedSlicesInTimeOrderAndStopsAtAFailure) {
    struct Recorder : Velum::EvolutionIterator<Velum::Slice> {
        std::vector<double> times;
        double failAt;
        explicit Recorder(double fail) : failAt(fail) {}
        bool apply(double time, Lumen::StrongPtr<Velum::Slice> const& slice, Velum::ParameterList const&) override {
            times.push_back(time);
            return slice->grids().contains("loaded") && time != failAt;
        }
    };
    auto bundle = Velum::BundlePtr::create();
    for (double time : {3.0, 1.0, 2.0}) {
        bundle->setSlice(time, Lumen::makeStrong<Velum::Slice>([](Velum::Slice& s) { s.newGrid("loaded"); }));
    }
    bundle->setSlice(0.0, nullptr);

    Recorder all(-1.0);
    EXPECT_TRUE(bundle->iterate(all, {}));
    EXPECT_EQ(all.times, (std::vector<double>{1.0, 2.0, 3.0}));
    Recorder stops(2.0);
    EXPECT_FALSE(bundle->iterate(stops, {}));
    EXPECT_EQ(stops.times, (std::vector<double>{1.0, 2.0}));
}

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "Lumen/Cache.hpp"
#include "Rastrum.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/UniformGridBuilder.hpp"
#include "bilateral/smoothing_filters.hpp"
#include "smoothing_reference.hpp"
#include "support/capture.hpp"
#include "support/grids.hpp"
#include "support/instruction_sets.hpp"

using testing_support::Index;

namespace {

Rastrum::CellTypeTables const tables;

template <class T>
Velum::UniformGridBuilder smoothingGrid(Index points, Index perFragment, std::vector<T> const& values,
                                        std::vector<unsigned char> const& codes) {
    Velum::UniformGridBuilder builder(testing_support::layoutOf(points, perFragment));
    builder.addField<T>("H", [&](Index const& p) { return values[p.linear(points)]; });
    builder.addField<unsigned char>("CellType", [&](Index const& p) { return codes[p.linear(points)]; });
    return builder;
}

// Equal, or both NaN.
template <class T>
bool same(T a, T b) {
    if constexpr (std::is_floating_point_v<T>) {
        return a == b || (std::isnan(a) && std::isnan(b));
    } else {
        return a == b;
    }
}

template <class T>
std::vector<T> smoothedCentre3x3(T centre, T neighbour, unsigned window, double sigmaRange) {
    std::vector<T> values(9, neighbour);
    values[4] = centre;
    auto const grid = smoothingGrid<T>(Index(3u, 3u, 1u), Index(3u, 3u, 1u), values, std::vector<unsigned char>(9, 0));
    EXPECT_EQ(Rastrum::bilateralSmoothing(*grid.grid(), "H", "Smooth", window, 1.0, sigmaRange, 0, false, nullptr), "");
    return testing_support::gather<T>(grid, *Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>((*grid.grid())("Smooth")), T(0));
}

} // namespace

TEST(BilateralSmoothing, WorkedExampleGivesAboutEighteenForFloatAndTenForUnsignedInt) {
    // Edge neighbours weigh exp(-0.5 - 5e-5), corners exp(-1 - 5e-5), the centre 1.
    double const edge = 4 * std::exp(-0.50005);
    double const corner = 4 * std::exp(-1.00005);
    double const expected = (10 + 20 * (edge + corner)) / (1 + edge + corner);
    float const smoothed = smoothedCentre3x3<float>(10.0f, 20.0f, 3, 1000.0)[4];
    EXPECT_NEAR(smoothed, expected, 1e-4);
    EXPECT_EQ(std::round(smoothed * 100) / 100, 17.96f);
    EXPECT_EQ(smoothedCentre3x3<unsigned int>(10u, 20u, 3, 1000.0)[4], 10u)
        << "larger neighbours wrap to a huge unsigned difference and weigh nothing";
}

TEST(BilateralSmoothing, TheFirstMissingFieldIsNamedAndTheOutputIsLeftAlone) {
    struct Case {
        std::vector<char const*> removed;
        char const* message;
    };
    // The input field "Nope" is always missing: Positions, then CellType, then the input are looked for.
    for (auto const& c : {Case{{}, "gaussSmoothingOfUniform: no HeightF"},
                          Case{{"CellType"}, "gaussSmoothingOfUniform: no CellType"},
                          Case{{"CellType", "Positions"}, "gaussSmoothingOfUniform: no Positions"}}) {
        auto const grid = smoothingGrid<float>(Index(2u, 2u, 1u), Index(2u, 2u, 1u), std::vector<float>(4, 1.0f),
                                               std::vector<unsigned char>(4, 0));
        auto& g = *grid.grid();
        for (auto const* name : c.removed) {
            g.getCartesianRepresentation()->setField(name, nullptr);
        }
        EXPECT_EQ(Rastrum::bilateralSmoothing(g, "Nope", "Out", 3, 1.0, 1.0, 0, false, nullptr), c.message);
        EXPECT_FALSE(g("Out"));
    }
}

TEST(BilateralSmoothing, EveryFragmentIsCountedAndUnusableOnesAreSkipped) {
    // Three fragments of 3 x 3: all holes, float codes, usable.
    std::vector<float> values(27);
    for (std::size_t p = 0; p < values.size(); ++p) {
        values[p] = static_cast<float>(p * p % 11);
    }
    std::vector<unsigned char> codes(27, 0);
    for (std::size_t p = 0; p < codes.size(); ++p) {
        codes[p] = p % 9 < 3 ? 2 : 0;
    }
    auto const grid = smoothingGrid<float>(Index(9u, 3u, 1u), Index(3u, 3u, 1u), values, codes);
    Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const types = (*grid.grid())("CellType");
    types->setPersistentData(Lumen::makeStrong<Velum::MemArray<3, float>>(Index(3u, 3u, 1u)),
                             types->getFragmentID(Index(1u, 0u, 0u)), Lumen::Cache::MemCache());
    auto const progress = Lumen::makeStrong<testing_support::ProgressRecorder>();

    EXPECT_EQ(Rastrum::bilateralSmoothing(*grid.grid(), "H", "Out", 3, 1.0, 5.0, 0, true, progress), "");

    EXPECT_EQ(progress->reports(), (std::vector<testing_support::Report>{
                                       {"Smoothing #", 0, 3}, {"Smoothing #", 1, 3}, {"Smoothing #", 2, 3}}));
    Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>> const out = (*grid.grid())("Out");
    ASSERT_TRUE(out);
    EXPECT_FALSE(out->getData(out->getFragmentID(Index(1u, 0u, 0u))));
    auto const smoothed = testing_support::gather<float>(grid, *out, -1.0f);
    for (std::size_t p = 0; p < 27; ++p) {
        auto const i = p % 9;
        if (i < 3) {
            EXPECT_EQ(smoothed[p], values[p]) << "a fragment of holes is copied";
        } else if (i < 6) {
            EXPECT_EQ(smoothed[p], -1.0f) << "skipped";
        }
    }
    EXPECT_NE(smoothed[9 + 7], values[9 + 7]) << "the usable fragment's centre is smoothed";

    auto const cancel = Lumen::makeStrong<testing_support::ThrowingProgress>();
    EXPECT_EQ(Rastrum::bilateralSmoothing(*grid.grid(), "H", "Out", 3, 1.0, 5.0, 0, true, cancel),
              "gaussSmoothingOfUniform: fragments left unfinished");
}

template <class T>
class SmoothingFilters : public testing::Test {};
using ElementTypes = testing::Types<float, double, unsigned char, unsigned short, unsigned int, unsigned long long, int>;
TYPED_TEST_SUITE(SmoothingFilters, ElementTypes);

TYPED_TEST(SmoothingFilters, MatchTheReferenceOnRandomDataWithHoles) {
    using T = TypeParam;
    std::mt19937_64 random(20261121);
    double const spread = std::is_floating_point_v<T> ? 1000.0 : static_cast<double>(std::numeric_limits<T>::max());
    auto const value = [&] {
        double const u = std::uniform_real_distribution<double>(0.0, 1.0)(random);
        if constexpr (std::is_same_v<T, int>) {
            return static_cast<T>((u - 0.5) * 2e6);
        } else {
            return static_cast<T>(u * spread);
        }
    };
    struct Shape {
        std::uint64_t nx, ny, nz;
    };
    // Narrower than the window, one and two points wide, odd sizes, several
    // layers, rows long enough for full vector groups with a tail, and rows
    // both filters cut into column strips.
    for (auto const shape : {Shape{7, 5, 1}, Shape{4, 6, 3}, Shape{2, 2, 1}, Shape{9, 8, 2}, Shape{1, 7, 1},
                             Shape{2, 9, 1}, Shape{83, 9, 2}, Shape{157, 8, 1}, Shape{96, 32, 1}, Shape{1300, 4, 1}}) {
        reference::Fragment<T> f{{}, {}, shape.nx, shape.ny, shape.nz};
        for (std::uint64_t p = 0; p < shape.nx * shape.ny * shape.nz; ++p) {
            f.values.push_back(value());
            // Codes in the upper half of each layer only, so that the lower
            // rows' windows hold data cells alone.
            auto const code = std::uniform_int_distribution<int>(0, 9)(random) % 7;
            f.codes.push_back(static_cast<unsigned char>((p / shape.nx) % shape.ny < (shape.ny + 1) / 2 ? code : 0));
        }
        if constexpr (std::is_floating_point_v<T>) {
            // Non-finite heights, in data cells and in a hole.
            if (shape.nx == 83) {
                f.values[200] = std::numeric_limits<T>::infinity();
                f.codes[200] = 0;
                f.values[500] = std::numeric_limits<T>::quiet_NaN();
                f.codes[500] = 4;
                f.values[700] = -std::numeric_limits<T>::infinity();
                f.codes[700] = 2;
            }
        }
        Rastrum::FragmentShape const s{shape.nx, shape.ny, shape.nz};
        double const wide = std::is_same_v<T, int> ? 4e5 : 0.3 * spread;
        for (unsigned window : {3u, 5u, 7u, 31u}) {
            // At windows 5 and 31 a narrow σ range takes range weights from 1
            // down to where the exponential underflows to zero.
            double const sigmaRange = window == 5 || window == 31 ? wide / 30 : wide;
            auto const expectedBilateral = reference::bilateral(f, window, 1.3, sigmaRange);
            auto const expectedGaussian = reference::gaussian(f, window, 1.3);
            testing_support::forEachInstructionSet([&](std::string const& set) {
                std::vector<T> bilateral(f.values.size());
                std::vector<T> gaussian(f.values.size());
                Rastrum::bilateralFilter(f.values.data(), f.codes.data(), s, window, 1.3, sigmaRange,
                                         tables.HOLE_CELL_TYPES, bilateral.data());
                Rastrum::gaussianFilter(f.values.data(), f.codes.data(), s, window, 1.3, tables.HOLE_CELL_TYPES,
                                        gaussian.data());
                for (std::size_t p = 0; p < f.values.size(); ++p) {
                    if constexpr (std::is_floating_point_v<T>) {
                        if (!std::isfinite(expectedBilateral[p])) {
                            EXPECT_TRUE(same(bilateral[p], expectedBilateral[p]))
                                << set << ", bilateral, window " << window << ", point " << p;
                        } else {
                            EXPECT_NEAR(bilateral[p], expectedBilateral[p], 1e-6 * std::abs(expectedBilateral[p]))
                                << set << ", bilateral, window " << window << ", point " << p;
                        }
                    } else {
                        EXPECT_EQ(bilateral[p], expectedBilateral[p])
                            << set << ", bilateral, window " << window << ", point " << p;
                    }
                    EXPECT_TRUE(same(gaussian[p], expectedGaussian[p]))
                        << set << ", gaussian, window " << window << ", point " << p;
                }
            });
        }
    }
}

TYPED_TEST(SmoothingFilters, TheExportedFunctionSmoothsEveryFragmentLikeTheReference) {
    using T = TypeParam;
    // Fragments of 7 x 6, 5 x 6, 7 x 5 and 5 x 5 points, with holes.
    std::vector<T> values;
    std::vector<unsigned char> codes;
    for (unsigned p = 0; p < 132; ++p) {
        values.push_back(static_cast<T>(p * 37 % 101));
        codes.push_back(static_cast<unsigned char>(p % 9 == 4 ? 2 : p % 5));
    }
    auto const grid = smoothingGrid<T>(Index(12u, 11u, 1u), Index(7u, 6u, 1u), values, codes);
    // A window past 2 max(nx, ny) + 1 = 15 smooths as that one does.
    for (unsigned window : {5u, 65535u, 4294967295u}) {
        for (bool gaussianOnly : {false, true}) {
            std::vector<T> expected(values.size());
            Index fragment;
            do {
                auto const start = grid.fragmentStart(fragment);
                auto const size = grid.fragmentSize(fragment);
                auto const at = [&](std::uint64_t p) { return (start[1] + p / size[0]) * 12 + start[0] + p % size[0]; };
                reference::Fragment<T> f{{}, {}, size[0], size[1], 1};
                for (std::uint64_t p = 0; p < size[0] * size[1]; ++p) {
                    f.values.push_back(values[at(p)]);
                    f.codes.push_back(codes[at(p)]);
                }
                unsigned const covering = std::min(window, 15u);
                auto const smoothed = gaussianOnly ? reference::gaussian(f, covering, 1.3)
                                                   : reference::bilateral(f, covering, 1.3, 40.0);
                for (std::uint64_t p = 0; p < smoothed.size(); ++p) {
                    expected[at(p)] = smoothed[p];
                }
            } while (fragment.inc(grid.fragmentCounts()));
            EXPECT_EQ(Rastrum::bilateralSmoothing(*grid.grid(), "H", "Out", window, 1.3, 40.0, 0, gaussianOnly, nullptr),
                      "");
            auto const smoothed = testing_support::gather<T>(
                grid, *Lumen::StrongPtr<Velum::RegularlyFragmentedField<3>>((*grid.grid())("Out")), T(0));
            for (std::size_t p = 0; p < smoothed.size(); ++p) {
                EXPECT_NEAR(static_cast<double>(smoothed[p]), static_cast<double>(expected[p]), 1e-4)
                    << "window " << window << (gaussianOnly ? ", Gaussian" : ", bilateral") << ", point " << p;
            }
        }
    }
}

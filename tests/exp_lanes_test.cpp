#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "simd/exp_lanes.hpp"

namespace {

using Rastrum::simd::InstructionSet;

template <int W>
[[gnu::always_inline]] inline std::vector<double> expInLanes(std::vector<double> values) {
    for (std::size_t i = 0; i + W <= values.size(); i += W) {
        typename Rastrum::simd::Lanes<W>::Doubles x;
        Rastrum::simd::load(x, values.data() + i);
        Rastrum::simd::expLanes(x);
        Rastrum::simd::store(values.data() + i, x);
    }
    return values;
}

[[gnu::target("avx512f")]] std::vector<double> expAvx512(std::vector<double> const& values) {
    return expInLanes<8>(values);
}
[[gnu::target("avx2")]] std::vector<double> expAvx2(std::vector<double> const& values) {
    return expInLanes<4>(values);
}
std::vector<double> expBaseline(std::vector<double> const& values) { return expInLanes<2>(values); }

} // namespace

TEST(ExpLanes, EveryInstructionSetStaysWithinFourUlpAndKeepsTheSpecialValues) {
    double const infinity = std::numeric_limits<double>::infinity();
    std::vector<double> arguments{0.0, -0.0, 1.0, -1.0, 0.5, -745.2, -746.0, -800.0, -1e300, 709.7, 710.0, 1e300,
                                  -infinity, infinity, std::numeric_limits<double>::quiet_NaN(), 1e-300};
    std::mt19937_64 random(5);
    while (arguments.size() < 4096) {
        arguments.push_back(std::uniform_real_distribution<double>(-745.0, 709.0)(random));
        arguments.push_back(std::uniform_real_distribution<double>(-10.0, 0.0)(random));
    }
    auto const widest = Rastrum::simd::instructionSet();
    for (auto const set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
        if (set > widest) {
            continue;
        }
        auto const results = set == InstructionSet::Avx512 ? expAvx512(arguments)
                             : set == InstructionSet::Avx2 ? expAvx2(arguments)
                                                           : expBaseline(arguments);
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            double const expected = std::exp(arguments[i]);
            double const got = results[i];
            if (std::isnan(expected) || std::isinf(expected) || expected == 0) {
                EXPECT_TRUE(std::isnan(expected) ? std::isnan(got) : got == expected)
                    << "exp(" << arguments[i] << ") = " << got << ", set " << static_cast<int>(set);
            } else {
                // Four units in the last place; subnormal results count in the smallest normal's.
                double const ulp = std::max(std::abs(expected), std::numeric_limits<double>::min()) *
                                   std::numeric_limits<double>::epsilon();
                EXPECT_LE(std::abs(got - expected), 4 * ulp)
                    << "exp(" << arguments[i] << ") = " << got << ", set " << static_cast<int>(set);
            }
        }
    }
}

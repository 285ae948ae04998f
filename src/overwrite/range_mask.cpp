#include "overwrite/range_mask.hpp"

#include <algorithm>

namespace Rastrum {
namespace {

constexpr double tolerance = 1e-9;

bool within(double lo, double hi, double v) { return lo - tolerance <= v && v <= hi + tolerance; }

} // namespace

bool insideRanges(Tensa::MultiRange<double> const& ranges, double v) {
    if (ranges.empty() || !within(ranges.lowerBound(), ranges.upperBound(), v)) {
        return false;
    }
    return std::ranges::any_of(ranges.intervals(), [v](auto const& interval) {
        return within(interval.lo, interval.hi, v);
    });
}

void overwriteByRanges(double const* values, unsigned char* target, std::size_t count,
                       Tensa::MultiRange<double> const& ranges, bool invert, unsigned char value) {
    for (std::size_t i = 0; i < count; ++i) {
        if (insideRanges(ranges, values[i]) != invert) {
            target[i] = value;
        }
    }
}

} // namespace Rastrum

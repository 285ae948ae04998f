#pragma once

#include <cstddef>

#include "Tensa/MultiRange.hpp"

namespace Rastrum {

// Whether v lies in the ranges: within the overall bounds and in some
// interval, each widened by an absolute 1e-9 at both ends. No interval, no
// inside.
bool insideRanges(Tensa::MultiRange<double> const& ranges, double v);

// Writes `value` into target[i] wherever values[i] is inside the ranges, or,
// with invert, wherever it is not.
void overwriteByRanges(double const* values, unsigned char* target, std::size_t count,
                       Tensa::MultiRange<double> const& ranges, bool invert, unsigned char value);

} // namespace Rastrum

#pragma once

#include <cstdint>
#include <vector>

namespace bench {

// One survey of a square generated terrain: heights and cell-type codes, x
// fastest. Codes 0 (ground) and 4 (interpolated) carry data; about 5 % of the
// points are holes: patches of code 3 (water) and 1 (outside the survey) and
// scattered dropouts of code 2.
struct Survey {
    std::uint64_t n;
    std::vector<float> height;
    std::vector<unsigned char> codes;

    std::uint64_t cells() const { return n * n; }
};

// The same relief at any size (the points sample it more or less densely).
// A later epoch has a slide of a few metres, other noise and other holes.
Survey generateSurvey(std::uint64_t n, unsigned epoch);

// A cube of n^3 16-bit markers, x fastest: two labelled bodies and scattered
// single markers, about 5 % of the volume.
std::vector<unsigned short> generateMarkers(std::uint64_t n);

} // namespace bench

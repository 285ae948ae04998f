#pragma once

#include <cstdint>
#include <ostream>

namespace bench {

// Checks on the rasters of edge n that every OpenCV peer computes what the
// library's kernel computes wherever both are defined (away from holes and
// borders), so that their speeds compare like with like. The bilateral peer
// is left out: its window is a disc, ours a square. Writes each disagreement
// to `log`; true when all agree.
bool peersAgree(std::uint64_t n, std::ostream& log);

} // namespace bench

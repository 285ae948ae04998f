#include "binary/binary_mask.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Rastrum {

void binaryMask(std::span<unsigned char const> codes, std::span<float> mask, CellTypeTable const& selected) {
    // One lookup per byte value keeps the loop free of branches.
    std::array<float, 256> valueOf{};
    for (unsigned code = 0; code < valueOf.size(); ++code) {
        valueOf[code] = selected[code] ? 1.0f : 0.0f;
    }
    std::size_t const n = std::min(codes.size(), mask.size());
    for (std::size_t p = 0; p < n; ++p) {
        mask[p] = valueOf[codes[p]];
    }
    std::fill(mask.begin() + static_cast<std::ptrdiff_t>(n), mask.end(), 0.0f);
}

} // namespace Rastrum

#include "binary/binary_mask.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "simd/lanes.hpp"

namespace Rastrum {
namespace {

typedef signed char Bytes __attribute__((vector_size(16)));
typedef std::int32_t Words __attribute__((vector_size(64)));
typedef float Floats __attribute__((vector_size(64)));

} // namespace

void binaryMask(std::span<unsigned char const> codes, std::span<float> mask, CellTypeTable const& selected) {
    simd::CodeSet const set(selected);
    std::size_t const n = std::min(codes.size(), mask.size());
    std::size_t p = 0;
    if (set.count <= simd::CodeSet::FEW) {
        // Sixteen cells a step: compared with each selected code, the
        // all-ones lanes cut down to the bits of 1.0f.
        Words const one = Words{} + 0x3f800000;
        for (; p + 16 <= n; p += 16) {
            Bytes v;
            simd::load(v, codes.data() + p);
            Bytes member{};
            for (unsigned k = 0; k < set.count; ++k) {
                member |= v == static_cast<signed char>(set.few[k]);
            }
            auto const value = reinterpret_cast<Floats>(__builtin_convertvector(member, Words) & one);
            simd::store(mask.data() + p, value);
        }
    }
    for (; p < n; ++p) {
        mask[p] = set.mask[codes[p]] ? 1.0f : 0.0f;
    }
    std::fill(mask.begin() + static_cast<std::ptrdiff_t>(n), mask.end(), 0.0f);
}

} // namespace Rastrum

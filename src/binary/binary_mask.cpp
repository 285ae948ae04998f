#include "binary/binary_mask.hpp"

#include <immintrin.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "simd/lanes.hpp"

namespace Rastrum {
namespace {

// The selected set as one byte per code, 0xff for a member.
using ByteTable = std::array<unsigned char, 256>;

// Sixty-four cells a step: two byte permutations look every code up in the
// table (codes below and from 128 on), the members become a bit mask, and
// the mask picks 1.0 or 0.0 for four stores of sixteen floats. Returns the
// cells done; the caller finishes the rest.
[[gnu::target("avx512f,avx512bw,avx512vbmi")]] std::size_t maskAvx512(unsigned char const* codes, float* mask,
                                                                        std::size_t n, ByteTable const& table) {
    __m512i const below64 = _mm512_loadu_si512(table.data());
    __m512i const below128 = _mm512_loadu_si512(table.data() + 64);
    __m512i const below192 = _mm512_loadu_si512(table.data() + 128);
    __m512i const below256 = _mm512_loadu_si512(table.data() + 192);
    __m512 const one = _mm512_set1_ps(1.0f);
    std::size_t p = 0;
    for (; p + 64 <= n; p += 64) {
        __m512i const c = _mm512_loadu_si512(codes + p);
        __m512i const low = _mm512_permutex2var_epi8(below64, c, below128);
        __m512i const high = _mm512_permutex2var_epi8(below192, c, below256);
        __m512i const picked = _mm512_mask_blend_epi8(_mm512_movepi8_mask(c), low, high);
        __mmask64 const members = _mm512_test_epi8_mask(picked, picked);
        for (unsigned q = 0; q < 4; ++q) {
            _mm512_stream_ps(mask + p + 16 * q, _mm512_maskz_mov_ps(static_cast<__mmask16>(members >> (16 * q)), one));
        }
    }
    _mm_sfence();
    return p;
}

bool hasByteLookup() {
    static bool const found = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi");
    }();
    return found && simd::instructionSet() == simd::InstructionSet::Avx512;
}

} // namespace

void binaryMask(std::span<unsigned char const> codes, std::span<float> mask, CellTypeTable const& selected) {
    ByteTable table{};
    for (unsigned code = 0; code < table.size(); ++code) {
        table[code] = selected[code] ? 0xff : 0;
    }
    std::size_t const n = std::min(codes.size(), mask.size());
    // One lookup per byte value keeps the loop free of branches.
    std::array<float, 256> valueOf{};
    for (unsigned code = 0; code < valueOf.size(); ++code) {
        valueOf[code] = table[code] ? 1.0f : 0.0f;
    }
    auto const lookUp = [&](std::size_t from, std::size_t to) {
        for (std::size_t p = from; p < to; ++p) {
            mask[p] = valueOf[codes[p]];
        }
    };
    std::size_t done = 0;
    if (hasByteLookup()) {
        // Streaming stores need whole cache lines of the result.
        auto const misaligned = reinterpret_cast<std::uintptr_t>(mask.data()) % 64 / sizeof(float);
        done = std::min(n, misaligned == 0 ? 0 : 16 - misaligned);
        lookUp(0, done);
        done += maskAvx512(codes.data() + done, mask.data() + done, n - done, table);
    }
    lookUp(done, n);
    std::fill(mask.begin() + static_cast<std::ptrdiff_t>(n), mask.end(), 0.0f);
}

} // namespace Rastrum

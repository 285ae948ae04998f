#pragma once

#include <cstddef>
#include <immintrin.h>

#include "simd/lanes.hpp"

// glibc's vector exponentials (libmvec), within 4 ulp of the exact value,
// in the x86-64 vector function ABI: all vector registers are clobbered.
extern "C" {
__m128d _ZGVbN2v_exp(__m128d);
[[gnu::target("avx2")]] __m256d _ZGVdN4v_exp(__m256d);
}

namespace Rastrum::simd {

inline void expLanes(Lanes<2>::Doubles& x) { x = _ZGVbN2v_exp(x); }
[[gnu::target("avx2")]] inline void expLanes(Lanes<4>::Doubles& x) { x = _ZGVdN4v_exp(x); }

// With AVX-512 the exponential is computed in place, about a third faster
// than libmvec's: exp(x) = 2^(k / 16) e^r with k = round(16 x / ln 2), the
// power from a table of 2^(j / 16) and an exact scaling, e^r from its Taylor
// polynomial of degree 6 (|r| <= ln 2 / 32, error below 1e-16). Within 2 ulp;
// NaN stays NaN, arguments are clamped where the result is 0 or infinite.
// The zero-masked forms for the reason given at sqrtLanes.
[[gnu::target("avx512f")]] inline void expLanes(Lanes<8>::Doubles& x) {
    static constexpr double POWERS[16] = {
        0x1.0000000000000p+0, 0x1.0b5586cf9890fp+0, 0x1.172b83c7d517bp+0, 0x1.2387a6e756238p+0,
        0x1.306fe0a31b715p+0, 0x1.3dea64c123422p+0, 0x1.4bfdad5362a27p+0, 0x1.5ab07dd485429p+0,
        0x1.6a09e667f3bcdp+0, 0x1.7a11473eb0187p+0, 0x1.8ace5422aa0dbp+0, 0x1.9c49182a3f090p+0,
        0x1.ae89f995ad3adp+0, 0x1.c199bdd85529cp+0, 0x1.d5818dcfba487p+0, 0x1.ea4afa2a490dap+0};
    // ln 2 / 16 in two parts, the first with trailing zeros so that k times it is exact.
    constexpr double LN2_HIGH = 0x1.62e42fee00000p-5;
    constexpr double LN2_LOW = 0x1.a39ef35793c76p-37;
    // Adding 1.5 * 2^52 rounds to an integer and leaves it in the low mantissa bits.
    constexpr double ROUNDING = 0x1.8p52;
    __m512d v = _mm512_maskz_max_pd(0xff, _mm512_set1_pd(-746.0), x); // the second operand wins for NaN
    v = _mm512_maskz_min_pd(0xff, _mm512_set1_pd(710.0), v);
    __m512d const shifted = _mm512_add_pd(_mm512_mul_pd(v, _mm512_set1_pd(0x1.71547652b82fep+4)),
                                          _mm512_set1_pd(ROUNDING));
    __m512d const k = _mm512_sub_pd(shifted, _mm512_set1_pd(ROUNDING));
    __m512d r = _mm512_fnmadd_pd(k, _mm512_set1_pd(LN2_HIGH), v);
    r = _mm512_fnmadd_pd(k, _mm512_set1_pd(LN2_LOW), r);
    __m512d p = _mm512_set1_pd(1.0 / 720);
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(1.0 / 120));
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(1.0 / 24));
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(1.0 / 6));
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(0.5));
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(1.0));
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(1.0));
    __m512d const power = _mm512_permutex2var_pd(_mm512_loadu_pd(POWERS), _mm512_castpd_si512(shifted),
                                                 _mm512_loadu_pd(POWERS + 8));
    x = _mm512_maskz_scalef_pd(0xff, _mm512_mul_pd(p, power), _mm512_mul_pd(k, _mm512_set1_pd(1.0 / 16)));
}

// Whether every lane is at most `bound` (and none is NaN).
inline bool allAtMost(Lanes<2>::Doubles const& x, double bound) {
    return _mm_movemask_pd(_mm_cmple_pd(x, _mm_set1_pd(bound))) == 0x3;
}
[[gnu::target("avx2")]] inline bool allAtMost(Lanes<4>::Doubles const& x, double bound) {
    return _mm256_movemask_pd(_mm256_cmp_pd(x, _mm256_set1_pd(bound), _CMP_LE_OQ)) == 0xf;
}
[[gnu::target("avx512f")]] inline bool allAtMost(Lanes<8>::Doubles const& x, double bound) {
    return _mm512_cmp_pd_mask(x, _mm512_set1_pd(bound), _CMP_LE_OQ) == 0xff;
}

// values[i] = exp(values[i]) for i < count, count a multiple of W. Below
// -746 the exponential is +0 in double (every form above gives exactly 0
// there), so a vector of such lanes is written as zeros without it: on
// steep terrain far pairs weigh nothing, and their underflow would cost the
// processor a slow assist.
template <int W>
[[gnu::always_inline]] inline void expInPlace(double* values, std::size_t count) {
    constexpr double UNDERFLOWS = -746.0;
    for (std::size_t i = 0; i < count; i += W) {
        typename Lanes<W>::Doubles x;
        load(x, values + i);
        if (allAtMost(x, UNDERFLOWS)) {
            x = typename Lanes<W>::Doubles{};
        } else {
            expLanes(x);
        }
        store(values + i, x);
    }
}

} // namespace Rastrum::simd

#pragma once

#include <cstddef>
#include <immintrin.h>

#include "simd/lanes.hpp"

// glibc's vector exponentials (libmvec), within 4 ulp of the exact value,
// in the x86-64 vector function ABI: all vector registers are clobbered.
extern "C" {
__m128d _ZGVbN2v_exp(__m128d);
[[gnu::target("avx2")]] __m256d _ZGVdN4v_exp(__m256d);
[[gnu::target("avx512f")]] __m512d _ZGVeN8v_exp(__m512d);
}

namespace Rastrum::simd {

inline void expLanes(Lanes<2>::Doubles& x) { x = _ZGVbN2v_exp(x); }
[[gnu::target("avx2")]] inline void expLanes(Lanes<4>::Doubles& x) { x = _ZGVdN4v_exp(x); }
[[gnu::target("avx512f")]] inline void expLanes(Lanes<8>::Doubles& x) { x = _ZGVeN8v_exp(x); }

// values[i] = exp(values[i]) for i < count, count a multiple of W.
template <int W>
[[gnu::always_inline]] inline void expInPlace(double* values, std::size_t count) {
    for (std::size_t i = 0; i < count; i += W) {
        typename Lanes<W>::Doubles x;
        load(x, values + i);
        expLanes(x);
        store(values + i, x);
    }
}

} // namespace Rastrum::simd

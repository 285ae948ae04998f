#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <immintrin.h>
#include <type_traits>

#include "frame/cell_types.hpp"

// Fixed-width lanes for the kernels' inner loops, on GCC's vector extensions.
// A kernel writes its loop once as a template on the lane count W and
// instantiates it inside one function per instruction set (target attribute);
// the helpers are always inlined into those functions, so vectors never cross
// a call boundary and take out-parameters instead of return values.
namespace Rastrum::simd {

template <int W>
struct Lanes {
    typedef double Doubles __attribute__((vector_size(8 * W)));
    typedef long long Masks __attribute__((vector_size(8 * W)));
    typedef float Floats __attribute__((vector_size(4 * W)));
    typedef signed char Bytes __attribute__((vector_size(W)));
};

// Unaligned load and store of one vector.
template <class V, class T>
[[gnu::always_inline]] inline void load(V& v, T const* from) {
    std::memcpy(&v, from, sizeof v);
}
template <class V, class T>
[[gnu::always_inline]] inline void store(T* to, V const& v) {
    std::memcpy(to, &v, sizeof v);
}

// Correctly rounded square roots, lane by lane.
inline void sqrtLanes(Lanes<2>::Doubles& x) { x = _mm_sqrt_pd(x); }
[[gnu::target("avx2")]] inline void sqrtLanes(Lanes<4>::Doubles& x) { x = _mm256_sqrt_pd(x); }
// The AVX-512 form is the masked one: GCC 12's unmasked one reads an
// uninitialised register.
[[gnu::target("avx512f")]] inline void sqrtLanes(Lanes<8>::Doubles& x) { x = _mm512_mask_sqrt_pd(x, 0xff, x); }

// Float to double and back, lane by lane (GCC's generic conversion splits the
// wide ones into halves). The AVX-512 forms are the zero-masked ones for the
// reason given at sqrtLanes.
inline void widen(Lanes<2>::Doubles& to, Lanes<2>::Floats const& from) {
    __m128 wide;
    std::memcpy(&wide, &from, sizeof from);
    to = _mm_cvtps_pd(wide);
}
[[gnu::target("avx2")]] inline void widen(Lanes<4>::Doubles& to, Lanes<4>::Floats const& from) {
    to = _mm256_cvtps_pd(from);
}
[[gnu::target("avx512f")]] inline void widen(Lanes<8>::Doubles& to, Lanes<8>::Floats const& from) {
    to = _mm512_maskz_cvtps_pd(0xff, from);
}
inline void narrow(Lanes<2>::Floats& to, Lanes<2>::Doubles const& from) {
    __m128 const narrowed = _mm_cvtpd_ps(from);
    std::memcpy(&to, &narrowed, sizeof to);
}
[[gnu::target("avx2")]] inline void narrow(Lanes<4>::Floats& to, Lanes<4>::Doubles const& from) {
    to = _mm256_cvtpd_ps(from);
}
[[gnu::target("avx512f")]] inline void narrow(Lanes<8>::Floats& to, Lanes<8>::Doubles const& from) {
    to = _mm512_maskz_cvtpd_ps(0xff, from);
}

// Each lane rounded to the nearest float, kept as a double.
template <int W>
[[gnu::always_inline]] inline void roundToFloat(typename Lanes<W>::Doubles& x) {
    typename Lanes<W>::Floats f;
    narrow(f, x);
    widen(x, f);
}

// Stores double lanes into floats (each rounded to the nearest) or doubles.
template <class T, int W>
[[gnu::always_inline]] inline void storeAs(T* to, typename Lanes<W>::Doubles const& x) {
    if constexpr (std::is_same_v<T, float>) {
        typename Lanes<W>::Floats narrowed;
        narrow(narrowed, x);
        store(to, narrowed);
    } else {
        store(to, x);
    }
}

// The codes of a cell-type table, listed for comparing many cells at once
// when they are few.
struct CodeSet {
    static constexpr unsigned FEW = 8;
    std::array<long long, 256> mask{}; // all ones for a member code
    std::array<unsigned char, FEW> few{};
    unsigned count = 0;

    explicit CodeSet(CellTypeTable const& table) {
        for (unsigned code = 0; code < mask.size(); ++code) {
            if (table[code]) {
                mask[code] = -1;
                if (count < FEW) {
                    few[count] = static_cast<unsigned char>(code);
                }
                ++count;
            }
        }
    }
};

// marks[x] = all ones where codes[x] is in the set, 0 elsewhere; returns
// whether any was.
template <int W>
[[gnu::always_inline]] inline bool markMembers(CodeSet const& set, unsigned char const* codes, std::uint64_t n,
                                               long long* marks) {
    using Bytes = typename Lanes<W>::Bytes;
    using Masks = typename Lanes<W>::Masks;
    std::uint64_t x = 0;
    Bytes seen{};
    if (set.count <= CodeSet::FEW) {
        for (; x + W <= n; x += W) {
            Bytes v;
            load(v, codes + x);
            Bytes member{};
            for (unsigned k = 0; k < set.count; ++k) {
                member |= v == static_cast<signed char>(set.few[k]);
            }
            seen |= member;
            store(marks + x, __builtin_convertvector(member, Masks));
        }
    }
    long long any = 0;
    for (int k = 0; k < W; ++k) {
        any |= seen[k];
    }
    for (; x < n; ++x) {
        marks[x] = set.mask[codes[x]];
        any |= marks[x];
    }
    return any != 0;
}

// The widest instruction set the kernels use: what this processor runs,
// checked once, unless capped lower.
enum class InstructionSet { Baseline, Avx2, Avx512 };
InstructionSet instructionSet();

// Caps the instruction set the kernels use from now on (never above what the
// processor runs), so that every path can be compared with the others.
void capInstructionSet(InstructionSet cap);

} // namespace Rastrum::simd

#include "simd/lanes.hpp"

namespace Rastrum::simd {

InstructionSet instructionSet() {
    static InstructionSet const found = [] {
        __builtin_cpu_init();
        if (__builtin_cpu_supports("avx512f")) {
            return InstructionSet::Avx512;
        }
        if (__builtin_cpu_supports("avx2")) {
            return InstructionSet::Avx2;
        }
        return InstructionSet::Baseline;
    }();
    return found;
}

} // namespace Rastrum::simd

#include "simd/lanes.hpp"

#include <algorithm>
#include <atomic>

namespace Rastrum::simd {
namespace {

InstructionSet supported() {
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

std::atomic<InstructionSet> cap{InstructionSet::Avx512};

} // namespace

InstructionSet instructionSet() { return std::min(supported(), cap.load(std::memory_order_relaxed)); }

void capInstructionSet(InstructionSet limit) { cap.store(limit, std::memory_order_relaxed); }

} // namespace Rastrum::simd

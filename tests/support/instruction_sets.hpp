#pragma once

#include <string>
#include <vector>

#include "simd/lanes.hpp"

namespace testing_support {

// Runs check(name) once with the kernels held to each instruction set this
// processor runs, widest last, and lifts the cap afterwards.
template <class Check>
void forEachInstructionSet(Check&& check) {
    using Rastrum::simd::InstructionSet;
    auto const widest = Rastrum::simd::instructionSet();
    std::vector<std::pair<InstructionSet, std::string>> const sets{
        {InstructionSet::Baseline, "baseline"}, {InstructionSet::Avx2, "AVX2"}, {InstructionSet::Avx512, "AVX-512"}};
    for (auto const& [set, name] : sets) {
        if (set <= widest) {
            Rastrum::simd::capInstructionSet(set);
            check(name);
        }
    }
    Rastrum::simd::capInstructionSet(InstructionSet::Avx512);
}

} // namespace testing_support

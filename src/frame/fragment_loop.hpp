#pragma once

#include <omp.h>

#include <cstdint>
#include <type_traits>

// The parallel fragment loop and the lock around framework calls.
namespace Rastrum::frame {

// Runs body(i) for i in [0, count) on the default team, handing out one
// fragment at a time so that fragments of unequal cost balance out.
template <class Body>
void forEachFragmentInParallel(std::uint32_t count, Body&& body) {
#pragma omp parallel
    {
#pragma omp for schedule(nonmonotonic : dynamic, 1) nowait
        for (std::uint64_t i = 0; i < count; ++i) {
            body(static_cast<std::uint32_t>(i));
        }
    }
}

// Runs body(i) for i in [0, count): in parallel over fragments when there
// are at least as many as threads, else one fragment after another in order,
// the kernels then sharing each fragment's rows among the team.
template <class Body>
void forEachFragment(std::uint32_t count, Body&& body) {
    if (count >= static_cast<std::uint32_t>(omp_get_max_threads())) {
        forEachFragmentInParallel(count, body);
        return;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        body(i);
    }
}

// Runs a framework call under the one global lock (OpenMP's unnamed critical
// section) that serialises access to shared framework objects.
template <class Call>
std::invoke_result_t<Call> underFrameworkLock(Call&& call) {
    std::invoke_result_t<Call> result;
#pragma omp critical
    {
        result = call();
    }
    return result;
}

} // namespace Rastrum::frame

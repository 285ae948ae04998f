#pragma once

#include <omp.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <type_traits>

// The parallel fragment loop and the lock around framework calls.
namespace Rastrum::frame {

// The message of a grid whose fragment loop was stopped; the grid's name follows.
inline constexpr char const* FRAGMENTS_UNFINISHED = "Fragments left unfinished in grid:";

// Runs body(i) for i in [0, count) on the default team, handing out one
// fragment at a time so that fragments of unequal cost balance out. An
// exception must not leave the parallel region (that would end the process):
// the first one, from a progress sink or an allocation, stops the hand-out of
// further fragments and makes the call return false.
template <class Body>
bool forEachFragmentInParallel(std::uint32_t count, Body&& body) {
    std::atomic<bool> failed{false};
#pragma omp parallel
    {
#pragma omp for schedule(nonmonotonic : dynamic, 1) nowait
        for (std::uint64_t i = 0; i < count; ++i) {
            if (failed.load(std::memory_order_relaxed)) {
                continue;
            }
            try {
                body(static_cast<std::uint32_t>(i));
            } catch (...) {
                failed.store(true, std::memory_order_relaxed);
            }
        }
    }
    return !failed.load();
}

// Runs body(i) for i in [0, count): in parallel over fragments when there
// are at least as many as threads, else one fragment after another in order,
// the kernels then sharing each fragment's rows among the team. False when an
// exception stopped the loop, as above.
template <class Body>
bool forEachFragment(std::uint32_t count, Body&& body) {
    if (count >= static_cast<std::uint32_t>(omp_get_max_threads())) {
        return forEachFragmentInParallel(count, body);
    }
    try {
        for (std::uint32_t i = 0; i < count; ++i) {
            body(i);
        }
    } catch (...) {
        return false;
    }
    return true;
}

// As forEachFragment, but announce(i) (a progress report, say) is called for
// every i in ascending order, each before body(i) starts, even when fragments
// run in parallel: the next fragment is handed out and announced under one
// lock. An exception from announce(i) leaves fragments from i on undone; one
// from a body stops the hand-out. False in both cases.
template <class Announce, class Body>
bool forEachFragmentInOrder(std::uint32_t count, Announce&& announce, Body&& body) {
    if (count < static_cast<std::uint32_t>(omp_get_max_threads())) {
        return forEachFragment(count, [&](std::uint32_t i) {
            announce(i);
            body(i);
        });
    }
    std::mutex handOut;
    std::uint32_t next = 0;
    std::atomic<bool> failed{false};
#pragma omp parallel
    {
        for (;;) {
            std::uint32_t i = 0;
            {
                std::lock_guard const guard(handOut);
                if (next == count || failed.load(std::memory_order_relaxed)) {
                    break;
                }
                i = next++;
                try {
                    announce(i);
                } catch (...) {
                    failed.store(true, std::memory_order_relaxed);
                    break;
                }
            }
            try {
                body(i);
            } catch (...) {
                failed.store(true, std::memory_order_relaxed);
            }
        }
    }
    return !failed.load();
}

// Runs a framework call under the one global lock (OpenMP's unnamed critical
// section) that serialises access to shared framework objects. An exception
// is carried out of the critical section before it is rethrown.
template <class Call>
std::invoke_result_t<Call> underFrameworkLock(Call&& call) {
    std::invoke_result_t<Call> result;
    std::exception_ptr error;
#pragma omp critical
    {
        try {
            result = call();
        } catch (...) {
            error = std::current_exception();
        }
    }
    if (error) {
        std::rethrow_exception(error);
    }
    return result;
}

} // namespace Rastrum::frame

#pragma once

#include <omp.h>

#include <algorithm>
#include <cstdint>
#include <exception>

// Work sharing inside one fragment, for grids with fewer fragments than threads.
namespace Rastrum::frame {

// Runs body(begin, end) over [0, count) cut into one contiguous block per
// thread of the default team, block edges on multiples of `grain`. Inside a
// parallel region (fragments already spread over the team), or with less than
// two grains of work, the calling thread runs the whole range. An exception
// thrown by a block is rethrown once the team has finished.
template <class Body>
void splitAcrossTeam(std::uint64_t count, std::uint64_t grain, Body&& body) {
    auto const grains = (count + grain - 1) / grain;
    auto const team = omp_in_parallel() ? 1 : std::min(grains, static_cast<std::uint64_t>(omp_get_max_threads()));
    if (team <= 1) {
        body(std::uint64_t{0}, count);
        return;
    }
    std::exception_ptr failure;
#pragma omp parallel num_threads(static_cast<int>(team))
    {
        auto const threads = static_cast<std::uint64_t>(omp_get_num_threads());
        auto const t = static_cast<std::uint64_t>(omp_get_thread_num());
        auto const begin = std::min(count, grains * t / threads * grain);
        auto const end = std::min(count, grains * (t + 1) / threads * grain);
        try {
            if (begin < end) {
                body(begin, end);
            }
        } catch (...) {
#pragma omp critical(rastrum_team_split_failure)
            if (!failure) {
                failure = std::current_exception();
            }
        }
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace Rastrum::frame

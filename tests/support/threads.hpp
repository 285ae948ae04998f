#pragma once

#include <omp.h>

namespace testing_support {

// Runs call() with OpenMP teams of `threads`, then restores the team size.
template <class Call>
auto withThreads(int threads, Call&& call) {
    int const before = omp_get_max_threads();
    omp_set_num_threads(threads);
    auto result = call();
    omp_set_num_threads(before);
    return result;
}

} // namespace testing_support

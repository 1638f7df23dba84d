#pragma once

#include <omp.h>

/// What `run` gives on so many OpenMP threads.
template <class Run>
auto OnThreads(int threads, Run&& run) -> decltype(run()) {
    const int before = omp_get_max_threads();
    omp_set_num_threads(threads);
    auto result = run();
    omp_set_num_threads(before);
    return result;
}

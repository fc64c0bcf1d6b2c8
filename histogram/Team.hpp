// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <limits>
#include <omp.h>
#include <system_error>
#include <thread>

namespace Fiber {

/// How many values a type has.
template <class T>
constexpr std::size_t BinsOf = std::size_t{std::numeric_limits<T>::max()} + 1;

/// Up to so many elements one thread counts alone: with more bins a team takes longer to merge.
template <class T>
constexpr std::size_t SerialLimit = BinsOf<T>*(sizeof(T) == 1 ? 256 : 16);
static_assert(SerialLimit<unsigned char> == 65'536 && SerialLimit<unsigned short> == 1'048'576);

/// Whether the system gives threads. OpenMP does not ask, and ends the program when it does not.
inline bool threadsAvailable() {
    static const bool available = [] {
        try {
            std::thread([] {}).join();
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    }();
    return available;
}

/// Splits `size` elements into consecutive parts, one for each thread of a team. Each thread makes a `Private` of its
/// own and does `work(own, begin, end)`; then the threads `merge(own)`, one at a time. Throws what a thread threw.
template <class Private, class Work, class Merge>
void countInTeam(std::size_t size, Work work, Merge merge) {
    std::exception_ptr failure;
#pragma omp parallel if (threadsAvailable())
    {
        try {
            const auto threads = static_cast<std::size_t>(omp_get_num_threads());
            const auto thread = static_cast<std::size_t>(omp_get_thread_num());
            const std::size_t longer = size % threads; // so many parts, the first ones, have one element more
            const std::size_t begin = thread * (size / threads) + std::min(thread, longer);
            Private own;
            work(own, begin, begin + size / threads + (thread < longer ? 1 : 0));
#pragma omp critical(mergeHistograms)
            merge(own);
        } catch (...) {
#pragma omp critical(failedHistograms)
            failure = std::current_exception();
        }
    }
    if (failure) std::rethrow_exception(failure);
}

} // namespace Fiber

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <thread>

namespace corvane {

/// How many threads a work above the host may take; those of OpenMP are its own affair.
inline std::atomic<std::size_t>& mostThreads() {
    static std::atomic<std::size_t> most = std::max(std::thread::hardware_concurrency(), 1u);
    return most;
}

} // namespace corvane

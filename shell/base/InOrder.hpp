// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Threads.hpp"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace corvane {

/// Makes results 0 to `count` - 1 by `make(i)` on all threads, and calls `use(i, result)` with each in this order on
/// the calling one. So many are made ahead as there are threads, and as many more wait. Throws what either threw first;
/// what is being made is finished before. Where the system gives no threads all is done on this one.
template <class Make, class Use>
void inOrder(std::size_t count, Make make, Use use) {
    using Result = decltype(make(std::size_t{}));
    const std::size_t threads = std::min(mostThreads().load(), count);
    if (threads <= 1) {
        for (std::size_t i = 0; i < count; ++i) use(i, make(i));
        return;
    }
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::optional<Result>> made(2 * threads); // result i in the place i modulo their number
    std::size_t begun = 0, used = 0;
    std::exception_ptr failure;

    const auto work = [&] {
        std::unique_lock lock(mutex);
        while (!failure && begun < count) {
            const std::size_t i = begun++;
            changed.wait(lock, [&] { return failure || i < used + made.size(); });
            if (failure) return;
            lock.unlock();
            std::optional<Result> result;
            std::exception_ptr problem;
            try {
                result.emplace(make(i));
            } catch (...) {
                problem = std::current_exception();
            }
            lock.lock();
            if (problem && !failure) failure = problem;
            made[i % made.size()] = std::move(result);
            changed.notify_all();
        }
    };
    std::vector<std::jthread> workers;
    try {
        for (std::size_t i = 0; i < threads; ++i) workers.emplace_back(work);
    } catch (const std::system_error&) {
        if (workers.empty()) {
            for (std::size_t i = 0; i < count; ++i) use(i, make(i));
            return;
        }
    }
    std::unique_lock lock(mutex);
    while (used < count) {
        auto& next = made[used % made.size()];
        changed.wait(lock, [&] { return failure || next; });
        if (failure) break;
        const Result result = std::move(*next);
        next.reset();
        lock.unlock();
        std::exception_ptr problem;
        try {
            use(used, result);
        } catch (...) {
            problem = std::current_exception();
        }
        lock.lock();
        if (problem && !failure) failure = problem;
        ++used;
        changed.notify_all();
    }
    lock.unlock();
    workers.clear(); // joins them
    if (failure) std::rethrow_exception(failure);
}

} // namespace corvane

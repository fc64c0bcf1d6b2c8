// SPDX-License-Identifier: Apache-2.0
#include "picture/Team.hpp"

#include <algorithm>
#include <system_error>
#include <utility>

namespace corvane {

Team::Team(unsigned threads) {
    try {
        for (unsigned i = 1; i < threads; ++i) others_.emplace_back([this] { wait(); });
    } catch (const std::system_error&) { // those that there are suffice
    }
}

Team::~Team() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    begun_.notify_all();
    for (std::thread& thread : others_) thread.join();
}

void Team::each(std::size_t count, const std::function<void(std::size_t)>& work) {
    if (others_.empty() || count < 2) {
        for (std::size_t i = 0; i < count; ++i) work(i);
        return;
    }
    std::unique_lock lock(mutex_);
    work_ = &work;
    next_ = 0;
    count_ = count;
    begun_.notify_all();
    take(lock);
    done_.wait(lock, [this] { return busy_ == 0; });
    work_ = nullptr;
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void Team::bands(int rows, const std::function<void(int, int)>& work) {
    const int count = std::min(rows, static_cast<int>(others_.empty() ? 1 : 4 * size()));
    each(static_cast<std::size_t>(count), [&](std::size_t i) {
        const auto edge = [&](std::size_t band) {
            return static_cast<int>(band * std::size_t(rows) / std::size_t(count));
        };
        work(edge(i), edge(i + 1));
    });
}

void Team::wait() {
    std::unique_lock lock(mutex_);
    for (;;) {
        begun_.wait(lock, [this] { return ending_ || (work_ && next_ < count_); });
        if (ending_) return;
        take(lock);
    }
}

/// Does what is left, with the lock released meanwhile.
void Team::take(std::unique_lock<std::mutex>& lock) {
    ++busy_;
    while (next_ < count_) {
        const std::size_t i = next_++;
        lock.unlock();
        std::exception_ptr failure;
        try {
            (*work_)(i);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        if (!failure) continue;
        if (!failure_) failure_ = failure;
        next_ = count_;
    }
    if (--busy_ == 0) done_.notify_all();
}

} // namespace corvane

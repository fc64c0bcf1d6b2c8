// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace corvane {

/// Threads that wait for work which divides. One thread at a time may use it, and works along.
class Team {
public:
    /// So many threads, the caller's included. Where the system gives fewer the team is smaller.
    explicit Team(unsigned threads = 1);
    ~Team();
    Team(const Team&) = delete;
    Team& operator=(const Team&) = delete;

    unsigned size() const { return static_cast<unsigned>(others_.size()) + 1; }

    /// Calls `work(i)` for each number below the count, side by side. Throws what one of them threw first; those that
    /// were not begun by then are left out.
    void each(std::size_t count, const std::function<void(std::size_t)>& work);

    /// Divides rows into bands: `work(first, end)`.
    void bands(int rows, const std::function<void(int, int)>& work);

private:
    void wait();
    void take(std::unique_lock<std::mutex>& lock);

    std::mutex mutex_; // guards what follows
    std::condition_variable begun_, done_;
    const std::function<void(std::size_t)>* work_ = nullptr;
    std::size_t next_ = 0, count_ = 0;
    std::size_t busy_ = 0; // threads
    std::exception_ptr failure_;
    bool ending_ = false;
    std::vector<std::thread> others_;
};

} // namespace corvane

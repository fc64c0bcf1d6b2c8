// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <thread>

namespace Holdfast {

/// Runs jobs one after another on a thread of its own, from the first job on; at once, where there is none to be had.
/// Jobs must not throw. The destructor finishes the job that runs and forgets the others; a job may be our last owner.
class Worker {
public:
    Worker();
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void add(std::function<void()> job);

private:
    struct Queue;
    static void run(const std::shared_ptr<Queue>& queue);

    std::shared_ptr<Queue> queue_; // shared with the thread
    std::thread thread_;
};

} // namespace Holdfast

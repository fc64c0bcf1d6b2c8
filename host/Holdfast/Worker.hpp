// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <thread>

namespace Holdfast {

/// Runs jobs one after another on a thread of its own, which starts with the first job. Jobs must not throw. The
/// destructor finishes the job that runs and forgets the others; a job may hold the last pointer to the worker's owner.
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

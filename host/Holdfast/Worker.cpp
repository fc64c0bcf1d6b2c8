// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Worker.hpp"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>

namespace Holdfast {

struct Worker::Queue {
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> jobs;
    bool stopping = false;
};

Worker::Worker() : queue_(std::make_shared<Queue>()) {}

Worker::~Worker() {
    std::deque<std::function<void()>> forgotten; // destroyed outside of the lock
    {
        const std::lock_guard lock(queue_->mutex);
        queue_->stopping = true;
        forgotten.swap(queue_->jobs);
    }
    queue_->wake.notify_one();
    if (thread_.get_id() == std::this_thread::get_id()) thread_.detach(); // destroyed by its own job
    if (thread_.joinable()) thread_.join();
}

void Worker::add(std::function<void()> job) {
    try {
        const std::lock_guard lock(queue_->mutex);
        if (!thread_.joinable()) thread_ = std::thread([queue = queue_] { run(queue); });
        queue_->jobs.push_back(std::move(job));
        queue_->wake.notify_one();
    } catch (const std::system_error&) { // no thread
        job();
    }
}

void Worker::run(const std::shared_ptr<Queue>& queue) {
    while (true) {
        std::function<void()> job;
        {
            std::unique_lock lock(queue->mutex);
            queue->wake.wait(lock, [&] { return queue->stopping || !queue->jobs.empty(); });
            if (queue->stopping) return;
            job = std::move(queue->jobs.front());
            queue->jobs.pop_front();
        }
        job();
    }
}

} // namespace Holdfast

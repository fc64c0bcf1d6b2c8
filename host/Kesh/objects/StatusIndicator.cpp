// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/StatusIndicator.hpp"

#include <mutex>

namespace Kesh {
namespace {

struct Listener {
    std::mutex mutex;
    StatusIndicator::Sink sink;
};

Listener& listener() {
    static Listener instance;
    return instance;
}

} // namespace

Status StatusIndicator::status(const ValuePool& pool) const {
    const auto found = statuses_.find(pool.identifier());
    return found == statuses_.end() ? Status{} : found->second;
}

void StatusIndicator::setSink(Sink sink) {
    const std::lock_guard lock(listener().mutex);
    listener().sink = std::move(sink);
}

void StatusIndicator::set(const ValuePool& pool, Status status) {
    const Status& said = statuses_[pool.identifier()] = std::move(status);
    const std::lock_guard lock(listener().mutex);
    if (listener().sink) listener().sink(statusName(), said);
}

} // namespace Kesh

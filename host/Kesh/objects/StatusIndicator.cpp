// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/StatusIndicator.hpp"

namespace Kesh {
namespace {

StatusIndicator::Sink& sink() {
    static StatusIndicator::Sink instance;
    return instance;
}

} // namespace

Status StatusIndicator::status(const ValuePool& pool) const {
    const auto found = statuses_.find(pool.identifier());
    return found == statuses_.end() ? Status{} : found->second;
}

void StatusIndicator::setSink(Sink newSink) { sink() = std::move(newSink); }

void StatusIndicator::set(const ValuePool& pool, Status status) {
    if (sink()) sink()(statusName(), status);
    statuses_[pool.identifier()] = std::move(status);
}

} // namespace Kesh

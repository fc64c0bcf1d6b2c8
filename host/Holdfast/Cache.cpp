// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Cache.hpp"

namespace Holdfast {

std::size_t Cache::residentBytes() const {
    const std::lock_guard lock(mutex_);
    return resident_;
}

void Cache::insert(Cacheable& data) {
    {
        const std::lock_guard lock(mutex_);
        data.cache_ = self<Cache>();
        data.place_ = byUse_.insert(byUse_.end(), &data);
        data.counted_ = data.bytes();
        resident_ += data.counted_;
    }
    makeRoom();
}

void Cache::moveToYoungEnd(Cacheable& data) {
    const std::lock_guard lock(mutex_);
    byUse_.splice(byUse_.end(), byUse_, data.place_);
}

void Cache::remove(Cacheable& data) {
    const std::lock_guard lock(mutex_);
    byUse_.erase(data.place_);
    resident_ -= data.counted_;
}

/// Discarding destroys data, which calls `remove`: so the lock is not held meanwhile, and each creator is asked once.
void Cache::makeRoom() {
    std::size_t candidates = 0;
    {
        const std::lock_guard lock(mutex_);
        candidates = byUse_.size();
    }
    for (; candidates > 0; --candidates) {
        if (residentBytes() <= budget_) return;
        if (const auto creator = oldestCreator()) creator->discardCreation();
    }
}

/// The creator of the oldest data, which goes to the young end, in case that the creator refuses.
StrongPtr<Creature> Cache::oldestCreator() {
    const std::lock_guard lock(mutex_);
    if (byUse_.empty()) return nullptr;
    Cacheable* oldest = byUse_.front();
    byUse_.splice(byUse_.end(), byUse_, oldest->place_);
    return oldest->creator_.lock();
}

Cacheable::~Cacheable() {
    if (cache_) cache_->remove(*this);
}

void Cacheable::markAsUsed() {
    if (cache_) cache_->moveToYoungEnd(*this);
}

} // namespace Holdfast

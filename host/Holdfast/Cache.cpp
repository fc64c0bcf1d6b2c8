// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Cache.hpp"

namespace Holdfast {

std::size_t Cache::residentBytes() const {
    const std::lock_guard lock(mutex_);
    return resident_;
}

void Cache::insert(Cacheable& data, Goes when) {
    {
        const std::lock_guard lock(mutex_);
        if (data.cache_) resident_ -= data.counted_; // it is ours already, and comes in anew
        data.cache_ = self<Cache>();
        data.goes_ = when;
        data.counted_ = data.bytes();
        resident_ += data.counted_;
        enlist(data);
    }
    makeRoom();
}

/// At the young end, unless it does not go. The lock is held.
void Cache::enlist(Cacheable& data) {
    delist(data);
    if (data.goes_ == Goes::Never || data.pins_ > 0) return;
    data.list_ = data.goes_ == Goes::First ? &first_ : &last_;
    data.place_ = data.list_->insert(data.list_->end(), &data);
}

void Cache::delist(Cacheable& data) {
    if (data.list_) data.list_->erase(data.place_);
    data.list_ = nullptr;
}

void Cache::makeRoom() {
    makeRoom(first_);
    makeRoom(last_);
}

/// Discarding destroys data, which leaves the cache: so the lock is not held meanwhile, and each creator is asked once.
void Cache::makeRoom(ByUse& from) {
    std::size_t candidates = 0;
    {
        const std::lock_guard lock(mutex_);
        candidates = from.size();
    }
    for (; candidates > 0; --candidates) {
        if (residentBytes() <= budget_) return;
        if (const auto creator = oldestCreator(from)) creator->discardCreation();
    }
}

/// The creator of the oldest data, which goes to the young end, in case that the creator refuses.
StrongPtr<Creature> Cache::oldestCreator(ByUse& from) {
    const std::lock_guard lock(mutex_);
    if (from.empty()) return nullptr;
    Cacheable* oldest = from.front();
    from.splice(from.end(), from, oldest->place_);
    return oldest->creator_.lock();
}

Cacheable::~Cacheable() {
    if (!cache_) return;
    const std::lock_guard lock(cache_->mutex_);
    cache_->delist(*this);
    cache_->resident_ -= counted_;
}

void Cacheable::markAsUsed() {
    if (!cache_) return;
    const std::lock_guard lock(cache_->mutex_);
    if (list_) list_->splice(list_->end(), *list_, place_);
}

void Cacheable::pin() {
    if (!cache_) {
        ++pins_; // nobody else has it yet
        return;
    }
    const std::lock_guard lock(cache_->mutex_);
    if (++pins_ == 1) cache_->delist(*this);
}

void Cacheable::unpin() {
    if (!cache_) {
        --pins_;
        return;
    }
    const std::lock_guard lock(cache_->mutex_);
    if (--pins_ == 0) cache_->enlist(*this);
}

} // namespace Holdfast

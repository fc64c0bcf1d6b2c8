// SPDX-License-Identifier: Apache-2.0
#include "Fiber/CreativeArray.hpp"

#include <cassert>

namespace Fiber {

using Holdfast::StrongPtr;

CreativeArrayBase::CreativeArrayBase(const std::type_info& elementType, std::size_t size, StrongPtr<ArraySource> source,
                                     StrongPtr<Holdfast::Cache> cache)
    : elementType_(elementType), size_(size), source_(std::move(source)), cache_(std::move(cache)) {
    setAge(nextTime());
}

CreativeArrayBase::CreativeArrayBase(StrongPtr<MemBase> values)
    : elementType_(values->elementType()), size_(values->size()), values_(std::move(values)) {
    setAge(nextTime());
}

bool CreativeArrayBase::hasData() const {
    const std::lock_guard lock(mutex_);
    return bool(values_);
}

bool CreativeArrayBase::discardCreation() {
    StrongPtr<MemBase> dropped; // destroyed after the lock is released, since that calls the cache
    const std::lock_guard lock(mutex_);
    if (!source_ || !cachingEnabled() || values_.useCount() > 1) return false;
    dropped.swap(values_);
    return bool(dropped);
}

void CreativeArrayBase::enableCaching(bool enabled) {
    const std::lock_guard lock(mutex_);
    if (values_ && enabled != cachingEnabled()) enabled ? values_->unpin() : values_->pin();
    Creature::enableCaching(enabled);
}

StrongPtr<const MemBase> CreativeArrayBase::residentData() const {
    const std::lock_guard lock(mutex_);
    return values_;
}

StrongPtr<const MemBase> CreativeArrayBase::getData(const Holdfast::TimeBudget& budget) {
    if (const auto resident = residentData()) {
        markAsUsed();
        return resident;
    }
    if (!budget.isImmediate() || !cache_) { // without a cache nobody works in the background
        const auto values = waitedFor();
        return values ? values : load();
    }
    rethrowFailure();
    loadAhead();
    return nullptr;
}

void CreativeArrayBase::rethrowFailure() {
    const std::lock_guard lock(mutex_);
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

/// What the background is loading now, when it has come. What waits in the queue is taken from it.
StrongPtr<MemBase> CreativeArrayBase::waitedFor() {
    std::unique_lock lock(mutex_);
    if (background_ == Background::Queued) background_ = Background::Idle;
    loaded_.wait(lock, [this] { return background_ == Background::Idle; });
    return values_;
}

StrongPtr<MemBase> CreativeArrayBase::load() { return enter(source_->make()); }

void CreativeArrayBase::take(const StrongPtr<MemBase>& made) {
    if (!hasData()) enter(made);
}

StrongPtr<MemBase> CreativeArrayBase::enter(const StrongPtr<MemBase>& made) {
    assert(made->size() == size_ && made->elementType() == elementType_);
    made->setCreator(self<Holdfast::Creature>());
    if (cache_) cache_->insert(*made); // before others can see the values
    const std::lock_guard lock(mutex_);
    failure_ = nullptr;
    if (values_) return values_; // somebody was quicker
    if (!cachingEnabled()) made->pin();
    return values_ = made;
}

void CreativeArrayBase::loadAhead() {
    {
        const std::lock_guard lock(mutex_);
        if (values_ || !cache_) return;
        if (background_ != Background::Idle) return;
        background_ = Background::Queued;
    }
    cache_->worker().add([array = self<CreativeArrayBase>()] { array->loadQueued(); });
}

/// On the worker's thread, if it has one.
void CreativeArrayBase::loadQueued() {
    {
        const std::lock_guard lock(mutex_);
        if (background_ != Background::Queued) return;
        background_ = Background::Loading;
    }
    std::exception_ptr failure;
    try {
        load();
    } catch (...) {
        failure = std::current_exception();
    }
    {
        const std::lock_guard lock(mutex_);
        background_ = Background::Idle;
        failure_ = failure;
    }
    loaded_.notify_all();
}

StrongPtr<CreativeArrayBase> CreativeArrayBase::privateCopy() {
    const StrongPtr<MemBase> values = getData()->copy();
    const auto copy = Holdfast::create<CreativeArrayBase>(values);
    copy->setAge(age());
    copy->cache_ = cache_;
    values->setCreator(StrongPtr<Holdfast::Creature>(copy));
    if (cache_) cache_->insert(*values, Holdfast::Goes::Never);
    return copy;
}

void CreativeArrayBase::becomeRemakeable(const StrongPtr<ArraySource>& source) {
    StrongPtr<MemBase> values;
    {
        const std::lock_guard lock(mutex_);
        source_ = source;
        values = values_;
    }
    if (values && cache_) cache_->insert(*values);
}

void CreativeArrayBase::markAsUsed() const {
    StrongPtr<MemBase> values;
    {
        const std::lock_guard lock(mutex_);
        values = values_;
    }
    if (values) values->markAsUsed();
}

} // namespace Fiber

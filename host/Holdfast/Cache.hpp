// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Creature.hpp"
#include "Holdfast/Pointer.hpp"
#include "Holdfast/Worker.hpp"

#include <cstddef>
#include <list>
#include <mutex>

namespace Holdfast {

class Cacheable;

/// Keeps the data that was made on demand within a memory budget, and makes data in the background.
///
/// Rules: data enters with `insert`, at the young end; `markAsUsed` brings it back there; when more than the budget is
/// resident, the creators of the oldest data are asked to discard it, until it fits or all have refused. Thread safe.
class Cache : public Managed {
public:
    explicit Cache(std::size_t budgetBytes) : budget_(budgetBytes) {}

    std::size_t budget() const { return budget_; }
    std::size_t residentBytes() const;

    /// Counts the data in, and makes room for it.
    void insert(Cacheable& data);

    /// For loading what an immediate request could not wait for.
    Worker& worker() { return worker_; }

private:
    friend class Cacheable;
    void moveToYoungEnd(Cacheable& data);
    void remove(Cacheable& data);
    void makeRoom();
    StrongPtr<Creature> oldestCreator();

    std::size_t budget_;
    mutable std::mutex mutex_;
    std::size_t resident_ = 0;
    std::list<Cacheable*> byUse_; // oldest first
    Worker worker_;
};

/// Data that a cache looks after, from `Cache::insert` to its destruction.
class Cacheable {
public:
    Cacheable() = default;
    Cacheable(const Cacheable&) = delete;
    Cacheable& operator=(const Cacheable&) = delete;
    virtual ~Cacheable();

    virtual std::size_t bytes() const = 0;

    void markAsUsed();

    /// Who made this data and can be asked to discard it.
    void setCreator(const WeakPtr<Creature>& creator) { creator_ = creator; }
    WeakPtr<Creature> creator() const { return creator_; }

private:
    friend class Cache;
    WeakPtr<Creature> creator_;
    StrongPtr<Cache> cache_;  // empty: no cache looks after this
    std::size_t counted_ = 0; // bytes, as the cache counted them in
    std::list<Cacheable*>::iterator place_;
};

} // namespace Holdfast

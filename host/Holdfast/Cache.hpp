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

/// When data goes, if memory is short: before other data, after all that goes first, or never. What was found out about
/// values goes last, since it is smaller than they are and spares whoever asks for it from having them made again.
enum class Goes { First, Last, Never };

/// Keeps the data that was made on demand within a memory budget, and makes data in the background.
///
/// Rules: data enters with `insert`, at the young end; `markAsUsed` brings it back there; when more than the budget is
/// resident, the creators of the oldest data are asked to discard it, until it fits or all have refused. What never
/// goes, or is pinned, counts in the budget and is not looked at. Thread safe.
class Cache : public Managed {
public:
    explicit Cache(std::size_t budgetBytes) : budget_(budgetBytes) {}

    std::size_t budget() const { return budget_; }
    std::size_t residentBytes() const;

    /// Counts the data in, and makes room for it. What is in already may change when it goes.
    void insert(Cacheable& data, Goes when = Goes::First);

    /// Asks for data to be discarded until the budget suffices.
    void makeRoom();

    /// For loading what an immediate request could not wait for.
    Worker& worker() { return worker_; }

private:
    friend class Cacheable;
    using ByUse = std::list<Cacheable*>; // oldest first

    void enlist(Cacheable& data);
    void delist(Cacheable& data);
    void makeRoom(ByUse& from);
    StrongPtr<Creature> oldestCreator(ByUse& from);

    std::size_t budget_;
    mutable std::mutex mutex_;
    std::size_t resident_ = 0;
    ByUse first_, last_; // by when they go; what does not go is in neither
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

    /// Keeps the data from being discarded until it is unpinned as often. Unpinned data is as if it had just been used;
    /// room is made for it when the next data comes.
    void pin();
    void unpin();

    /// Who made this data and can be asked to discard it.
    void setCreator(const WeakPtr<Creature>& creator) { creator_ = creator; }
    WeakPtr<Creature> creator() const { return creator_; }

private:
    friend class Cache;
    WeakPtr<Creature> creator_;
    StrongPtr<Cache> cache_;  // empty: no cache looks after this
    std::size_t counted_ = 0; // bytes, as the cache counted them in
    Goes goes_ = Goes::First;
    int pins_ = 0;
    Cache::ByUse* list_ = nullptr; // that this is in
    Cache::ByUse::iterator place_;
};

/// Pins data for as long as this lives.
template <class Data>
class Pin {
public:
    explicit Pin(StrongPtr<Data> data) : data_(std::move(data)) { data_->pin(); }
    Pin(Pin&& other) noexcept { data_.swap(other.data_); }
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;
    ~Pin() {
        if (data_) data_->unpin();
    }

private:
    StrongPtr<Data> data_;
};

} // namespace Holdfast

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/ValuePool.hpp"

#include <cstdint>
#include <map>
#include <mutex>
#include <shared_mutex>

namespace Kesh {

/// What an object remembers from one update to the next, once for each value pool.
template <class State>
class VStateCreatorBase {
public:
    virtual ~VStateCreatorBase() = default;

    /// The state, and the lock that keeps others from it as long as this lives.
    class Locked {
    public:
        State* operator->() const { return &state_; }
        State& operator*() const { return state_; }

    private:
        friend class VStateCreatorBase;
        Locked(State& state, std::unique_lock<std::shared_mutex> lock) : state_(state), lock_(std::move(lock)) {}
        State& state_;
        std::unique_lock<std::shared_mutex> lock_;
    };

    /// An initial state when the pool has none yet.
    Locked myState(const ValuePool& pool) {
        std::unique_lock lock(mutex_);
        auto found = states_.find(pool.identifier());
        if (found == states_.end()) found = states_.emplace(pool.identifier(), newState()).first;
        return {found->second, std::move(lock)};
    }

protected:
    /// What a pool has at first.
    virtual State newState() const { return {}; }

private:
    std::shared_mutex mutex_;
    std::map<std::uint64_t, State> states_; // by pool
};

} // namespace Kesh

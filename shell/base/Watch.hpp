// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Failure.hpp"

#include <cstdint>
#include <functional>
#include <string>

namespace corvane {

/// A work that whoever watches it wanted to stop. What it was to write is not there; what it was to change is as
/// before.
struct Interrupted : Failure {
    using Failure::Failure;
};

/// Who is told how far a long work has come, and may stop it. Everything above the host that takes time takes one.
class Watch {
public:
    /// `work` says what goes on, e.g. "Saving tile.las"; done and total are in a unit of its own. False stops it.
    using Listener = std::function<bool(std::uint64_t done, std::uint64_t total, const std::string& work)>;

    /// Nobody watches.
    Watch() = default;
    Watch(Listener listener) : listener_(std::move(listener)) {}

    /// Throws Interrupted when the listener wants the work to stop.
    void operator()(std::uint64_t done, std::uint64_t total, const std::string& work) const {
        if (listener_ && !listener_(done, total, work)) throw Interrupted(work + " was interrupted.");
    }

private:
    Listener listener_;
};

} // namespace corvane

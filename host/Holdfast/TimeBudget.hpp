// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>

namespace Holdfast {

/// How long an update may take, in microseconds. Without a limit it may take all the time it needs; with a limit of
/// zero it is immediate: what is not resident is not waited for.
class TimeBudget {
public:
    using Clock = std::chrono::steady_clock;

    TimeBudget() = default;
    explicit TimeBudget(std::chrono::microseconds limit) : limit_(limit) {}
    static TimeBudget immediate() { return TimeBudget(std::chrono::microseconds(0)); }

    bool isImmediate() const { return limit_ && limit_->count() <= 0; }

    /// When work that began at `start` must end.
    Clock::time_point expiryFrom(Clock::time_point start) const {
        return limit_ ? start + *limit_ : Clock::time_point::max();
    }

private:
    std::optional<std::chrono::microseconds> limit_;
};

} // namespace Holdfast

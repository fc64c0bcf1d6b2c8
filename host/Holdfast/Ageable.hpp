// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

namespace Holdfast {

/// Something that knows when it last changed, on a clock that counts changes and is the same for everybody.
class Ageable {
public:
    using Age = std::int64_t;

    /// The age older than every other: that of what was never set.
    static constexpr Age Ooooold = 0;

    /// The global modification clock: the last time taken. Every change takes the next one.
    static std::atomic<Age> GlobalTime;

    static Age nextTime() { return ++GlobalTime; }

    Age age() const { return age_; }
    void setAge(Age age) { age_ = age; }
    void raiseAge(Age age) {
        if (age > age_) age_ = age;
    }

private:
    Age age_ = Ooooold;
};

} // namespace Holdfast

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/RecordStream.hpp"

#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

namespace corvane {

/// Points by what their value was and is.
struct Transitions {
    std::map<std::pair<std::uint16_t, std::uint16_t>, std::uint64_t> counts; ///< those that stay as they are included
    std::uint64_t uncounted = 0; ///< changed points of further kinds, where there are more than a million

    std::uint64_t unchanged() const;
    std::uint64_t points() const; ///< all of them
};

/// Counts the transitions of a field of unsigned integers of 8 or 16 bits.
class TransitionCounter {
public:
    TransitionCounter(Dimension before, Dimension after);

    void add(const RecordPairs& pairs);

    /// The same, for pairs that have equal values.
    void addUnchanged(const RecordPairs& pairs);

    Transitions transitions() const;

private:
    void change(std::uint16_t before, std::uint16_t after);

    Dimension before_, after_;
    std::vector<std::uint64_t> unchanged_; // by value
    std::unordered_map<std::uint32_t, std::uint64_t> changed_;
    std::uint64_t uncounted_ = 0;
};

} // namespace corvane

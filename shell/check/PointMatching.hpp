// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/RecordStream.hpp"

#include <functional>

namespace corvane {

/// How the points of two surveys belong together.
struct PointMatching {
    enum class Kind {
        ByIndex,   ///< as many points in both
        Dropped,   ///< the later survey is the earlier one without some points
        Added,     ///< the other way round
        Reordered, ///< the same points in another order: nothing can be compared by index
        Unknown    ///< more or fewer points, and no way to say which are the same
    };
    Kind kind = Kind::ByIndex;
    std::uint64_t missing = 0;      ///< points that only one survey has
    std::uint64_t firstMissing = 0; ///< index of the first of them in the survey that has it

    bool comparable() const { return kind != Kind::Reordered && kind != Kind::Unknown; }
};

using UsePairs = std::function<void(const RecordPairs&)>;

/// Calls `use` with all the pairs, in order. Where the counts differ, each point of the smaller survey goes with the
/// first one behind the last that has its identity; when that leaves some over, the result is Unknown and `use` was
/// called for a part only.
PointMatching matchPoints(const LasFile& before, const LasFile& after, const Watch& watch, const UsePairs& use);

/// Whether both surveys hold the same points, in whatever order.
bool samePoints(const LasFile& before, const LasFile& after, const Watch& watch);

} // namespace corvane

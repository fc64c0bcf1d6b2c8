// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "network/Selecting.hpp"
#include "session/WorkbenchState.hpp"

#include <atomic>
#include <cstdint>
#include <optional>

namespace corvane {

/// What a stroke would do, by points. Of those under the stroke, each is counted as the first of these that holds:
/// not visible, of another class than the rule takes, locked, selected.
struct StrokePreview {
    std::uint64_t underStroke = 0;
    std::uint64_t notVisible = 0; ///< of hidden classes, returns or heights
    std::uint64_t otherClass = 0; ///< not among the classes to take from
    std::uint64_t locked = 0;
    std::uint64_t selected = 0; ///< that the stroke selects; of Remove, those that it takes out of the mask

    std::uint64_t willChange = 0;       ///< of the selected, when they get the class
    std::uint64_t alreadyThatClass = 0; ///< of the selected

    bool operator==(const StrokePreview&) const = default;
};

/// Counts exactly, on all threads, without changing anything; from any thread, beside everything else. `value` is the
/// class to assign. Stops between fragments when `stop` becomes true, and returns none. Throws StrokeProblem, Failure.
std::optional<StrokePreview> previewOf(const WorkbenchState& state, const Stroke& stroke, Selecting how,
                                       const SelectionRule& rule, int value, const std::atomic<bool>& stop);

} // namespace corvane

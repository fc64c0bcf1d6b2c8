// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <optional>
#include <set>

namespace corvane {

/// What the user does not want to see, and so not to touch, in any view.
struct NotShown {
    std::set<int> classes, returns;
    std::optional<std::array<double, 2>> heights; ///< only what lies between them is shown; an end may be infinite

    bool none() const { return classes.empty() && returns.empty() && !heights; }
    bool operator==(const NotShown&) const = default;
};

} // namespace corvane

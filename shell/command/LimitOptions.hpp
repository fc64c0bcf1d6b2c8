// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Limit.hpp"
#include "base/Watch.hpp"
#include "network/Stroke.hpp"
#include "polygon/Polygons.hpp"
#include "survey/Survey.hpp"

#include <CLI/CLI.hpp>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// What a user says of the points that are meant. All that is given must be met.
struct LimitArguments {
    std::vector<std::string> within; ///< polygons: their union
    std::vector<std::string> where;  ///< expressions
    std::string box, z;
    bool allowMiss = false;

    bool any() const { return !within.empty() || !where.empty() || !box.empty() || !z.empty(); }
};

/// Adds --within, --box, --z, --where and --allow-miss. `arguments` must live as long as the command.
void addLimitOptions(CLI::App& command, LimitArguments& arguments);

/// The limits of one call, on one survey after the other.
class CallLimits {
public:
    /// Throws UsageError, naming the option, for what cannot be understood.
    explicit CallLimits(const LimitArguments& arguments);

    /// What the points of the survey must meet; null when the call limits nothing. Says by `note` how polygons were
    /// brought into the survey's coordinates. Throws UsageError for names that the survey does not have.
    Kesh::LimitPtr on(const Survey& survey, const std::function<void(const std::string&)>& note);

    /// Whether misses are allowed.
    bool allowMiss() const { return arguments_.allowMiss; }

    /// A sentence that says that no point of the survey meets the limits, and why as far as that can be told; `stroke`
    /// selects besides. Empty when a point does. Call `on` before.
    std::string missOn(const Survey& survey, const std::optional<Stroke>& stroke, const Watch& watch) const;

private:
    struct Part {
        std::string option; ///< as it was written, for messages
        Kesh::LimitPtr limit;
    };

    const LimitArguments& arguments_;
    std::optional<PolygonSet> polygons_;
    std::vector<Part> fixed_;   // that are the same on every survey
    std::vector<Part> present_; // on the survey at hand
};

/// Whether a point of the survey lies under the brush. Looks no further than the first one.
bool meetsAny(const Survey& survey, const Kesh::Brush& brush, const Watch& watch);

} // namespace corvane

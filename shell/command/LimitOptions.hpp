// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Limit.hpp"
#include "base/Watch.hpp"
#include "geo/SurveyPolygons.hpp"
#include "network/Stroke.hpp"
#include "survey/Survey.hpp"

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// What a user says of the points that are meant. All that is given must be met.
struct LimitArguments {
    std::vector<std::string> within; ///< polygons: their union
    std::vector<std::string> where;  ///< expressions
    std::string box, z;
    std::string classFrom, whereFeature; ///< --within is a file of features that give their own classes
    PolygonOptions polygons;
    bool allowMiss = false;
    std::shared_ptr<const GivenPolygons> given; ///< of --within, once it was read; a pipe can be read only once

    bool any() const { return !within.empty() || !where.empty() || !box.empty() || !z.empty(); }
};

/// The limits in words, for people: "inside area.geojson, at heights 400..". Empty without any.
std::string limitText(const LimitArguments& arguments);

/// Adds --within, --polygon-crs, --repair-polygons, --box, --z, --where and --allow-miss. `arguments` must live as long
/// as the command.
void addLimitOptions(CLI::App& command, LimitArguments& arguments);

/// Adds --polygon-crs and --repair-polygons.
void addPolygonOptions(CLI::App& command, PolygonOptions& options);

/// Reads the polygons, if there are any and they were not read.
void readPolygonsOnce(LimitArguments& arguments);

/// The limits of one call, on one survey after the other.
class CallLimits {
public:
    /// Throws UsageError, naming the option, for what cannot be understood.
    explicit CallLimits(const LimitArguments& arguments);

    /// What the points of the survey must meet; null when the call limits nothing. Says by `note` how polygons were
    /// brought into the survey's coordinates. Throws UsageError for names that the survey does not have.
    Kesh::LimitPtr on(const Survey& survey, const std::function<void(const std::string&)>& note);

    /// The features that give classes, which are no limit, on the survey that `on` was called with last.
    const std::vector<ClassFeature>& features() const { return features_; }

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
    std::shared_ptr<const GivenPolygons> given_;
    std::optional<PolygonSet> polygons_; // on the survey at hand
    std::vector<ClassFeature> features_;
    std::vector<Part> fixed_;   // that are the same on every survey
    std::vector<Part> present_; // on the survey at hand
};

} // namespace corvane

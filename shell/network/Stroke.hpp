// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Brush.hpp"
#include "Sextant/View.hpp"
#include "polygon/Polygons.hpp"
#include "survey/Survey.hpp"

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace corvane {

/// What somebody draws: on what, which outline, how deep it reaches, and what a point must meet besides. Places and
/// depths are those of the view, in the unit of the survey (docs/network.md has the table).
struct Stroke {
    using Places = std::vector<glm::dvec2>;

    struct FromAbove {};
    struct Profile {
        glm::dvec2 from, to; ///< of the line on the ground
        double width;        ///< across
    };
    using View = std::variant<FromAbove, Profile, Sextant::Camera>;

    struct Lasso {
        Places places;
    };
    struct Rectangle {
        glm::dvec2 corner, opposite;
    };
    struct Circle {
        glm::dvec2 middle;
        double radius;
    };
    struct Path {
        Places places;
        double radius;
    };
    struct Above {
        Places line;
    };
    struct Below {
        Places line;
    };
    struct Nothing {}; ///< all that meets the limit is selected
    using Outline = std::variant<PolygonSet, Lasso, Rectangle, Circle, Path, Above, Below, Nothing>;

    View view;
    Outline outline;
    std::optional<std::array<double, 2>> depth; ///< both ends included
    Kesh::LimitPtr limit = nullptr;             ///< in the survey's coordinates, whatever the view
};

/// No stroke: all that meets the limit is selected.
inline Stroke allWithin(Kesh::LimitPtr limit) {
    return {.view = {}, .outline = Stroke::Nothing(), .depth = {}, .limit = std::move(limit)};
}

/// A part of a stroke that makes no sense: "view", "depth", or the name of the outline's kind, as in a network file.
/// `what()` says what is expected.
struct StrokeProblem : std::invalid_argument {
    StrokeProblem(std::string problematic, const std::string& what)
        : std::invalid_argument(what), part(std::move(problematic)) {}
    std::string part;
};

/// The name of an outline's kind; of none that of what is there in its place, "limit".
std::string kindOf(const Stroke::Outline& outline);

/// The limit on the points of a survey, which may name its fields as people do. Throws UsageError for a name that it
/// does not have.
Kesh::LimitPtr limitOn(const Survey& survey, const Kesh::LimitPtr& limit);

/// The stroke on the points of a survey. Throws StrokeProblem.
Kesh::Brush brushOf(const Stroke& stroke, const Survey& survey);

} // namespace corvane

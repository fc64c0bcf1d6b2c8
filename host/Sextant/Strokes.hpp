// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sextant/Outline.hpp"

#include <span>
#include <vector>

namespace Sextant {

/// What kinds of strokes cover, as outlines in the plane that they are drawn in. A lasso is its points as they are.
/// Each throws std::invalid_argument, with what is expected, for what is no such stroke.
///
/// Round ends and circles are polygons with their corners on the circle, 128 to a full turn: they cover at least 0.9996
/// of the radius.

Outline rectangleStroke(const glm::dvec2& corner, const glm::dvec2& opposite);

Outline circleStroke(const glm::dvec2& middle, double radius);

/// What a round tip covers that is drawn along the points. One point is a dab.
Outline pathStroke(std::span<const glm::dvec2> points, double radius);

/// Everything above a line, up to `top`, or below it, down to `bottom`, between its ends. The line runs to one side all
/// the time, though it may be upright in places; a point that it runs through is above it or below it, never both.
Outline aboveStroke(std::span<const glm::dvec2> line, double top);
Outline belowStroke(std::span<const glm::dvec2> line, double bottom);

/// The outline in another plane: each point goes where the function says.
template <class Function>
Outline mapped(Outline outline, Function function) {
    const Outline::Rule rule = outline.rule();
    std::vector<glm::dvec2> points = std::move(outline).points();
    for (glm::dvec2& p : points) p = function(p);
    return Outline(std::move(points), rule);
}

} // namespace Sextant

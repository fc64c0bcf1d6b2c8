// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "network/Stroke.hpp"

#include <optional>

namespace corvane {

/// What the left button does in a view.
enum class Tool {
    Move,      ///< the picture
    Lasso,     ///< drawn with the button down
    Polygon,   ///< corner by corner
    Rectangle, ///< from corner to corner
    Circle,    ///< from the middle
    Paint,     ///< with a round tip
    Above,     ///< a line: everything above it
    Below,
    Profile ///< the line on the ground that a profile is seen along
};

/// Whether it is drawn with the button down, from press to release, or point by point until somebody ends it.
bool isDragged(Tool tool);

/// Something on its way to being drawn, in the places of one view. Knows neither pixels nor widgets.
class Drawing {
public:
    /// `radius` is that of the tip, in the unit of the places.
    explicit Drawing(Tool tool, double radius = 0) : tool_(tool), radius_(radius) {}

    Tool tool() const { return tool_; }

    /// Whether anything was drawn yet.
    bool begun() const { return !places_.empty(); }

    /// The button goes down, the cursor moves, the button goes up. `fine` is how far apart places must be to be told
    /// apart, e.g. a pixel.
    void press(const glm::dvec2& place);
    void move(const glm::dvec2& place, double fine);
    void release(const glm::dvec2& place, double fine);

    /// No more points come: the place under the cursor is none of them.
    void end();

    /// Takes back the last point.
    void removeLast();

    /// Whether nothing more is drawn: by the release of what is dragged, or by `end`.
    bool ended() const { return ended_; }

    /// The outline, up to the cursor as long as it is not ended; none while it is not one yet, as a lasso of two
    /// points.
    std::optional<Stroke::Outline> outline() const;

    /// Its points, the cursor being the last one as long as it is not ended.
    Stroke::Places places() const;

    double radius() const { return radius_; }
    void setRadius(double radius) { radius_ = radius; }

private:
    void add(const glm::dvec2& place);
    bool runsOn(const glm::dvec2& place) const;

    Tool tool_;
    double radius_;
    Stroke::Places places_;
    std::optional<glm::dvec2> cursor_;
    bool down_ = false, ended_ = false;
};

} // namespace corvane

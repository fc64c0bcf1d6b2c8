// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <glm/vec2.hpp>

#include <span>
#include <utility>
#include <vector>

namespace Sextant {

/// An edge from its lower to its upper end, so that the two polygons that share it compute the same about a point.
struct OutlineEdge {
    glm::dvec2 low;
    glm::dvec2 high;

    /// Whether a ray from the point to the right crosses the edge; of its ends the lower belongs to it.
    bool crossedBy(const glm::dvec2& p) const {
        if (!(low.y <= p.y && p.y < high.y)) return false;
        return (high.x - low.x) * (p.y - low.y) > (p.x - low.x) * (high.y - low.y);
    }
};

/// The inside of a closed line that may cross itself: a point is inside when a ray from it crosses an odd number of
/// edges. Edges are half open, so of outlines that share an edge exactly one contains a point on it. This is the plain
/// test that every faster way must agree with.
class Outline {
public:
    Outline() = default;

    /// The last point is joined to the first.
    explicit Outline(std::vector<glm::dvec2> points) : points_(std::move(points)) {}

    /// Several closed lines as one: each is joined to the start of the first by a bridge run there and back, which the
    /// rule cancels.
    static Outline ofRings(std::span<const std::vector<glm::dvec2>> rings);

    const std::vector<glm::dvec2>& points() const { return points_; }
    bool empty() const { return points_.empty(); }

    /// Level ones too: nothing crosses them, but they part what is inside from what is not.
    std::vector<OutlineEdge> edges() const;

    bool contains(const glm::dvec2& point) const;

    bool operator==(const Outline&) const = default;

private:
    std::vector<glm::dvec2> points_;
};

} // namespace Sextant

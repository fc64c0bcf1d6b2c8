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
    int turn = 1; ///< how often the outline runs up along it, less how often down

    /// Whether a ray from the point to the right crosses the edge; of its ends the lower belongs to it.
    bool crossedBy(const glm::dvec2& p) const {
        if (!(low.y <= p.y && p.y < high.y)) return false;
        return (high.x - low.x) * (p.y - low.y) > (p.x - low.x) * (high.y - low.y);
    }
};

/// The inside of a closed line that may cross itself. Along a ray from a point, edges that run up count one and those
/// that run down minus one; the point is inside when the sum is odd, or by the other rule, when it is not 0. Edges are
/// half open, so of outlines that share an edge exactly one contains a point on it. This is the plain test that every
/// faster way must agree with.
class Outline {
public:
    enum class Rule {
        EvenOdd, ///< what is gone around twice is outside again
        Winding  ///< of parts that run the same way round, the union is inside
    };

    Outline() = default;

    /// The last point is joined to the first.
    explicit Outline(std::vector<glm::dvec2> points, Rule rule = Rule::EvenOdd)
        : points_(std::move(points)), rule_(rule) {}

    /// Several closed lines as one: each is joined to the start of the first by a bridge run there and back, which the
    /// rule cancels.
    static Outline ofRings(std::span<const std::vector<glm::dvec2>> rings, Rule rule = Rule::EvenOdd);

    /// Puts one more closed line behind those that the points are already, as `ofRings` does.
    static void addRing(std::vector<glm::dvec2>& points, std::span<const glm::dvec2> ring);

    const std::vector<glm::dvec2>& points() const& { return points_; }
    std::vector<glm::dvec2> points() && { return std::move(points_); }
    bool empty() const { return points_.empty(); }

    /// Level ones too: nothing crosses them, but they part what is inside from what is not. Bridges do neither, and
    /// are not there.
    std::vector<OutlineEdge> edges() const;

    bool contains(const glm::dvec2& point) const;

    Rule rule() const { return rule_; }

    /// Whether a point is inside for which the edges along the ray add up to that.
    static bool encloses(Rule rule, int turns) { return rule == Rule::EvenOdd ? turns % 2 != 0 : turns != 0; }

    bool operator==(const Outline&) const = default;

private:
    std::vector<glm::dvec2> points_;
    Rule rule_ = Rule::EvenOdd;
};

} // namespace Sextant

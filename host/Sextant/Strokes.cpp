// SPDX-License-Identifier: Apache-2.0
#include "Sextant/Strokes.hpp"

#include <algorithm>
#include <cmath>
#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <numbers>
#include <stdexcept>

namespace Sextant {
namespace {

using Points = std::vector<glm::dvec2>;

constexpr int HalfTurn = 64; // corners
constexpr std::size_t CapsuleCorners = 2 * (HalfTurn + 1);

void require(bool holds, const char* expected) {
    if (!holds) throw std::invalid_argument(expected);
}

void requireRadius(double radius) { require(radius > 0 && std::isfinite(radius), "a radius is more than 0"); }

/// Half a turn to the left about the middle, from where `start` points to; `start` is as long as the radius.
void addHalfCircle(Points& points, const glm::dvec2& middle, const glm::dvec2& start) {
    const glm::dvec2 left(-start.y, start.x);
    for (int i = 0; i <= HalfTurn; ++i) {
        const double angle = std::numbers::pi * i / HalfTurn;
        points.push_back(middle + std::cos(angle) * start + std::sin(angle) * left);
    }
}

/// Puts what the tip covers between two places, running round to the left, into an outline.
void addCapsule(Points& outline, const glm::dvec2& a, const glm::dvec2& b, double radius) {
    const glm::dvec2 along = a == b ? glm::dvec2(radius, 0) : radius * glm::normalize(b - a);
    const glm::dvec2 right(along.y, -along.x);
    Points points;
    points.reserve(CapsuleCorners);
    addHalfCircle(points, b, right);
    addHalfCircle(points, a, -right);
    Outline::addRing(outline, points);
}

Outline betweenLineAndLevel(std::span<const glm::dvec2> line, double level) {
    require(line.size() >= 2, "a line has two points or more");
    const auto right = [](const glm::dvec2& a, const glm::dvec2& b) { return a.x < b.x; };
    require(std::ranges::is_sorted(line, right) || std::is_sorted(line.rbegin(), line.rend(), right),
            "a line runs to one side all the time");
    Points points(line.begin(), line.end());
    points.emplace_back(line.back().x, level);
    points.emplace_back(line.front().x, level);
    return Outline(std::move(points));
}

} // namespace

Outline rectangleStroke(const glm::dvec2& corner, const glm::dvec2& opposite) {
    const glm::dvec2 low = glm::min(corner, opposite), high = glm::max(corner, opposite);
    return Outline({low, {high.x, low.y}, high, {low.x, high.y}});
}

Outline circleStroke(const glm::dvec2& middle, double radius) {
    requireRadius(radius);
    Points points;
    addHalfCircle(points, middle, {radius, 0});
    points.pop_back(); // the next begins there
    addHalfCircle(points, middle, {-radius, 0});
    points.pop_back();
    return Outline(std::move(points));
}

Outline pathStroke(std::span<const glm::dvec2> points, double radius) {
    requireRadius(radius);
    require(!points.empty(), "a path has a point or more");
    constexpr std::size_t Bridge = 2; // points
    Points outline;
    outline.reserve(points.size() * (CapsuleCorners + Bridge));
    for (std::size_t i = 1; i < points.size(); ++i) addCapsule(outline, points[i - 1], points[i], radius);
    if (points.size() == 1) addCapsule(outline, points[0], points[0], radius);
    return Outline(std::move(outline), Outline::Rule::Winding);
}

Outline aboveStroke(std::span<const glm::dvec2> line, double top) {
    for (const glm::dvec2& p : line) require(p.y < top, "a line runs below the top");
    return betweenLineAndLevel(line, top);
}

Outline belowStroke(std::span<const glm::dvec2> line, double bottom) {
    for (const glm::dvec2& p : line) require(p.y > bottom, "a line runs above the bottom");
    return betweenLineAndLevel(line, bottom);
}

} // namespace Sextant

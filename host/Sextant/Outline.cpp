// SPDX-License-Identifier: Apache-2.0
#include "Sextant/Outline.hpp"

#include <algorithm>
#include <compare>

namespace Sextant {
namespace {

/// Level edges run up to the right.
OutlineEdge edgeBetween(const glm::dvec2& a, const glm::dvec2& b) {
    const bool up = a.y < b.y || (a.y == b.y && a.x < b.x);
    return up ? OutlineEdge{a, b, 1} : OutlineEdge{b, a, -1};
}

bool samePlace(const OutlineEdge& a, const OutlineEdge& b) { return a.low == b.low && a.high == b.high; }

/// Any order that puts edges in the same place side by side; numbers or not.
bool before(const OutlineEdge& a, const OutlineEdge& b) {
    for (const auto& [ours, theirs] : {std::pair(a.low.y, b.low.y), {a.low.x, b.low.x}, {a.high.y, b.high.y}})
        if (const auto order = std::strong_order(ours, theirs); order != 0) return order < 0;
    return std::strong_order(a.high.x, b.high.x) < 0;
}

} // namespace

Outline Outline::ofRings(std::span<const std::vector<glm::dvec2>> rings, Rule rule) {
    std::vector<glm::dvec2> points;
    for (const auto& ring : rings) addRing(points, ring);
    return Outline(std::move(points), rule);
}

void Outline::addRing(std::vector<glm::dvec2>& points, std::span<const glm::dvec2> ring) {
    if (ring.empty()) return;
    const bool first = points.empty();
    if (!first && points.back() != points.front()) points.push_back(points.front()); // closes the first
    points.insert(points.end(), ring.begin(), ring.end());
    if (first) return;
    points.push_back(ring.front());
    points.push_back(points.front()); // back over the bridge
}

std::vector<OutlineEdge> Outline::edges() const {
    std::vector<OutlineEdge> edges;
    edges.reserve(points_.size());
    for (std::size_t i = 0; i < points_.size(); ++i)
        if (const auto& next = points_[(i + 1) % points_.size()]; points_[i] != next)
            edges.push_back(edgeBetween(points_[i], next));
    std::ranges::sort(edges, before);
    std::size_t merged = 0; // edges at the front that stay
    for (const OutlineEdge& edge : edges)
        if (merged > 0 && samePlace(edges[merged - 1], edge))
            edges[merged - 1].turn += edge.turn;
        else
            edges[merged++] = edge;
    edges.resize(merged);
    std::erase_if(edges, [](const OutlineEdge& edge) { return edge.turn == 0; });
    return edges;
}

bool Outline::contains(const glm::dvec2& point) const {
    int turns = 0;
    for (std::size_t i = 0; i < points_.size(); ++i) {
        const OutlineEdge edge = edgeBetween(points_[i], points_[i + 1 < points_.size() ? i + 1 : 0]);
        if (edge.crossedBy(point)) turns += edge.turn;
    }
    return encloses(rule_, turns);
}

} // namespace Sextant

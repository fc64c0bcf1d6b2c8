// SPDX-License-Identifier: Apache-2.0
#include "Sextant/Outline.hpp"

#include <algorithm>

namespace Sextant {

Outline Outline::ofRings(std::span<const std::vector<glm::dvec2>> rings) {
    std::vector<glm::dvec2> points;
    for (const auto& ring : rings) {
        if (ring.empty()) continue;
        points.insert(points.end(), ring.begin(), ring.end());
        points.push_back(ring.front());
        points.push_back(points.front()); // back over the bridge
    }
    return Outline(std::move(points));
}

std::vector<OutlineEdge> Outline::edges() const {
    std::vector<OutlineEdge> edges;
    edges.reserve(points_.size());
    for (std::size_t i = 0; i < points_.size(); ++i) {
        const glm::dvec2& a = points_[i];
        const glm::dvec2& b = points_[(i + 1) % points_.size()];
        edges.push_back(a.y < b.y ? OutlineEdge{a, b} : OutlineEdge{b, a});
    }
    return edges;
}

bool Outline::contains(const glm::dvec2& point) const {
    bool inside = false;
    for (std::size_t i = 0; i < points_.size(); ++i) {
        const glm::dvec2& a = points_[i];
        const glm::dvec2& b = points_[i + 1 < points_.size() ? i + 1 : 0];
        const OutlineEdge edge = a.y < b.y ? OutlineEdge{a, b} : OutlineEdge{b, a};
        inside ^= edge.crossedBy(point);
    }
    return inside;
}

} // namespace Sextant

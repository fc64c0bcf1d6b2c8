// SPDX-License-Identifier: Apache-2.0
// A tree of halves: each node splits its points in the middle along the longest side of their box, so that the boxes
// stay compact however the points were flown.
#include "network/PointTree.hpp"

#include <algorithm>
#include <numeric>

namespace corvane {
namespace {

constexpr std::uint32_t PointsOfLeaf = 128; // few enough to be tried one by one

int longestAxis(const Sextant::BoundingBox& box) {
    const auto side = box.maximum - box.minimum;
    if (side.x >= side.y && side.x >= side.z) return 0;
    return side.y >= side.z ? 1 : 2;
}

} // namespace

PointTree::PointTree(std::span<const Point> points) : order_(points.size()) {
    std::iota(order_.begin(), order_.end(), 0u);
    if (!points.empty()) build(points, 0, static_cast<std::uint32_t>(points.size()));
    points_.reserve(points.size());
    for (const std::uint32_t i : order_) points_.push_back(points[i]);
}

std::uint32_t PointTree::build(std::span<const Point> points, std::uint32_t first, std::uint32_t count) {
    const auto number = static_cast<std::uint32_t>(nodes_.size());
    const auto part = std::span(order_).subspan(first, count);
    Sextant::BoundingBox box;
    for (const std::uint32_t i : part) box.include(points[i]);
    nodes_.push_back({box, first, count, Leaf});
    if (count <= PointsOfLeaf) return number;
    const std::uint32_t half = count / 2;
    const int axis = longestAxis(box);
    std::ranges::nth_element(part, part.begin() + half, {}, [&](std::uint32_t i) { return points[i][axis]; });
    build(points, first, half);
    nodes_[number].second = build(points, first + half, count - half);
    return number;
}

void PointTree::select(const Kesh::Brush& brush, std::vector<std::uint32_t>& indices) {
    indices.clear();
    open_.clear();
    if (!nodes_.empty()) open_.push_back(0);
    while (!open_.empty()) {
        const std::uint32_t number = open_.back();
        const Node& node = nodes_[number];
        open_.pop_back();
        const Kesh::BoxPart part = brush.partOf(node.box);
        const auto order = std::span(order_).subspan(node.first, node.count);
        if (part == Kesh::BoxPart::All) {
            indices.insert(indices.end(), order.begin(), order.end());
        } else if (part == Kesh::BoxPart::Some && node.second == Leaf) {
            brush.select(std::span(points_).subspan(node.first, node.count), inLeaf_);
            for (const std::uint32_t i : inLeaf_) indices.push_back(order[i]);
        } else if (part == Kesh::BoxPart::Some) {
            open_.push_back(node.second);
            open_.push_back(number + 1);
        }
    }
}

} // namespace corvane

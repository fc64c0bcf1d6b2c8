// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Brush.hpp"

#include <cstdint>
#include <span>
#include <vector>

namespace corvane {

/// Points sorted by place, for many brushes that each select a few of them: parts that lie all inside or outside are
/// decided by their boxes, and only the others are looked at point by point.
class PointTree {
public:
    using Point = Sextant::PhysicalSpace::point;

    /// Copies the points, which must be finite.
    explicit PointTree(std::span<const Point> points);

    /// Puts the indices of the points under the brush into `indices`, in no order, in place of what was there. The
    /// brush reads positions and no fields.
    void select(const Kesh::Brush& brush, std::vector<std::uint32_t>& indices);

private:
    static constexpr std::uint32_t Leaf = 0;

    struct Node {
        Sextant::BoundingBox box;
        std::uint32_t first, count; ///< of the sorted points
        std::uint32_t second;       ///< the node with the latter half; the former's is the next one
    };

    std::uint32_t build(std::span<const Point> points, std::uint32_t first, std::uint32_t count);

    std::vector<std::uint32_t> order_; ///< indices of the sorted points
    std::vector<Point> points_;        ///< sorted
    std::vector<Node> nodes_;
    std::vector<std::uint32_t> open_, inLeaf_; // of select, kept for the next one
};

} // namespace corvane

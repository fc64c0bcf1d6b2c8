// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <glm/common.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include <limits>

namespace Sextant {

/// The space that points are measured in.
struct PhysicalSpace {
    using point = glm::dvec3;
};

/// An axis-parallel box, faces included. Empty until a point is put in.
struct BoundingBox {
    using point = PhysicalSpace::point;

    BoundingBox() = default;
    BoundingBox(const point& a, const point& b) : minimum(glm::min(a, b)), maximum(glm::max(a, b)) {}

    bool empty() const { return !(minimum.x <= maximum.x); }

    void include(const point& p) {
        minimum = glm::min(minimum, p);
        maximum = glm::max(maximum, p);
    }

    /// What is in this box and in another one; empty where they do not meet.
    BoundingBox within(const BoundingBox& other) const {
        const point low = glm::max(minimum, other.minimum), high = glm::min(maximum, other.maximum);
        const bool meet = low.x <= high.x && low.y <= high.y && low.z <= high.z;
        return meet ? BoundingBox(low, high) : BoundingBox();
    }

    point minimum{std::numeric_limits<double>::infinity()};
    point maximum{-std::numeric_limits<double>::infinity()};
};

} // namespace Sextant

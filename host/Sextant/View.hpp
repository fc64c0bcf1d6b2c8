// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sextant/Geometry.hpp"

#include <glm/mat4x4.hpp>

namespace Sextant {

/// How the world is seen: a projection to the screen, whose coordinates run from -1 to 1 from left to right, from
/// bottom to top, and from the near plane to the far plane.
///
/// The projection is applied to positions relative to `origin`. That keeps the digits of coordinates of millions of
/// metres, which a matrix that scales them down would lose.
class View {
public:
    View() = default;
    View(const PhysicalSpace::point& origin, const glm::dmat4& matrix);

    /// Orthographic, from above, east to the right and north up, such that the box fits the screen. Scales by powers of
    /// two around whole numbers, so that projecting is as exact as the coordinates are.
    static View fromAbove(const BoundingBox& box);

    /// The screen point of a position; z is its depth. Not finite behind and on the eye's plane of a perspective view.
    glm::dvec3 project(const PhysicalSpace::point& position) const {
        const glm::dvec3 p = position - origin_;
        const glm::dvec3 screen(row(p, 0), row(p, 1), row(p, 2));
        if (affine_) return screen;
        const double w = row(p, 3);
        return screen / (w > 0 ? w : std::numeric_limits<double>::quiet_NaN());
    }

    /// Whether all positions are in front of the eye, as in an orthographic view.
    bool affine() const { return affine_; }

    bool operator==(const View&) const = default;

private:
    double row(const glm::dvec3& p, int i) const {
        return matrix_[0][i] * p.x + matrix_[1][i] * p.y + matrix_[2][i] * p.z + matrix_[3][i];
    }

    PhysicalSpace::point origin_{0};
    glm::dmat4 matrix_{1};
    bool affine_ = true;
};

/// What a box covers of the screen: bounds of its projection, and its range of depth.
struct ScreenBox {
    glm::dvec3 minimum{0};
    glm::dvec3 maximum{0};
    bool bounded = false; ///< false: the box meets the eye's plane, and covers nobody knows what
};

/// The bounds are widened by the rounding of projecting, so that no point of the box projects outside of them.
ScreenBox projectBox(const View& view, const BoundingBox& box);

} // namespace Sextant

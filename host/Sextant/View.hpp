// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sextant/Geometry.hpp"

#include <glm/mat4x4.hpp>

namespace Sextant {

/// An eye that looks at something. Lengths are those of the world.
struct Camera {
    PhysicalSpace::point eye{0};
    PhysicalSpace::point target{0};
    PhysicalSpace::point up{0, 0, 1}; ///< not along the line of sight
    double verticalAngle = 1;         ///< of the field of view, radians
    double aspect = 1;                ///< width of the screen by its height
    double near = 1;                  ///< planes, distances from the eye
    double far = 1000;
};

/// How the world is seen: a projection to the screen, with x from left to right, y from bottom to top, and a depth that
/// is -1 on the near plane and 1 on the far plane.
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

    /// Orthographic, a vertical slice along the line between two places: x is the distance from the first along the
    /// line and y the height, both in the unit of the world. The slice is `width` across, half of it on either side of
    /// the line; its right side is the near one. Throws std::invalid_argument for a line or a width of nothing.
    static View profile(const glm::dvec2& from, const glm::dvec2& to, double width);

    /// What a camera sees, with x and y from -1 to 1. Throws std::invalid_argument for one that sees nothing.
    static View perspective(const Camera& camera);

    /// The same, between two other planes, given by their depths in this view; points on them are between them.
    View between(double near, double far) const;

    /// The screen point of a position; z is its depth. Not finite behind and on the eye's plane of a perspective view.
    glm::dvec3 project(const PhysicalSpace::point& position) const {
        const glm::dvec3 p = position - origin_;
        const glm::dvec3 screen(row(p, 0), row(p, 1), row(p, 2));
        if (affine_) return screen;
        const double w = row(p, 3);
        return screen / (w > 0 ? w : std::numeric_limits<double>::quiet_NaN());
    }

    /// The position that projects to the screen point.
    PhysicalSpace::point unproject(const glm::dvec3& screen) const;

    /// Whether all positions are in front of the eye, as in an orthographic view.
    bool affine() const { return affine_; }

    const PhysicalSpace::point& origin() const { return origin_; }
    const glm::dmat4& matrix() const { return matrix_; }

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

// SPDX-License-Identifier: Apache-2.0
#include "Sextant/View.hpp"

#include <cmath>
#include <glm/ext/matrix_clip_space.hpp>
#include <glm/ext/matrix_transform.hpp>
#include <glm/geometric.hpp>
#include <glm/matrix.hpp>
#include <numbers>
#include <stdexcept>

namespace Sextant {
namespace {

/// The power of two that brings lengths up to `extent` to 1 at most.
double exactScale(double extent) { return extent > 0 ? std::exp2(-std::ceil(std::log2(extent))) : 1; }

void require(bool holds, const char* expected) {
    if (!holds) throw std::invalid_argument(expected);
}

bool isFinite(const glm::dvec3& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

} // namespace

View::View(const PhysicalSpace::point& origin, const glm::dmat4& matrix)
    : origin_(origin),
      matrix_(matrix),
      affine_(matrix[0][3] == 0 && matrix[1][3] == 0 && matrix[2][3] == 0 && matrix[3][3] == 1) {}

View View::fromAbove(const BoundingBox& box) {
    const PhysicalSpace::point origin = glm::round((box.minimum + box.maximum) * 0.5);
    // From the rounded middle the corners may be half a unit farther than half the box.
    const PhysicalSpace::point half = (box.maximum - box.minimum) * 0.5 + 0.5;
    const double scale = exactScale(std::max(half.x, half.y));
    glm::dmat4 matrix(1);
    matrix[0][0] = scale;
    matrix[1][1] = scale;
    matrix[2][2] = -exactScale(half.z); // the highest is the nearest
    return {origin, matrix};
}

View View::profile(const glm::dvec2& from, const glm::dvec2& to, double width) {
    const double length = glm::distance(from, to);
    require(length > 0 && std::isfinite(length), "a profile runs between two different places");
    require(width > 0 && std::isfinite(width), "the width of a profile is more than 0");
    const glm::dvec2 along = (to - from) / length;
    const glm::dvec2 across = glm::dvec2(-along.y, along.x) * (2 / width);
    glm::dmat4 matrix(0);
    matrix[0] = {along.x, 0, across.x, 0};
    matrix[1] = {along.y, 0, across.y, 0};
    matrix[2] = {0, 1, 0, 0};
    matrix[3][3] = 1;
    return {{from, 0}, matrix};
}

View View::perspective(const Camera& camera) {
    const glm::dvec3 sight = camera.target - camera.eye;
    require(isFinite(camera.eye) && isFinite(sight) && isFinite(camera.up), "the places of a camera are finite");
    require(glm::length(glm::cross(sight, camera.up)) > 1e-9 * glm::length(sight) * glm::length(camera.up),
            "the target of a camera is not at its eye, and up is not along its line of sight");
    require(camera.verticalAngle > 0 && camera.verticalAngle < std::numbers::pi,
            "the field of view is more than 0 and less than 180 degrees");
    require(camera.aspect > 0 && std::isfinite(camera.aspect), "the aspect is more than 0");
    require(camera.near > 0 && camera.near < camera.far && std::isfinite(camera.far),
            "the near plane is in front of the eye and the far plane behind the near one");
    return {camera.eye, glm::perspectiveRH_NO(camera.verticalAngle, camera.aspect, camera.near, camera.far) *
                            glm::lookAtRH(glm::dvec3(0), sight, camera.up)};
}

View View::between(double near, double far) const {
    require(near < far, "the far plane is behind the near one");
    const double margin = 8 * std::numeric_limits<double>::epsilon() * (std::abs(near) + std::abs(far));
    near -= margin;
    far += margin;
    glm::dmat4 matrix = matrix_;
    for (int c = 0; c < 4; ++c) matrix[c][2] = (2 * matrix_[c][2] - (far + near) * matrix_[c][3]) / (far - near);
    return {origin_, matrix};
}

PhysicalSpace::point View::unproject(const glm::dvec3& screen) const {
    const glm::dvec4 p = glm::inverse(matrix_) * glm::dvec4(screen, 1);
    return origin_ + glm::dvec3(p) / p.w;
}

ScreenBox projectBox(const View& view, const BoundingBox& box) {
    BoundingBox screen;
    for (int corner = 0; corner < 8; ++corner) {
        const glm::dvec3 p =
            view.project({corner & 1 ? box.maximum.x : box.minimum.x, corner & 2 ? box.maximum.y : box.minimum.y,
                          corner & 4 ? box.maximum.z : box.minimum.z});
        if (!std::isfinite(p.x + p.y + p.z)) return {};
        screen.include(p);
    }
    const glm::dvec3 margin =
        64 * std::numeric_limits<double>::epsilon() * (glm::abs(screen.minimum) + glm::abs(screen.maximum));
    return {screen.minimum - margin, screen.maximum + margin, true};
}

} // namespace Sextant

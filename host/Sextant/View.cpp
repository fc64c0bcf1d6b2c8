// SPDX-License-Identifier: Apache-2.0
#include "Sextant/View.hpp"

#include <cmath>

namespace Sextant {
namespace {

/// The power of two that brings lengths up to `extent` to 1 at most.
double exactScale(double extent) { return extent > 0 ? std::exp2(-std::ceil(std::log2(extent))) : 1; }

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

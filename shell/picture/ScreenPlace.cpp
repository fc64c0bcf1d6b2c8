// SPDX-License-Identifier: Apache-2.0
#include "picture/ScreenPlace.hpp"

#include <algorithm>
#include <glm/geometric.hpp>

namespace corvane {
namespace {

/// One row of the view's matrix, so that it takes steps from the corner of the points.
std::array<double, 4> rowFor(const Sextant::View& view, const PackedPoints& points, int row) {
    const glm::dmat4& matrix = view.matrix();
    const glm::dvec3 corner = points.box.minimum - view.origin();
    std::array<double, 4> result{};
    result[3] = matrix[3][row];
    for (int axis = 0; axis < 3; ++axis) {
        result[static_cast<std::size_t>(axis)] = matrix[axis][row] * points.step[axis];
        result[3] += matrix[axis][row] * corner[axis];
    }
    return result;
}

std::array<float, 4> single(const std::array<double, 4>& row) {
    std::array<float, 4> result{};
    std::ranges::transform(row, result.begin(), [](double value) { return static_cast<float>(value); });
    return result;
}

/// How much of what lies from `low` to `high` is between the planes.
double partBetweenPlanes(double low, double high) {
    constexpr double least = 1e-6;
    if (!(high > low)) return 1;
    return std::clamp((std::min(high, 1.0) - std::max(low, -1.0)) / (high - low), least, 1.0);
}

} // namespace

ToPixels toPixels(const Screen& screen, const PackedPoints& points) {
    const auto across = rowFor(screen.view, points, 0), up = rowFor(screen.view, points, 1),
               distance = rowFor(screen.view, points, 3);
    const glm::dvec2 perUnit = glm::dvec2(screen.width, screen.height) / (screen.maximum - screen.minimum);
    std::array<double, 4> column{}, row{};
    for (std::size_t i = 0; i < column.size(); ++i) {
        const double w = screen.view.affine() ? (i == 3 ? 1 : 0) : distance[i];
        column[i] = (across[i] - screen.minimum.x * w) * perUnit.x;
        row[i] = (screen.maximum.y * w - up[i]) * perUnit.y;
    }
    return {single(column),
            single(row),
            single(rowFor(screen.view, points, 2)),
            single(distance),
            static_cast<float>(screen.width),
            static_cast<float>(screen.height),
            static_cast<std::int32_t>(screen.pixels())};
}

bool misses(const Screen& screen, const Sextant::BoundingBox& box) {
    const Sextant::ScreenBox seen = projectBox(screen.view, box);
    return seen.bounded && (seen.maximum.x < screen.minimum.x || seen.minimum.x > screen.maximum.x ||
                            seen.maximum.y < screen.minimum.y || seen.minimum.y > screen.maximum.y ||
                            seen.maximum.z < -1 || seen.minimum.z > 1);
}

double pointsForEachPixel(const Screen& screen, const Sextant::BoundingBox& box) {
    const Sextant::ScreenBox seen = projectBox(screen.view, box);
    if (!seen.bounded) return double(screen.pixels());
    const glm::dvec2 pixels = glm::dvec2(seen.maximum - seen.minimum) * glm::dvec2(screen.width, screen.height) /
                              (screen.maximum - screen.minimum);
    const double area = std::max(pixels.x, 1.0) * std::max(pixels.y, 1.0);
    return screen.view.affine() ? area / partBetweenPlanes(seen.minimum.z, seen.maximum.z) : area;
}

PixelSize pixelSize(const Screen& screen) {
    const glm::dmat4& matrix = screen.view.matrix();
    const auto unitsPer = [&](int row) {
        const double length = glm::length(glm::dvec3(matrix[0][row], matrix[1][row], matrix[2][row]));
        return length > 0 ? 1 / length : 0;
    };
    return {unitsPer(0) * (screen.maximum.x - screen.minimum.x) / screen.width,
            unitsPer(1) * (screen.maximum.y - screen.minimum.y) / screen.height, unitsPer(2)};
}

} // namespace corvane

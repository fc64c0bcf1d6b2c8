// SPDX-License-Identifier: Apache-2.0
#include "picture/PackedPoints.hpp"

#include <cmath>

namespace corvane {
namespace {

using Point = Sextant::PhysicalSpace::point;

/// The unit, or the smallest multiple by a power of two that 21 bits suffice for.
double stepFor(double extent, double unit) {
    constexpr double most = double(PackedPoints::Largest);
    if (!(unit > 0) || !std::isfinite(unit)) return extent > 0 ? extent / most : 1;
    double step = unit;
    while (extent / step > most) step *= 2;
    return step;
}

/// Of a distance from the corner, which is not negative. 32 bits, since vectors of those convert fast.
std::uint64_t steps(double distance, double perStep) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(distance * perStep + 0.5));
}

Sextant::BoundingBox boxOf(std::span<const Point> positions) {
    Sextant::BoundingBox box;
    for (const Point& position : positions) box.include(position);
    if (isFinite(box.minimum) && isFinite(box.maximum) && !positions.empty()) return box;
    box = {};
    for (const Point& position : positions)
        if (isFinite(position)) box.include(position);
    return box;
}

/// `numberOf(i)` is which of the positions comes at place i.
template <class NumberOf>
PackedPoints packAll(std::span<const Point> positions, const Point& unit, std::size_t count, NumberOf numberOf) {
    PackedPoints packed;
    packed.box = boxOf(positions);
    if (packed.box.empty() || count == 0) return packed;
    const Point corner = packed.box.minimum;
    Point perStep;
    for (int axis = 0; axis < 3; ++axis) {
        packed.step[axis] = stepFor(packed.box.maximum[axis] - corner[axis], unit[axis]);
        perStep[axis] = 1 / packed.step[axis];
    }
    packed.points.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const Point& position = positions[numberOf(i)];
        packed.points[i] = steps(position.x - corner.x, perStep.x) |
                           steps(position.y - corner.y, perStep.y) << PackedPoints::Bits |
                           steps(position.z - corner.z, perStep.z) << 2 * PackedPoints::Bits;
    }
    return packed;
}

} // namespace

bool isFinite(const Point& position) { return std::isfinite(position.x + position.y + position.z); }

Point PackedPoints::position(std::size_t i) const {
    const auto axis = [&](unsigned n) { return double(points[i] >> (n * Bits) & Largest); };
    return box.minimum + step * Point(axis(0), axis(1), axis(2));
}

PackedPoints pack(std::span<const Point> positions, const Point& unit) {
    return packAll(positions, unit, positions.size(), [](std::size_t i) { return i; });
}

PackedPoints pack(std::span<const Point> positions, const Point& unit, std::span<const std::uint32_t> order) {
    return packAll(positions, unit, order.size(), [order](std::size_t i) { return order[i]; });
}

} // namespace corvane

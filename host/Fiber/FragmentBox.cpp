// SPDX-License-Identifier: Apache-2.0
#include "Fiber/FragmentBox.hpp"

#include <cmath>
#include <limits>

namespace Fiber {

using Holdfast::StrongPtr;
using Sextant::BoundingBox;
using Point = Sextant::PhysicalSpace::point;

const std::string PositionsName = "Positions";

namespace {

const std::string BoxAttribute = "BoundingBox"; // two points: minimum and maximum

std::optional<BoundingBox> storedBox(CreativeArrayBase& array) {
    const auto corners = array.attributes().getAttribute<Point>(BoxAttribute);
    if (!corners || array.attributeAge() < array.age()) return std::nullopt;
    BoundingBox box;
    box.minimum = corners->values[0];
    box.maximum = corners->values[1];
    return box;
}

} // namespace

std::optional<BoundingBox> knownFragmentBBox(const Field& positions, const StrongPtr<FragmentID>& fragment) {
    const auto array = positions.getCreator(fragment);
    return array ? storedBox(*array) : BoundingBox();
}

BoundingBox getFragmentBBox(const Field& positions, const StrongPtr<FragmentID>& fragment) {
    if (const auto known = knownFragmentBBox(positions, fragment)) return *known;
    const auto array = positions.getCreator(fragment);
    const auto points = arrayOf<Point>(array->getData());
    if (!points) return {};
    const BoundingBox box = boundingBox(points->values());
    array->attributes().setAttribute(
        BoxAttribute, Holdfast::create<Holdfast::Chunk<Point>>(std::initializer_list<Point>{box.minimum, box.maximum}));
    array->updateAttributeAge(array->age());
    return box;
}

BoundingBox boundingBox(std::span<const Point> points) {
    BoundingBox box;
    double sum = 0; // of zeros, unless there is a coordinate that is not finite
    for (const Point& p : points) {
        for (int i = 0; i < 3; ++i) {
            box.minimum[i] = p[i] < box.minimum[i] ? p[i] : box.minimum[i];
            box.maximum[i] = p[i] > box.maximum[i] ? p[i] : box.maximum[i];
            sum += p[i] * 0;
        }
    }
    constexpr double Infinite = std::numeric_limits<double>::infinity();
    return std::isfinite(sum) ? box : BoundingBox(Point(-Infinite), Point(Infinite));
}

} // namespace Fiber

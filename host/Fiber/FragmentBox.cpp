// SPDX-License-Identifier: Apache-2.0
#include "Fiber/FragmentBox.hpp"

#include <algorithm>
#include <array>
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
    noteFragmentBBox(*array, box);
    return box;
}

void noteFragmentBBox(CreativeArrayBase& positions, const BoundingBox& box) {
    positions.attributes().setAttribute(
        BoxAttribute, Holdfast::create<Holdfast::Chunk<Point>>(std::initializer_list<Point>{box.minimum, box.maximum}));
    positions.updateAttributeAge(positions.age());
}

BoundingBox boundingBox(std::span<const Point> points) {
    // Several points at a time, each with extremes of its own, so that comparisons do not wait for each other.
    constexpr std::size_t together = 4, coordinates = 3 * together;
    constexpr double Infinite = std::numeric_limits<double>::infinity();
    std::array<double, coordinates> low, high;
    low.fill(Infinite);
    high.fill(-Infinite);
    std::array<double, coordinates> zero{}; // unless one is added that is not finite
    std::size_t first = 0;
    for (; first + together <= points.size(); first += together) {
        const double* values = &points[first].x; // the coordinates of all of them
        for (std::size_t i = 0; i < coordinates; ++i) {
            low[i] = values[i] < low[i] ? values[i] : low[i];
            high[i] = values[i] > high[i] ? values[i] : high[i];
            zero[i] += values[i] * 0;
        }
    }
    BoundingBox box;
    bool known = std::ranges::all_of(zero, [](double sum) { return sum == 0; });
    for (std::size_t i = 0; i < coordinates; i += 3) {
        box.minimum = glm::min(box.minimum, Point(low[i], low[i + 1], low[i + 2]));
        box.maximum = glm::max(box.maximum, Point(high[i], high[i + 1], high[i + 2]));
    }
    for (const Point& p : points.subspan(first)) {
        known = known && p * 0.0 == Point(0);
        box.include(p);
    }
    return known ? box : BoundingBox(Point(-Infinite), Point(Infinite));
}

} // namespace Fiber

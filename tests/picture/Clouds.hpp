// SPDX-License-Identifier: Apache-2.0
// Points that tests draw, and screens that they are drawn on.
#pragma once

#include "picture/DrawnFragment.hpp"
#include "picture/PointRaster.hpp"

#include <cmath>
#include <random>
#include <vector>

namespace corvane::test {

using Point = Sextant::PhysicalSpace::point;
using Points = std::vector<Point>;

constexpr double Unit = 0.01;

/// Points around a place far from the origin, in whole units.
inline Points cloud(std::size_t count, const Point& extent, unsigned seed = 1,
                    const Point& corner = {500'000, 5'200'000, 400}) {
    std::mt19937 random(seed);
    const auto part = [&](double size) {
        return Unit * std::round(std::uniform_real_distribution<double>(0, size)(random) / Unit);
    };
    Points points;
    for (std::size_t i = 0; i < count; ++i)
        points.push_back(corner + Point(part(extent.x), part(extent.y), part(extent.z)));
    return points;
}

inline Screen planOf(const Points& points, int width, int height) {
    Sextant::BoundingBox box;
    for (const Point& point : points) box.include(point);
    const auto view = Sextant::View::fromAbove({box.minimum - 1.0, box.maximum + 1.0});
    return {view, view.project(box.minimum - 0.5), view.project(box.maximum + 0.5), width, height};
}

inline Screen perspectiveOf(int width, int height) {
    Sextant::Camera camera;
    camera.eye = {500'050, 5'199'900, 500};
    camera.target = {500'050, 5'200'050, 400};
    camera.near = 1;
    camera.far = 5000;
    camera.aspect = double(width) / height;
    return {Sextant::View::perspective(camera), glm::dvec2(-1), glm::dvec2(1), width, height};
}

/// A fragment that all points are drawn of, with byte columns whose values are `codeOf(point)`.
template <class CodeOf>
std::shared_ptr<DrawnFragment> fragmentOf(std::uint32_t number, const Points& points, const std::string& column,
                                          CodeOf codeOf) {
    const auto order = drawOrder(points.size());
    auto fragment = std::make_shared<DrawnFragment>();
    fragment->number = number;
    fragment->total = fragment->most = points.size();
    fragment->packed = std::make_shared<const PackedPoints>(pack(points, Point(Unit), *order));
    DrawnColumn::Bytes codes;
    for (const std::uint32_t i : *order) codes.push_back(static_cast<std::uint8_t>(codeOf(points[i])));
    fragment->columns[column] = std::make_shared<const DrawnColumn>(DrawnColumn{std::move(codes)});
    return fragment;
}

} // namespace corvane::test

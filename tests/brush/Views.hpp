// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Brush.hpp"

#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace corvane::test {

using Kesh::Brush;
using Sextant::Outline;
using Sextant::View;
using Point = Sextant::PhysicalSpace::point;
using Points = std::vector<glm::dvec2>;

class Random {
public:
    double operator()(double from, double to) { return std::uniform_real_distribution(from, to)(engine_); }
    Point point(const Point& middle, double reach) {
        return middle + Point((*this)(-reach, reach), (*this)(-reach, reach), (*this)(-reach, reach));
    }
    Points lasso(std::size_t corners, double reach) {
        Points points(corners);
        for (auto& p : points) p = {(*this)(-reach, reach), (*this)(-reach, reach)};
        return points;
    }

private:
    std::mt19937_64 engine_{20260908};
};

const Point Home(4512345.25, 5801234.5, 200); // metres, as in a survey

inline const Sextant::Camera Eye{.eye = Home,
                                 .target = Home + Point(10, 20, -9),
                                 .up = {0.1, 0, 1},
                                 .verticalAngle = 1.1,
                                 .aspect = 1.5,
                                 .near = 2,
                                 .far = 60};
const glm::dvec2 From(Home.x - 20, Home.y - 31), To(Home.x + 25, Home.y + 27);

/// A view, and the part of its screen where the points around home are seen.
struct Seen {
    const char* name;
    View view;
    glm::dvec2 middle;
    double reach;

    Points lasso(Random& random, std::size_t corners) const {
        Points points = random.lasso(corners, reach);
        for (auto& p : points) p += middle;
        return points;
    }
};

inline std::vector<Seen> views() {
    const View above = View::fromAbove({Home - 90.0, Home + 90.0});
    return {{"above", above, {0, 0}, 0.3},
            {"profile", View::profile(From, To, 8), {35, 200}, 30},
            {"perspective", View::perspective(Eye), {0, 0}, 1},
            {"above, between heights", above.between(-.2, .3), {0, 0}, 0.3},
            {"perspective, far part", View::perspective(Eye).between(0.5, 0.95), {0, 0}, 1}};
}

inline std::vector<std::uint32_t> indicesOf(const Brush& brush, const std::vector<Point>& points) {
    std::vector<std::uint32_t> indices;
    brush.select(points, indices);
    return indices;
}

} // namespace corvane::test

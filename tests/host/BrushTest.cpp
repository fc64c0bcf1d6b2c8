// SPDX-License-Identifier: Apache-2.0
#include "Kesh/Brush.hpp"
#include "Fiber/FragmentBox.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>
#include <random>

namespace Kesh {
namespace {

using Sextant::Outline;
using Sextant::View;
using Point = Sextant::PhysicalSpace::point;

const Point Far(4512345, 5801234, 200); // metres, as in a survey
std::mt19937_64 engine(3);
double random(double from, double to) { return std::uniform_real_distribution(from, to)(engine); }
Point randomPoint(double reach) {
    return Far + Point(random(-reach, reach), random(-reach, reach), random(-reach, reach));
}

Brush rectangle(const View& view, const Point& low, const Point& high) {
    const glm::dvec2 a(view.project(low)), b(view.project(high));
    return {view, Outline({a, {b.x, a.y}, b, {a.x, b.y}})};
}

TEST(View, fromAboveTellsPointsAMillimetreApart) {
    for (const double reach : {0.5, 3.0, 777.7, 48000.0}) {
        SCOPED_TRACE(reach);
        const Point low = Far - reach, high = Far + reach;
        const View view = View::fromAbove({low, high});
        for (const double x : {Far.x - 0.731 * reach, Far.x + 0.1, Far.x + 0.997 * reach}) {
            const Brush brush = rectangle(view, {x, low.y, 0}, {high.x, high.y, 0});
            EXPECT_TRUE(brush.covers({x, Far.y, Far.z}));
            EXPECT_FALSE(brush.covers({x - 0.001, Far.y, Far.z}));
            EXPECT_FALSE(brush.covers({high.x, Far.y, Far.z}));
            EXPECT_TRUE(brush.covers({high.x - 0.001, Far.y, Far.z}));
            EXPECT_LT(view.project({std::nextafter(x, 0), 0, 0}).x, view.project({x, 0, 0}).x);
        }
        EXPECT_LT(view.project(high).z, view.project(low).z) << "the highest is the nearest";
        for (const Point& corner : {low, high})
            for (int i = 0; i < 3; ++i) EXPECT_LE(std::abs(view.project(corner)[i]), 1);
    }
}

struct Seen {
    const char* name;
    View view;
    bool perspective;
};

std::vector<Seen> views() {
    const glm::dmat4 turned = glm::lookAt(glm::dvec3(0), {1, 2, -3}, {0, 0, 1});
    const glm::dmat4 lens = glm::perspective(1.2, 1.5, 2.0, 30.0);
    return {{"from above", View::fromAbove({Far - 9.0, Far + 9.0}), false},
            {"orthographic, aslant", {Far, glm::ortho(-9., 9., -9., 9., -5., 7.) * turned}, false},
            {"perspective from amid the points", {Far, lens * turned}, true},
            {"perspective about the far origin", {Point(0), glm::translate(lens * turned, -Far)}, true}};
}

TEST(Brush, selectsWhatItCovers) {
    std::vector<Point> points(5000);
    for (auto& p : points) p = randomPoint(20);
    points[77].x = std::nan("");
    points[78].z = std::numeric_limits<double>::infinity();
    const glm::dvec3 forward(1, 2, -3);
    for (const auto& [name, view, perspective] : views()) {
        SCOPED_TRACE(name);
        std::vector<glm::dvec2> lasso(9);
        for (auto& p : lasso) p = {random(-1, 1), random(-1, 1)};
        const Brush brush(view, Outline(lasso));
        std::vector<std::uint32_t> selected{1, 2, 3}, expected;
        brush.select(points, selected);
        for (std::uint32_t i = 0; i < points.size(); ++i) {
            if (!brush.covers(points[i])) continue;
            expected.push_back(i);
            EXPECT_TRUE(!perspective || glm::dot(points[i] - Far, forward) > 0) << "behind the eye";
            EXPECT_LE(std::abs(view.project(points[i]).z), 1) << "beyond the planes";
        }
        EXPECT_EQ(selected, expected);
        EXPECT_EQ(std::isfinite(view.project(Far - forward).x), !perspective);
        EXPECT_GT(expected.size(), 50u);
    }
}

TEST(Brush, isNeverWrongAboutABox) {
    for (const auto& [name, view, perspective] : views()) {
        SCOPED_TRACE(name);
        const Brush brush(view, Outline({{-.9, -.9}, {.95, -.8}, {.8, .9}, {.1, .2}, {-.9, .8}}));
        int all = 0, none = 0;
        for (int i = 0; i < 3000; ++i) {
            const Point middle = randomPoint(20);
            std::vector<Point> points(20);
            const double reach = random(0, 3) * random(0, 4);
            for (auto& p : points) p = middle + reach * (randomPoint(1) - Far);
            const auto part = brush.partOf(Fiber::boundingBox(points));
            all += part == Brush::Part::All;
            none += part == Brush::Part::None;
            if (part == Brush::Part::Some) continue;
            for (const auto& p : points) ASSERT_EQ(brush.covers(p), part == Brush::Part::All);
        }
        EXPECT_GT(all, 20);
        EXPECT_GT(none, 200);
    }
}

} // namespace
} // namespace Kesh

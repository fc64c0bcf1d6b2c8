// SPDX-License-Identifier: Apache-2.0
// Views, and what strokes and limits select: every fast way selects what the plain test selects.
#include "Fiber/FragmentBox.hpp"
#include "Kesh/values/VValue.hpp"
#include "Sextant/Strokes.hpp"
#include "Views.hpp"
#include "limit/Limits.hpp"

#include <cmath>
#include <fmt/format.h>
#include <glm/geometric.hpp>
#include <glm/gtc/matrix_transform.hpp>

namespace corvane::test {
namespace {

using Kesh::BoxPart;
using Kesh::LimitPtr;
constexpr double Infinite = std::numeric_limits<double>::infinity();
using Long = glm::vec<3, long double>;

/// Point by point, from what a profile is said to be.
bool inProfile(const Outline& outline, const Point& p) {
    const Long along = glm::normalize(Long(To.x - From.x, To.y - From.y, 0)), from(From.x, From.y, 0);
    const Long offset = Long(p) - from;
    const long double across = glm::dot(offset, Long(-along.y, along.x, 0));
    return std::abs(across) <= 4 && outline.contains({glm::dot(offset, along), p.z});
}

bool inPerspective(const Outline& outline, const Point& p) {
    const Long forward = glm::normalize(Long(Eye.target) - Long(Eye.eye));
    const Long right = glm::normalize(glm::cross(forward, Long(Eye.up))), up = glm::cross(right, forward);
    const Long offset = Long(p) - Long(Eye.eye);
    const long double depth = glm::dot(offset, forward), size = depth * std::tan((long double)(Eye.verticalAngle) / 2);
    return depth >= Eye.near && depth <= Eye.far &&
           outline.contains({glm::dot(offset, right) / (size * Eye.aspect), glm::dot(offset, up) / size});
}

TEST(Views, selectWhatASlowReckoningSelects) {
    Random random;
    std::vector<Point> points(6000);
    for (std::size_t i = 0; i < points.size(); ++i) points[i] = random.point(Home, i % 3 ? 30 : 5);
    for (int round = 0; round < 6; ++round) {
        Points profile = random.lasso(7, 30), screen = random.lasso(7, 1.2);
        for (auto& p : profile) p += glm::dvec2(35, 200);
        const Outline slice(profile), shown(screen);
        std::vector<std::uint32_t> sliced, seen;
        for (std::uint32_t i = 0; i < points.size(); ++i) {
            if (inProfile(slice, points[i])) sliced.push_back(i);
            if (inPerspective(shown, points[i])) seen.push_back(i);
        }
        EXPECT_GT(sliced.size(), 50u);
        EXPECT_GT(seen.size(), 50u);
        EXPECT_EQ(indicesOf(Brush(View::profile(From, To, 8), slice), points), sliced);
        EXPECT_EQ(indicesOf(Brush(View::perspective(Eye), shown), points), seen);
    }
}

Brush rectangle(const View& view, const Point& low, const Point& high) {
    return {view, Sextant::rectangleStroke(glm::dvec2(view.project(low)), glm::dvec2(view.project(high)))};
}

TEST(Views, fromAboveTellsPointsAMillimetreApart) {
    for (const double reach : {0.5, 3.0, 777.7, 48000.0}) {
        SCOPED_TRACE(reach);
        const Point low = Home - reach, high = Home + reach;
        const View view = View::fromAbove({low, high});
        for (const double x : {Home.x - 0.731 * reach, Home.x + 0.1, Home.x + 0.997 * reach}) {
            const Brush brush = rectangle(view, {x, low.y, 0}, {high.x, high.y, 0});
            EXPECT_TRUE(brush.covers({x, Home.y, Home.z}));
            EXPECT_FALSE(brush.covers({x - 0.001, Home.y, Home.z}));
            EXPECT_FALSE(brush.covers({high.x, Home.y, Home.z}));
            EXPECT_TRUE(brush.covers({high.x - 0.001, Home.y, Home.z}));
            EXPECT_LT(view.project({std::nextafter(x, 0), 0, 0}).x, view.project({x, 0, 0}).x);
        }
        EXPECT_LT(view.project(high).z, view.project(low).z) << "the highest is the nearest";
        for (const Point& corner : {low, high})
            for (int i = 0; i < 3; ++i) EXPECT_LE(std::abs(view.project(corner)[i]), 1);
    }
}

TEST(Views, depthGoesByTheLengthsThatWereGiven) {
    const Point sight = glm::normalize(Eye.target - Eye.eye);
    EXPECT_NEAR(View::perspective(Eye).project(Eye.eye + Eye.near * sight).z, -1, 1e-9);
    EXPECT_NEAR(View::perspective(Eye).project(Eye.eye + Eye.far * sight).z, 1, 1e-9);
    EXPECT_FALSE(std::isfinite(View::perspective(Eye).project(Eye.eye - sight).x)) << "behind the eye";

    const View above = View::fromAbove({Home - 90.0, Home + 90.0});
    const auto depthAt = [&](double height) { return above.project({Home.x, Home.y, height}).z; };
    for (const double low : {150.0, 163.37, 199.99}) {
        const View slice = above.between(depthAt(low + 0.07), depthAt(low));
        const Brush brush(slice, Outline({{-1, -1}, {1, -1}, {1, 1}, {-1, 1}}));
        for (const double inside : {low, low + 0.03, low + 0.07}) EXPECT_TRUE(brush.covers({Home.x, Home.y, inside}));
        for (const double outside : {low - 1e-9, low + 0.07 + 1e-9})
            EXPECT_FALSE(brush.covers({Home.x, Home.y, outside}));
    }
}

/// Also those that somebody may hand over with a matrix of his own.
std::vector<Seen> allViews() {
    const glm::dmat4 turned = glm::lookAt(glm::dvec3(0), {1, 2, -3}, {0, 0, 1});
    const glm::dmat4 lens = glm::perspective(1.2, 1.5, 2.0, 30.0);
    auto all = views();
    all.push_back({"orthographic, aslant", {Home, glm::ortho(-9., 9., -9., 9., -5., 7.) * turned}, {0, 0}, 1});
    all.push_back({"perspective about the far origin", {Point(0), glm::translate(lens * turned, -Home)}, {0, 0}, 1});
    return all;
}

/// A star, with a hole, and a square beside it that overlaps.
PolygonSet polygonsAt(const glm::dvec2& middle, double size) {
    const auto at = [&](double x, double y) { return fmt::format("{} {}", middle.x + size * x, middle.y + size * y); };
    const std::string star = fmt::format("POLYGON(({},{},{},{},{},{}),({},{},{}))", at(-1, -1), at(0, -.6), at(1, -1),
                                         at(.6, 0), at(1, 1), at(-.7, .8), at(-.2, -.2), at(.2, -.1), at(0, .2));
    const std::string square = fmt::format("POLYGON(({},{},{},{}))", at(.5, .1), at(1.4, .1), at(1.4, .5), at(.5, .5));
    return readPolygons(std::vector<std::string>{star, square});
}

LimitPtr randomLimit(Random& random, int kind) {
    const Point middle = random.point(Home, 10);
    switch (kind) {
    case 0:
        return insidePolygons(polygonsAt(glm::dvec2(middle), random(5, 25)));
    case 1:
        return inBox({middle, random.point(Home, 25)});
    case 2:
        return betweenHeights(middle.z - random(0, 5), random(0, 1) < .3 ? Infinite : middle.z + random(0, 8));
    default:
        return allOf({randomLimit(random, 0), randomLimit(random, 2), randomLimit(random, 1)});
    }
}

/// Some of them on the faces and corners of limits.
std::vector<Point> pointsAround(Random& random, const Brush& brush) {
    std::vector<Point> points(1500);
    for (auto& p : points) p = random.point(Home, 30);
    points[3].x = std::nan("");
    points[4].z = Infinite;
    if (!brush.limit()) return points;
    const auto box = brush.limit()->bounds();
    for (std::size_t i = 0; i < points.size(); i += 5)
        for (int axis = 0; axis < 3; ++axis)
            if (const double face = (i % 2 ? box.minimum : box.maximum)[axis]; std::isfinite(face) && random(0, 2) > 1)
                points[i][axis] = face;
    return points;
}

TEST(Selection, isOfWhatIsCovered) {
    Random random;
    std::size_t selected = 0;
    for (int round = 0; round < 90; ++round) {
        const auto all = allViews();
        const Seen& seen = all[std::size_t(round) % all.size()];
        const LimitPtr limit = round % 5 == 0 ? nullptr : randomLimit(random, round % 5 - 1);
        for (const Brush& brush : {Brush(limit), Brush(seen.view, Outline(seen.lasso(random, 7)), limit)}) {
            const auto points = pointsAround(random, brush);
            std::vector<std::uint32_t> expected;
            for (std::uint32_t i = 0; i < points.size(); ++i)
                if (brush.covers(points[i])) expected.push_back(i);
            ASSERT_EQ(indicesOf(brush, points), expected) << seen.name;
            selected += expected.size();
            const auto box = brush.computeBoundingBoxInWorldSpace();
            for (const auto i : expected)
                for (int axis : {0, 1}) {
                    ASSERT_LE(box.minimum[axis], points[i][axis]) << seen.name;
                    ASSERT_GE(box.maximum[axis], points[i][axis]) << seen.name;
                }
            Brush read;
            Kesh::VValueTrait<Brush>::setValueFromText(read, Kesh::VValueTrait<Brush>::Text(brush));
            ASSERT_EQ(read, brush);
            ASSERT_EQ(indicesOf(read, points), expected) << "as its text says";
        }
    }
    EXPECT_GT(selected, 5000u);
}

TEST(Selection, isNeverCulledWrongly) {
    Random random;
    int parts[9][3] = {}; // by kind of brush
    for (const Seen& seen : allViews())
        for (int kind = 0; kind < 9; ++kind) { // 0 without a limit, from 5 on without a stroke
            SCOPED_TRACE(fmt::format("{}, {}", seen.name, kind));
            Points corners{{-.9, -.9}, {.95, -.8}, {.8, .9}, {.1, .2}, {-.9, .8}};
            for (auto& p : corners) p = seen.middle + seen.reach * p;
            const LimitPtr limit = kind == 0 ? nullptr : randomLimit(random, (kind - 1) % 4);
            const Brush brush = kind < 5 ? Brush(seen.view, Outline(corners), limit) : Brush(limit);
            for (int i = 0; i < 1500; ++i) {
                const Point middle = random.point(Home, i % 2 ? 4 : 60); // many boxes hold the eye
                const double size = random(0, 3) * random(0, 3);
                std::vector<Point> points(15);
                for (auto& p : points) p = random.point(middle, size);
                const auto part = brush.partOf(Fiber::boundingBox(points));
                ++parts[kind][int(part)];
                if (part == BoxPart::Some) continue;
                for (const Point& p : points) ASSERT_EQ(brush.covers(p), part == BoxPart::All);
            }
        }
    int whole = 0;
    for (const auto& [none, some, all] : parts) {
        EXPECT_TRUE(none > 1000 && some > 100) << none << ' ' << some;
        whole += all;
    }
    EXPECT_TRUE(parts[0][int(BoxPart::All)] > 10 && whole > 200) << whole;
}

} // namespace
} // namespace corvane::test

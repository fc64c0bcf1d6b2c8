// SPDX-License-Identifier: Apache-2.0
// Views, and what strokes select in them.
#include "Fiber/FragmentBox.hpp"
#include "Views.hpp"

#include <algorithm>
#include <cmath>
#include <glm/ext/vector_relational.hpp>
#include <glm/geometric.hpp>

namespace corvane::test {
namespace {

using Long = glm::vec<3, long double>;

/// Even-odd, by the angle that the outline turns about the point.
bool turnsAround(const Points& outline, long double x, long double y) {
    long double angle = 0;
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const glm::dvec2 &a = outline[i], &b = outline[(i + 1) % outline.size()];
        const long double ax = a.x - x, ay = a.y - y, bx = b.x - x, by = b.y - y;
        angle += std::atan2(ax * by - ay * bx, ax * bx + ay * by);
    }
    return std::lround(angle / (2 * std::acos(-1.0L))) % 2 != 0;
}

/// Point by point, from what a profile is said to be.
bool inProfile(const Points& outline, const Point& p) {
    const Long along = glm::normalize(Long(To.x - From.x, To.y - From.y, 0)), from(From.x, From.y, 0);
    const Long offset = Long(p) - from;
    const long double across = glm::dot(offset, Long(-along.y, along.x, 0));
    return std::abs(across) <= 4 && turnsAround(outline, glm::dot(offset, along), p.z);
}

bool inPerspective(const Points& outline, const Point& p) {
    const Long forward = glm::normalize(Long(Eye.target) - Long(Eye.eye));
    const Long right = glm::normalize(glm::cross(forward, Long(Eye.up))), up = glm::cross(right, forward);
    const Long offset = Long(p) - Long(Eye.eye);
    const long double depth = glm::dot(offset, forward), size = depth * std::tan((long double)(Eye.verticalAngle) / 2);
    return depth >= Eye.near && depth <= Eye.far &&
           turnsAround(outline, glm::dot(offset, right) / (size * Eye.aspect), glm::dot(offset, up) / size);
}

TEST(Views, selectWhatASlowReckoningSelects) {
    Random random;
    std::vector<Point> points(6000);
    for (std::size_t i = 0; i < points.size(); ++i) points[i] = random.point(Home, i % 3 ? 30 : 5);
    for (int round = 0; round < 6; ++round) {
        Points profile = random.lasso(7, 30), screen = random.lasso(7, 1.2);
        for (auto& p : profile) p += glm::dvec2(35, 200);
        std::vector<std::uint32_t> sliced, seen;
        for (std::uint32_t i = 0; i < points.size(); ++i) {
            if (inProfile(profile, points[i])) sliced.push_back(i);
            if (inPerspective(screen, points[i])) seen.push_back(i);
        }
        EXPECT_GT(sliced.size(), 50u);
        EXPECT_GT(seen.size(), 50u);
        EXPECT_EQ(indicesOf(Brush(View::profile(From, To, 8), Outline(profile)), points), sliced);
        EXPECT_EQ(indicesOf(Brush(View::perspective(Eye), Outline(screen)), points), seen);
    }
}

TEST(Views, goThereAndBackAtMillionsOfMetres) {
    Random random;
    for (const auto& [name, view, middle, reach] : views()) {
        SCOPED_TRACE(name);
        for (int i = 0; i < 300; ++i) {
            const glm::dvec3 screen(middle + reach * glm::dvec2(random(-1, 1), random(-1, 1)), random(-1, 1));
            const Point p = view.unproject(screen);
            EXPECT_LT(glm::distance(view.project(p), screen), 2e-9);
            EXPECT_LT(glm::distance(view.unproject(view.project(p)), p), 2e-9);
        }
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

TEST(Selection, isNeverCulledWrongly) {
    Random random;
    for (const Seen& seen : views()) {
        SCOPED_TRACE(seen.name);
        const Brush brush(seen.view, Outline(seen.frame()));
        int decided = 0, some = 0;
        for (int i = 0; i < 2000; ++i) {
            const Point middle = random.point(Home, i % 2 ? 4 : 60); // many boxes hold the eye
            const double size = random(0, 3) * random(0, 3);
            std::vector<Point> points(15);
            for (auto& p : points) p = random.point(middle, size);
            const auto part = brush.partOf(Fiber::boundingBox(points));
            ++(part == Brush::Part::Some ? some : decided);
            if (part == Brush::Part::Some) continue;
            for (const Point& p : points) ASSERT_EQ(brush.covers(p), part == Brush::Part::All);
        }
        EXPECT_GT(decided, 300);
        EXPECT_GT(some, 50);
    }
}

TEST(Selection, takesPointsOnSharedEdgesOnce) {
    Random random;
    const Point corner = glm::floor(Home) - Point(20, 20, 20);
    std::vector<Point> lattice;
    for (int i = 0; i < 40; ++i)
        for (int k = 0; k < 40; ++k) lattice.push_back(corner + Point(i, 19 + (i + k) % 3, k));
    const View level = View::profile({corner.x, corner.y + 20}, {corner.x + 9, corner.y + 20}, 9);
    const View across = View::perspective({.eye = corner + Point(20, -20, 20), .target = corner + Point(20, 0, 20)});
    for (const Seen& seen : {Seen{"profile", level, {20, 200}, 32}, Seen{"perspective", across, {0, 0}, 0.4}}) {
        const auto everything = indicesOf(Brush(seen.view, Outline(seen.frame())), lattice);
        ASSERT_GT(everything.size(), 200u) << seen.name;
        for (int round = 0; round < 30; ++round) { // four strokes around a place that a vertex projects to
            const auto vertex = everything[std::size_t(random(0, double(everything.size())))];
            const glm::dvec2 middle(seen.view.project(lattice[vertex]));
            std::vector<std::uint32_t> together;
            for (std::size_t k = 0; k < 4; ++k) {
                const Outline part({middle, seen.frame()[k], seen.frame()[(k + 1) % 4]});
                std::ranges::copy(indicesOf(Brush(seen.view, part), lattice), std::back_inserter(together));
            }
            std::ranges::sort(together);
            ASSERT_EQ(together, everything) << seen.name;
        }
    }
}

} // namespace
} // namespace corvane::test

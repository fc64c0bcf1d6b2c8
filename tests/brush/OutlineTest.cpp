// SPDX-License-Identifier: Apache-2.0
// Outlines, the rasters that answer for them, and the strokes that make them.
#include "Sextant/OutlineRaster.hpp"
#include "Sextant/Strokes.hpp"
#include "Views.hpp"

#include <algorithm>
#include <cmath>
#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <limits>

namespace corvane::test {
namespace {

using Cell = Sextant::OutlineRaster::Cell;
using Sextant::OutlineRaster;

struct Shape {
    const char* name;
    std::size_t points;
    glm::dvec2 offset, size;
    bool hasPointsInside = true; // wide enough for random probes to meet its inside
    double lattice = 0;          // that corners stand on, so that many edges are level or upright; 0: none
};

const Shape Shapes[] = {
    {"triangle", 3, {0, 0}, {1, 1}},
    {"crossing itself", 9, {-0.5, -0.5}, {1, 1}},
    {"crossing itself often", 400, {-1, -1}, {2, 2}},
    {"level and upright edges", 40, {0, 0}, {1, 1}, true, 7},
    {"edges along the borders of cells", 40, {4.5e6, 5.8e6}, {0.7, 0.3}, true, 16},
    {"tiny and far from the origin", 12, {4.5e6, 5.8e6}, {1e-6, 1e-6}},
    {"next to rounding away", 12, {4.5e6, 5.8e6}, {2e-8, 2e-8}},
    {"thin", 7, {0, 0}, {1, 1e-12}},
    {"thin and far away", 7, {4.5e6, 5.8e6}, {1e-9, 1000}},
    {"huge", 9, {-1e150, -1e150}, {2e150, 2e150}},
    {"smaller than normal numbers", 9, {0, 0}, {1e-310, 1e-310}, false},
    {"a line", 5, {3, 0}, {0, 1}, false},
    {"level", 5, {0, 3}, {1, 0}, false},
    {"a point", 3, {2, 2}, {0, 0}, false},
};

Points lasso(const Shape& shape, Random& random) {
    Points points(shape.points);
    for (auto& p : points) {
        p = {random(0, 1), random(0, 1)};
        if (shape.lattice > 0) p = glm::round(p * shape.lattice) / shape.lattice;
        p = shape.offset + shape.size * p;
    }
    return points;
}

/// Random points, and those where a faster way goes wrong first: corners, edges, borders of cells, their neighbours,
/// far away, no numbers.
Points probesFor(const Points& outline, Random& random) {
    constexpr double Infinite = std::numeric_limits<double>::infinity(), NotANumber = std::nan("");
    glm::dvec2 low = outline[0], high = outline[0];
    for (const auto& p : outline) low = glm::min(low, p), high = glm::max(high, p);
    const glm::dvec2 size = high - low;
    Points probes{{Infinite, low.y}, {low.x, -Infinite}, {NotANumber, low.y}, {low.x, NotANumber}, low - 1e9 * size};
    for (int i = 0; i < 4000; ++i) probes.push_back(low + size * glm::dvec2(random(-.1, 1.1), random(-.1, 1.1)));
    for (int i = -2; i <= 258; ++i) probes.push_back(low + size * glm::dvec2(i, int(random(0, 256))) / 256.0);
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const glm::dvec2 a = outline[i], b = outline[(i + 1) % outline.size()];
        for (const double t : {0.0, 0.25, 0.5, 0.625, random(0, 1)}) probes.push_back(a + t * (b - a));
        probes.emplace_back(low.x + size.x * random(0, 1), a.y); // level with a corner
    }
    for (std::size_t i = 0, count = probes.size(); i < count; ++i) {
        probes.emplace_back(std::nextafter(probes[i].x, -Infinite), probes[i].y);
        probes.emplace_back(probes[i].x, std::nextafter(probes[i].y, Infinite));
    }
    return probes;
}

/// Compares rasters with the plain test on every probe; returns how many are inside.
int expectSame(const Outline& outline, const Points& probes) {
    const OutlineRaster raster(outline), coarse(outline, 32), one(outline, 1);
    int inside = 0, wrong = 0;
    for (const auto& p : probes) {
        const bool plain = outline.contains(p);
        inside += plain;
        wrong += plain != raster.contains(p) || plain != coarse.contains(p) || plain != one.contains(p);
    }
    EXPECT_EQ(wrong, 0) << "of " << probes.size();
    return inside;
}

TEST(OutlineRaster, answersLikeThePlainTest) {
    Random random;
    for (const Shape& shape : Shapes) {
        SCOPED_TRACE(shape.name);
        const Points points = lasso(shape, random);
        const int inside = expectSame(Outline(points), probesFor(points, random));
        EXPECT_TRUE(inside > 100 || !shape.hasPointsInside) << inside;
    }
}

TEST(OutlineRaster, answersLikeThePlainTestWhenCoordinatesAreBeyondReckoning) {
    Random random;
    constexpr double Largest = std::numeric_limits<double>::max(), Infinite = std::numeric_limits<double>::infinity();
    const double extremes[] = {std::nan(""), Infinite, -Infinite, Largest, -Largest};
    const Points probes = probesFor({{0, 0}, {4, 0}, {2, 4}}, random);
    for (const double extreme : extremes)
        for (const Points& points :
             {Points{{extreme, 0}, {4, 1}, {2, 4}, {1, 2}}, Points{{1, 2}, {0, extreme}, {4, 0}},
              Points{{extreme, 1}, {-extreme, 2}, {2, 4}}, Points{{0, 0}, {4, 0}, {2, extreme}}}) {
            SCOPED_TRACE(extreme);
            expectSame(Outline(points), probes);
        }
}

TEST(OutlineRaster, isNeverWrongAboutARectangle) {
    Random random;
    const Points points = lasso({"", 7, {4.5e6, 5.8e6}, {100, 1}}, random);
    const Outline outline(points);
    const OutlineRaster raster(outline);
    int in = 0, out = 0;
    for (int i = 0; i < 20000; ++i) {
        const glm::dvec2 low(4.5e6 + random(-5, 105), 5.8e6 + random(-.05, 1.05));
        const glm::dvec2 high = low + glm::dvec2(random(0, 20), random(0, .2)) * random(0, 1);
        const Cell cell = raster.classify(low, high);
        in += cell == Cell::In;
        out += cell == Cell::Out;
        if (cell == Cell::Boundary) continue;
        for (int k = 0; k < 12; ++k) {
            const glm::dvec2 t = k < 4 ? glm::dvec2(k & 1, k >> 1) : glm::dvec2(random(0, 1), random(0, 1));
            ASSERT_EQ(outline.contains(glm::min(low + t * (high - low), high)), cell == Cell::In) << i;
        }
    }
    EXPECT_GT(in, 100);
    EXPECT_GT(out, 100);
}

TEST(Outline, selectsPointsOnSharedEdgesOnce) {
    Random random;
    const Points square{{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
    for (int round = 0; round < 20; ++round) {
        const glm::dvec2 middle(random(-1, 1), random(-1, 1));
        Points corners = square; // and points on the sides, which stay between their neighbours
        for (std::size_t i = 4; i-- > 0;)
            corners.insert(corners.begin() + long(i) + 1,
                           corners[i] + random(.1, .9) * (square[(i + 1) % 4] - corners[i]));
        Points probes{middle};
        std::vector<OutlineRaster> fan;
        for (std::size_t i = 0; i < corners.size(); ++i) {
            const glm::dvec2 a = corners[i], b = corners[(i + 1) % corners.size()];
            fan.emplace_back(Outline({middle, a, b}));
            for (int k = 0; k < 50; ++k) probes.push_back(middle + random(0, 1) * (a - middle));
        }
        for (const auto& p : probes) {
            if (std::max(std::abs(p.x), std::abs(p.y)) >= 1) continue;
            int count = 0;
            for (const auto& triangle : fan) count += triangle.contains(p);
            ASSERT_EQ(count, 1) << p.x << ' ' << p.y;
        }
    }
}

TEST(Outline, ofRingsIsEvenOddOverAllOfThem) {
    Random random;
    std::vector<Points> rings{{{0, 0}, {10, 0}, {10, 10}, {0, 10}}, {}, {{2, 2}, {2, 8}, {8, 8}, {8, 2}}};
    for (const double at : {4.0, 20.0, -7.3}) rings.push_back(lasso({"", 5, {at, at / 2}, {2, 3}}, random));
    const Outline outline = Outline::ofRings(rings);
    Points probes = probesFor(outline.points(), random);
    for (const auto& p : probes) {
        bool inside = false;
        for (const auto& ring : rings) inside ^= Outline(ring).contains(p);
        ASSERT_EQ(outline.contains(p), inside) << p.x << ' ' << p.y;
    }
    EXPECT_GT(expectSame(outline, probes), 500);
}

double distance(const glm::dvec2& p, const glm::dvec2& a, const glm::dvec2& b) {
    const double length2 = glm::dot(b - a, b - a);
    const double t = length2 > 0 ? glm::clamp(glm::dot(p - a, b - a) / length2, 0.0, 1.0) : 0;
    return glm::distance(p, a + t * (b - a));
}

TEST(Strokes, aPathIsEverythingNearIt) {
    Random random;
    const std::vector<Points> paths{{{3, 4}},
                                    {{3, 4}, {3, 4}},
                                    {{0, 0}, {10, 0}, {5, 5}, {5, -5}}, // crosses itself
                                    {{0, 0}, {8, 1}, {0, 0}, {8, 1}},   // there and back
                                    {{0, 0}, {.1, 0}, {.2, .1}, {.3, .1}, {.4, 0}},
                                    random.lasso(90, 10)};
    for (const Points& path : paths)
        for (const double radius : {0.01, 0.7, 3.0}) {
            const Outline stroke = Sextant::pathStroke(path, radius);
            Points probes;
            for (int i = 0; i < 1500; ++i) {
                const glm::dvec2 start = path[std::size_t(random(0, double(path.size())))];
                const glm::dvec2 p = start + glm::dvec2(random(-2, 2), random(-2, 2)) * radius * random(.5, 1);
                double nearest = 1e300;
                for (std::size_t k = 0; k < path.size(); ++k)
                    nearest = std::min(nearest, distance(p, path[k], path[k ? k - 1 : 0]));
                if (nearest > 0.9996 * radius && nearest < radius * (1 + 1e-12)) continue;
                ASSERT_EQ(stroke.contains(p), nearest < radius) << nearest;
                probes.push_back(p);
            }
            EXPECT_GT(expectSame(stroke, probes), 100);
        }
}

TEST(Strokes, everyPointIsAboveOrBelowALine) {
    Points line{{-3, 0}, {0, 3}, {0, -1}, {2, -1}, {5, 2}};
    const auto heightAt = [](double x) { return x < 0 ? x + 3 : x < 2 ? -1 : x - 3; };
    for (int turn = 0; turn < 2; ++turn) {
        const OutlineRaster above(Sextant::aboveStroke(line, 100)), below(Sextant::belowStroke(line, -2e7));
        for (double x = -4; x <= 6; x += 0.25)
            for (double y = -8; y <= 8; y += 0.25) {
                const bool between = x >= -3 && x < 5;
                ASSERT_EQ(above.contains({x, y}) + below.contains({x, y}), between) << x << ' ' << y;
                if (x == 0 || y == heightAt(x)) continue; // where the line is upright, and on it
                ASSERT_EQ(above.contains({x, y}), between && y > heightAt(x)) << x << ' ' << y;
            }
        std::reverse(line.begin(), line.end());
    }
}

} // namespace
} // namespace corvane::test

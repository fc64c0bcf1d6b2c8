// SPDX-License-Identifier: Apache-2.0
#include "Sextant/Strokes.hpp"
#include "Sextant/OutlineRaster.hpp"
#include "Views.hpp"

#include <algorithm>
#include <glm/common.hpp>
#include <glm/geometric.hpp>

namespace corvane::test {
namespace {

double distance(const glm::dvec2& p, const glm::dvec2& a, const glm::dvec2& b) {
    const double length2 = glm::dot(b - a, b - a);
    const double t = length2 > 0 ? glm::clamp(glm::dot(p - a, b - a) / length2, 0.0, 1.0) : 0;
    return glm::distance(p, a + t * (b - a));
}

/// Each stroke beside the raster that answers for it.
struct Stroke {
    explicit Stroke(Outline o) : outline(std::move(o)), raster(outline) {}
    bool contains(const glm::dvec2& p) const {
        EXPECT_EQ(raster.contains(p), outline.contains(p));
        return outline.contains(p);
    }
    Outline outline;
    Sextant::OutlineRaster raster;
};

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
            const Stroke stroke(Sextant::pathStroke(path, radius));
            int covered = 0;
            for (int i = 0; i < 1500; ++i) {
                const glm::dvec2 start = path[std::size_t(random(0, double(path.size())))];
                const glm::dvec2 p = start + glm::dvec2(random(-2, 2), random(-2, 2)) * radius * random(.5, 1);
                double nearest = 1e300;
                for (std::size_t k = 0; k < path.size(); ++k)
                    nearest = std::min(nearest, distance(p, path[k], path[k ? k - 1 : 0]));
                if (nearest > 0.9996 * radius && nearest < radius * (1 + 1e-12)) continue;
                ASSERT_EQ(stroke.contains(p), nearest < radius) << nearest;
                covered += nearest < radius;
            }
            EXPECT_GT(covered, 100);
        }
}

TEST(Strokes, everyPointIsAboveOrBelowALine) {
    Points line{{-3, 0}, {0, 3}, {0, -1}, {2, -1}, {5, 2}};
    const auto heightAt = [](double x) { return x < 0 ? x + 3 : x < 2 ? -1 : x - 3; };
    for (int turn = 0; turn < 2; ++turn) {
        const Stroke above(Sextant::aboveStroke(line, 100)), below(Sextant::belowStroke(line, -2e7));
        int onLine = 0;
        for (double x = -4; x <= 6; x += 0.25)
            for (double y = -8; y <= 8; y += 0.25) {
                const bool between = x >= -3 && x < 5;
                ASSERT_EQ(above.contains({x, y}) + below.contains({x, y}), between) << x << ' ' << y;
                if (x == 0) continue; // where the line is upright
                onLine += between && y == heightAt(x);
                if (y != heightAt(x)) {
                    ASSERT_EQ(above.contains({x, y}), between && y > heightAt(x)) << x << ' ' << y;
                }
            }
        EXPECT_GT(onLine, 20);
        std::reverse(line.begin(), line.end());
    }
}

} // namespace
} // namespace corvane::test

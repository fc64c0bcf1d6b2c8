// SPDX-License-Identifier: Apache-2.0
// The rasteriser against the loop that one writes first, and against itself.
#include "picture/PointRaster.hpp"
#include "Clouds.hpp"
#include "Projection.hpp"
#include "picture/Projector.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace corvane::test {
namespace {

/// What a screen shows, point by point in doubles: the pixel, with the point's depth.
struct Seen {
    double column, row, depth;
};
Seen plainly(const Screen& screen, const Point& point) {
    const glm::dvec3 seen = screen.view.project(point);
    const glm::dvec2 size = screen.maximum - screen.minimum;
    const double distance = glm::dot(glm::dvec4(screen.view.matrix()[0][3], screen.view.matrix()[1][3],
                                                screen.view.matrix()[2][3], screen.view.matrix()[3][3]),
                                     glm::dvec4(point - screen.view.origin(), 1));
    const bool between = std::abs(seen.z) <= 1;
    return {(seen.x - screen.minimum.x) / size.x * screen.width, (screen.maximum.y - seen.y) / size.y * screen.height,
            !between               ? NAN
            : screen.view.affine() ? seen.z
                                   : distance};
}

/// Expects that each pixel shows the nearest of the points that lie there. Points that single precision may move into
/// the next pixel, or in front of the other, are left to it.
void expectPlain(const Screen& screen, const Points& points) {
    const PackedPoints packed = pack(points, Point(Unit));
    PointRaster raster(screen);
    raster.draw({packed});
    std::map<std::pair<int, int>, double> nearest;
    std::vector<Seen> seen;
    for (const Point& point : points) {
        seen.push_back(plainly(screen, point));
        const Seen& s = seen.back();
        const bool inside =
            s.column >= 0 && s.column < screen.width && s.row >= 0 && s.row < screen.height && !std::isnan(s.depth);
        if (!inside) continue;
        const auto place = std::pair(int(s.column), int(s.row));
        const auto found = nearest.find(place);
        if (found == nearest.end() || s.depth < found->second) nearest[place] = s.depth;
    }
    std::size_t filled = 0, doubtful = 0;
    for (int row = 0; row < screen.height; ++row)
        for (int column = 0; column < screen.width; ++column) {
            const Pixel pixel = raster.pixels()[std::size_t(row) * std::size_t(screen.width) + std::size_t(column)];
            const auto expected = nearest.find({column, row});
            if (pixel == NoPoint && expected == nearest.end()) continue;
            ++filled;
            if (pixel == NoPoint || expected == nearest.end()) {
                ++doubtful;
                continue;
            }
            const Seen& shown = seen[markOf(pixel)];
            EXPECT_NEAR(shown.column, column + 0.5, 0.55);
            EXPECT_NEAR(shown.row, row + 0.5, 0.55);
            EXPECT_NEAR(depthOf(pixel), shown.depth, 1e-6 * std::abs(shown.depth) + 5e-6);
            doubtful += std::abs(shown.depth - expected->second) > 1e-5 * std::abs(shown.depth) + 1e-6;
        }
    EXPECT_GT(filled, 0u);
    EXPECT_LE(doubtful, filled / 200);
}

TEST(PointRaster, showsTheNearestPointOfEachPixel) {
    const Points points = cloud(60'000, {100, 80, 30});
    expectPlain(planOf(points, 197, 163), points); // few points lie on the edges of pixels
    expectPlain({Sextant::View::profile({500'000, 5'200'010}, {500'090, 5'200'060}, 5), {0, 395}, {100, 435}, 307, 127},
                points);
    expectPlain(perspectiveOf(240, 180), points);
}

/// With marks, numbers, one fragment or many, in any order and on any number of threads.
TEST(PointRaster, showsTheSameToTheBitHoweverTheWorkIsDivided) {
    const Points points = cloud(50'001, {60, 60, 3});
    const Screen screen = planOf(points, 64, 64); // many points in a pixel, many of them at the same height
    std::vector<PackedPoints> parts;
    std::vector<DrawnPoints> drawn;
    constexpr std::size_t part = 1234;
    for (std::size_t first = 0; first < points.size(); first += part)
        parts.push_back(pack(std::span(points).subspan(first, std::min(part, points.size() - first)), Point(Unit)));
    for (std::size_t i = 0; i < parts.size(); ++i)
        drawn.push_back({parts[i], {}, static_cast<std::uint32_t>(i * part)});
    const PointRaster once = drawPoints(screen, drawn, 1);
    const std::vector<Pixel> expected(once.pixels().begin(), once.pixels().end());
    const auto expectSame = [&](const PointRaster& raster) {
        EXPECT_TRUE(std::ranges::equal(raster.pixels(), expected));
        EXPECT_EQ(raster.outside(), 0u);
    };
    for (const unsigned threads : {2u, 4u, 7u}) expectSame(drawPoints(screen, drawn, threads));
    PointRaster backwards(screen), marked(screen);
    for (std::size_t i = drawn.size(); i-- > 0;) backwards.draw(drawn[i]);
    expectSame(backwards);
    std::vector<std::uint32_t> marks(part);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        marks.resize(parts[i].points.size());
        for (std::size_t k = 0; k < marks.size(); ++k) marks[k] = static_cast<std::uint32_t>(i * part + k);
        marked.draw({parts[i], marks});
    }
    expectSame(marked);
}

TEST(PointRaster, projectsAlikeWithAllInstructions) {
    const PackedPoints packed = pack(cloud(40 * BlockPoints + 7, {900, 900, 200}), Point(Unit));
    std::vector<Instructions> available;
    for (const Instructions instructions : {Instructions::Plain, Instructions::Avx2, Instructions::Avx512})
        if (processorHas(instructions)) available.push_back(instructions);
    const bool wide = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    std::mt19937 random(5);
    std::uniform_real_distribution<float> factor(-3e-3f, 3e-3f), shift(-200, 800);
    for (int view = 0; view < 20; ++view) {
        const auto row = [&] { return std::array{factor(random), factor(random), factor(random), shift(random)}; };
        ToPixels to{row(), row(), row(), row(), 640, 480, 640 * 480};
        for (float& part : to.depth) part /= 1000;
        for (const bool affine : {true, false}) {
            std::vector<std::int32_t> plain(packed.points.size()), pixels(plain.size());
            std::vector<std::uint32_t> plainDepths(plain.size()), depths(plain.size());
            projectPlain(affine, packed.points.data(), plain.size(), to, plain.data(), plainDepths.data());
            const auto expectSame = [&](const std::string& with) {
                EXPECT_EQ(plain, pixels) << affine << with;
                EXPECT_EQ(plainDepths, depths) << affine << with;
            };
            for (const Instructions instructions : available) {
                projector(affine, instructions)(packed.points.data(), pixels.size(), to, pixels.data(), depths.data());
                expectSame(" with set " + std::to_string(int(instructions)));
            }
            if (wide) projectWide(affine, packed.points.data(), pixels.size(), to, pixels.data(), depths.data());
            expectSame(" vectorised, with multiplications that could be fused");
        }
    }
}

TEST(PointRaster, showsFewPointsAndPointsInFewPlaces) {
    const Points one{Point(500'050, 5'200'050, 400.5)};
    const Screen screen = planOf(cloud(100, {100, 100, 10}), 50, 40);
    PointRaster raster(screen);
    raster.draw({pack({}, Point(Unit))});
    EXPECT_TRUE(std::ranges::all_of(raster.pixels(), [](Pixel pixel) { return pixel == NoPoint; }));
    raster.draw({pack(one, Point(Unit)), {}, 77});
    EXPECT_EQ(std::ranges::count_if(raster.pixels(), [](Pixel pixel) { return pixel != NoPoint; }), 1);
    EXPECT_EQ(markOf(std::ranges::min(raster.pixels())), 77u);

    PointRaster pile(screen);
    Points stack(2000, one.front());
    for (std::size_t i = 0; i < stack.size(); ++i) stack[i].z += Unit * double(i / 2);
    pile.draw({pack(stack, Point(Unit))});
    EXPECT_EQ(std::ranges::count(pile.pixels(), NoPoint), std::ptrdiff_t(pile.pixels().size()) - 1);
    EXPECT_EQ(markOf(std::ranges::min(pile.pixels())), 1998u) << "the first of the two highest";

    PointRaster far(
        {Sextant::View::fromAbove({{-1e9, -1e9, -1e9}, {1e9, 1e9, 1e9}}), glm::dvec2(-1), glm::dvec2(1), 9, 9});
    far.draw({pack(stack, Point(Unit))});
    EXPECT_EQ(std::ranges::count(far.pixels(), NoPoint), 80) << "all are in one pixel";
}

TEST(PointRaster, countsPointsOutsideAndShowsNothingBehindTheEye) {
    const Points points = cloud(5000, {100, 100, 10});
    Screen half = planOf(points, 100, 100);
    half.maximum.x = (half.minimum.x + half.maximum.x) / 2;
    PointRaster raster(half);
    raster.draw({pack(points, Point(Unit))});
    const auto right =
        std::ranges::count_if(points, [&](const Point& point) { return half.view.project(point).x >= half.maximum.x; });
    EXPECT_NEAR(double(raster.outside()), double(right), 3);

    Screen behind = perspectiveOf(100, 100);
    Sextant::Camera camera;
    camera.eye = {500'050, 5'200'200, 400};
    camera.target = {500'050, 5'200'300, 400};
    behind.view = Sextant::View::perspective(camera);
    PointRaster nothing(behind);
    nothing.draw({pack(points, Point(Unit))});
    EXPECT_EQ(nothing.outside(), points.size());
    EXPECT_EQ(std::ranges::min(nothing.pixels()), NoPoint);
}

TEST(PointRaster, refusesWhatWouldGoWrongSilently) {
    const Screen screen = planOf(cloud(10, {10, 10, 1}), 10, 10);
    PointRaster raster(screen);
    const PackedPoints packed = pack(cloud(10, {10, 10, 1}), Point(Unit));
    const std::vector<std::uint32_t> marks(9);
    EXPECT_THROW(raster.draw({packed, marks}), std::invalid_argument);
    EXPECT_THROW(raster.draw({packed, {}, 0xFFFF'FFFF - 8}), std::length_error) << "numbers would come round";
    raster.draw({packed, {}, 0xFFFF'FFFF - 9});
    for (Screen wrong : {screen, screen, screen, screen}) {
        static int which = 0;
        if (which == 0) wrong.width = 0;
        if (which == 1) wrong.height = -5;
        if (which == 2) wrong.maximum = wrong.minimum;
        if (which++ == 3) wrong.width = wrong.height = 1 << 20;
        EXPECT_THROW(PointRaster{wrong}, std::invalid_argument);
    }
    EXPECT_THROW(raster.merge(PointRaster(planOf(cloud(10, {10, 10, 1}), 10, 11))), std::invalid_argument);
}

TEST(PackedPoints, keepCoordinatesExactlyUpToTwoMillionUnits) {
    const Points near = cloud(1000, {2000, 20'000, 300});
    const PackedPoints exact = pack(near, Point(Unit));
    for (std::size_t i = 0; i < near.size(); ++i)
        for (int axis = 0; axis < 3; ++axis) EXPECT_NEAR(exact.position(i)[axis], near[i][axis], 1e-6);
    const Points far = cloud(1000, {900'000, 1, 0});
    for (const double unit : {Unit, 0.0, double(NAN), -Unit}) {
        const PackedPoints rough = pack(far, Point(unit));
        for (std::size_t i = 0; i < far.size(); ++i) {
            EXPECT_NEAR(rough.position(i).x, far[i].x, 900'000.0 / (1 << 20));
            EXPECT_EQ(rough.position(i).z, far[i].z);
        }
    }
}

} // namespace
} // namespace corvane::test

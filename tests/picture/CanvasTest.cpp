// SPDX-License-Identifier: Apache-2.0
// Drawing part by part against drawing all at once.
#include "picture/Canvas.hpp"
#include "Clouds.hpp"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <limits>
#include <set>

namespace corvane::test {
namespace {

constexpr std::size_t Fragments = 7, Each = 3001;
const Point Extent(60, 60, 8);

int classOf(const Point& point) { return int(std::lround(point.z / Unit) % 5); }

/// Fragments that overlap, so that many points meet in a pixel.
DrawnFragments fragments(std::uint32_t count = Fragments) {
    DrawnFragments result;
    for (std::uint32_t i = 0; i < count; ++i) {
        const Point corner(500'000 + 25.0 * (i % 3), 5'200'000 + 20.0 * (i / 3), 400);
        result.push_back(fragmentOf(i, cloud(Each + i, Extent, i + 1, corner), column::Class, classOf));
    }
    return result;
}

Screen screen() { return planOf({{500'000, 5'200'000, 400}, {500'110, 5'200'100, 410}}, 130, 110); }

std::vector<Pixel> pixelsOf(const Canvas& canvas) { return {canvas.pixels().begin(), canvas.pixels().end()}; }

Canvas allAtOnce(const DrawnFragments& drawn, const Filter& filter = {}, const Screen& on = screen()) {
    Team one;
    Canvas canvas(on, filter);
    EXPECT_TRUE(canvas.take(drawn));
    canvas.draw(Canvas::AllPoints, one);
    EXPECT_TRUE(canvas.complete());
    return canvas;
}

TEST(Canvas, isTheSameToTheBitInPartsOnAnyNumberOfThreadsAndAsFragmentsCome) {
    const DrawnFragments all = fragments();
    for (const Screen& on : {screen(), perspectiveOf(100, 80)}) {
        const std::vector<Pixel> expected = pixelsOf(allAtOnce(all, {}, on));
        EXPECT_GT(std::ranges::count_if(expected, [](Pixel pixel) { return pixel != NoPoint; }), 100);
        for (const unsigned threads : {1u, 2u, 5u}) {
            Team team(threads);
            Canvas parts(on, {});
            ASSERT_TRUE(parts.take(all));
            std::uint64_t before = 0;
            for (double perPixel = 0.01; perPixel < 1e4; perPixel *= 2) {
                const std::uint64_t missing = parts.missing(perPixel);
                EXPECT_EQ(parts.draw(perPixel, team), missing);
                EXPECT_GE(parts.drawn(), before);
                before = parts.drawn();
            }
            parts.draw(Canvas::AllPoints, team);
            EXPECT_EQ(parts.drawn(), parts.total());
            EXPECT_EQ(pixelsOf(parts), expected) << threads;

            Canvas coming(on, {});
            for (std::size_t n = 1; n <= all.size(); ++n) {
                ASSERT_TRUE(coming.take(DrawnFragments(all.begin(), all.begin() + std::ptrdiff_t(n))));
                coming.draw(n % 2 == 0 ? 0.3 : 0.1, team);
            }
            coming.draw(Canvas::AllPoints, team);
            EXPECT_EQ(pixelsOf(coming), expected);
        }
    }
}

TEST(Canvas, stopsBetweenFragmentsAndGoesOn) {
    const DrawnFragments all = fragments();
    Team team(2);
    Canvas canvas(screen(), {});
    ASSERT_TRUE(canvas.take(all));
    std::atomic<int> asked = 0;
    while (!canvas.complete()) {
        const int stopAt = asked + 2;
        canvas.draw(Canvas::AllPoints, team, [&] { return ++asked > stopAt; });
    }
    EXPECT_EQ(pixelsOf(canvas), pixelsOf(allAtOnce(all)));
}

TEST(Canvas, hidesPointsAsIfTheyWereNotThere) {
    const DrawnFragments all = fragments(3);
    std::vector<Points> points;
    for (const auto& fragment : all) {
        Points& here = points.emplace_back(fragment->total);
        for (std::size_t i = 0; i < here.size(); ++i) here[fragment->pointAt(i)] = fragment->packed->position(i);
    }
    const auto expectOnly = [&](const Filter& filter, auto isShown) {
        const Canvas canvas = allAtOnce(all, filter);
        DrawnFragments shown;
        for (std::uint32_t f = 0; f < points.size(); ++f) {
            Points kept;
            std::ranges::copy_if(points[f], std::back_inserter(kept), isShown);
            shown.push_back(fragmentOf(f, kept, column::Class, classOf));
        }
        const Canvas expected = allAtOnce(shown);
        std::size_t filled = 0, differing = 0;
        for (std::size_t i = 0; i < canvas.pixels().size(); ++i) {
            const Pixel is = canvas.pixels()[i], should = expected.pixels()[i];
            filled += should != NoPoint;
            if (is != NoPoint) {
                const auto place = canvas.numbers().find(markOf(is));
                EXPECT_TRUE(isShown(all[place.fragment]->packed->position(place.point)));
            }
            differing += (is == NoPoint) != (should == NoPoint) || std::abs(depthOf(is) - depthOf(should)) > 1e-5F;
        }
        EXPECT_LE(differing, filled / 200) << "the corners of the fragments differ, and with them roundings";
        return filled;
    };
    Filter classes;
    classes.hidden.classes = {0, 1, 0, 1};
    EXPECT_GT(expectOnly(classes, [](const Point& p) { return classOf(p) != 1 && classOf(p) != 3; }), 500u);
    EXPECT_GT(expectOnly({{}, {2, 4}}, [](const Point& p) { return classOf(p) == 2 || classOf(p) == 4; }), 500u);
    Filter heights;
    heights.hidden.lowest = 402.5;
    heights.hidden.highest = 403.25;
    EXPECT_GT(expectOnly(heights, [](const Point& p) { return p.z >= 402.5 - 1e-9 && p.z <= 403.25 + 1e-9; }), 100u);
    heights.hidden = {.classes = {}, .returns = 0, .lowest = 500};
    EXPECT_EQ(expectOnly(heights, [](const Point&) { return false; }), 0u);
    heights.hidden = {.classes = {}, .returns = 0, .lowest = 0, .highest = 300};
    EXPECT_EQ(expectOnly(heights, [](const Point&) { return false; }), 0u);

    const auto returns = fragmentOf(9, points[0], column::Return, [](const Point& p) { return 1 + classOf(p); });
    Filter first;
    first.hidden.returns = 0b10; // the first
    const Canvas rest = allAtOnce({returns}, first);
    for (const Pixel pixel : rest.pixels())
        if (pixel != NoPoint) {
            EXPECT_NE(classOf(returns->packed->position(markOf(pixel))), 0);
        }
}

TEST(Canvas, takesWhatLeavesDrawnPointsAsTheyAreAndNothingElse) {
    const DrawnFragments all = fragments(3);
    const auto with = [&](std::size_t which, auto change) {
        DrawnFragments changed = all;
        auto copy = std::make_shared<DrawnFragment>(*all[which]);
        change(*copy);
        changed[which] = copy;
        return changed;
    };
    const auto beginning = [](DrawnFragment& fragment) {
        auto packed = std::make_shared<PackedPoints>(*fragment.packed);
        packed->points.resize(1000);
        fragment.packed = packed;
    };
    const auto otherClasses = [](DrawnFragment& fragment) {
        fragment.columns[column::Class] =
            std::make_shared<const DrawnColumn>(DrawnColumn{DrawnColumn::Bytes(fragment.total, 3)});
    };
    Team team;
    Canvas canvas(screen(), {});
    ASSERT_TRUE(canvas.take(with(1, beginning)));
    canvas.draw(Canvas::AllPoints, team);
    ASSERT_TRUE(canvas.take(all)) << "a longer beginning";
    canvas.draw(Canvas::AllPoints, team);
    EXPECT_EQ(pixelsOf(canvas), pixelsOf(allAtOnce(all)));
    EXPECT_TRUE(canvas.take(with(2, otherClasses)));
    EXPECT_TRUE(canvas.take(all));
    EXPECT_FALSE(canvas.take(with(1, beginning))) << "shorter";
    EXPECT_FALSE(canvas.take({all[0], all[2]})) << "gone";
    EXPECT_EQ(canvas.fragments(), all) << "refused, nothing is changed";

    Filter hidden;
    hidden.hidden.classes = {0, 1};
    Canvas hiding = allAtOnce(all, hidden);
    EXPECT_FALSE(hiding.take(with(2, otherClasses))) << "others are hidden now";
    EXPECT_TRUE(hiding.take(with(2, [](DrawnFragment& f) { f.columns[column::Mask] = f.columns[column::Class]; })));
}

TEST(Canvas, drawsAsManyOfEachFragmentAsItsPixelsAskFor) {
    // Two fragments of equally many points, one on a hundredth of the area of the other.
    const DrawnFragments two{
        fragmentOf(0, cloud(20'000, {10, 10, 1}), column::Class, classOf),
        fragmentOf(1, cloud(20'000, {100, 100, 1}, 2, {500'010, 5'200'000, 400}), column::Class, classOf)};
    const Screen on = planOf({{500'000, 5'200'000, 400}, {500'110, 5'200'100, 401}}, 111, 101);
    Canvas canvas(on, {});
    ASSERT_TRUE(canvas.take(two));
    Team team;
    EXPECT_NEAR(double(canvas.missing(1)), 100 + 10'000, 600);
    EXPECT_EQ(canvas.missing(Canvas::AllPoints), 40'000u);
    canvas.draw(1, team);
    std::array<std::size_t, 2> shown{};
    for (const Pixel pixel : canvas.pixels())
        if (pixel != NoPoint) ++shown[canvas.numbers().find(markOf(pixel)).fragment];
    EXPECT_NEAR(double(shown[0]), 63, 30) << "of a hundred pixels";
    EXPECT_NEAR(double(shown[1]), 6300, 600);
}

TEST(PointNumbers, neverComeRoundAndNeverMarkAnEmptyPixel) {
    PointNumbers numbers;
    EXPECT_EQ(numbers.add(5), 5u);
    EXPECT_EQ(numbers.add(0), 0u);
    EXPECT_EQ(numbers.add(20'000), 20'000u);
    EXPECT_EQ(numbers.find(4).fragment, 0u);
    EXPECT_EQ(numbers.find(5).fragment, 2u);
    EXPECT_EQ(numbers.find(20'004).point, 19'999u);
    const std::size_t large = 2'000'000'000;
    EXPECT_EQ(numbers.add(large), large);
    const std::size_t left = 0xFFFF'FFFFu - large - 20'005;
    EXPECT_EQ(numbers.add(3'000'000'000), left);
    EXPECT_EQ(numbers.add(1), 0u) << "there are no more";
    EXPECT_EQ(numbers.find(0xFFFF'FFFE).point, left - 1);
    EXPECT_EQ(numbers.find(20'005).fragment, 3u);
}

} // namespace
} // namespace corvane::test

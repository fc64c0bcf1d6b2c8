// SPDX-License-Identifier: Apache-2.0
#include "picture/PixelPasses.hpp"
#include "picture/ColourRamp.hpp"

#include <algorithm>
#include <gtest/gtest.h>

namespace corvane::test {
namespace {

using Point = Sextant::PhysicalSpace::point;

constexpr int Side = 41;

/// A pixel a metre, heights as `heightAt(x, y)` says; y goes up.
template <class HeightAt>
Grid<Pixel> surface(HeightAt heightAt, int every = 1) {
    std::vector<Point> points;
    for (int y = 0; y < Side; y += every)
        for (int x = 0; x < Side; x += every) points.push_back({x + 0.5, y + 0.5, heightAt(x, y)});
    const auto view = Sextant::View::fromAbove({{0, 0, -64}, {64, 64, 64}});
    PointRaster raster({view, view.project({0, 0, 0}), view.project({Side, Side, 0}), Side, Side});
    raster.draw({pack(points, Point(0.001))});
    return gridOf(raster);
}

TEST(PixelPasses, growIntoWhatIsEmptyAndCoverNothing) {
    Grid<Pixel> pixels = surface([](int x, int y) { return x == 20 && y == 20 ? 9.0 : 1.0; }, 5);
    const Grid<Pixel> before = pixels;
    grow(pixels, 0);
    EXPECT_EQ(pixels.cells, before.cells);
    grow(pixels, 1);
    const auto filled = [&] { return std::ranges::count_if(pixels.cells, [](Pixel p) { return p != NoPoint; }); };
    EXPECT_GT(filled(), 9 * 7 * 7);
    grow(pixels, 2);
    EXPECT_EQ(filled(), Side * Side) << "points five apart meet";
    for (std::size_t i = 0; i < before.cells.size(); ++i) {
        const Pixel was = before.cells[i];
        EXPECT_TRUE(was == NoPoint || pixels.cells[i] == was);
    }
    const Pixel highest = std::ranges::min(before.cells);
    EXPECT_GT(std::ranges::count(pixels.cells, highest), 20) << "what is nearer to the eye goes first";
    EXPECT_EQ(roundsFor(0, 100), 0);
    EXPECT_EQ(roundsFor(1000, 1000), 1);
    EXPECT_GT(roundsFor(1000, 16'000), 2);
}

TEST(PixelPasses, lightFromTheUpperLeft) {
    const double rise = 128; // the view's depths are 128 metres each
    const auto middle = [&](auto heightAt) { return hillshade(surface(heightAt), rise).at(Side / 2, Side / 2); };
    EXPECT_FLOAT_EQ(middle([](int, int) { return 5.0; }), 1) << "level";
    EXPECT_GT(middle([](int x, int) { return 0.5 * x; }), 1.1) << "looks to the left";
    EXPECT_LT(middle([](int x, int) { return -0.5 * x; }), 0.7) << "looks to the right";
    EXPECT_GT(middle([](int, int y) { return -0.5 * y; }), 1.1) << "looks up";
    EXPECT_LT(middle([](int, int y) { return 0.5 * y; }), 0.7) << "looks down";
}

TEST(PixelPasses, colourByMarkWithShadeAndLeaveEmptyOnesAlone) {
    Grid<Pixel> pixels{2, 1, {Pixel{5} << 32 | 7, NoPoint}};
    const Grid<float> shade{2, 1, {0.5F, 0.5F}};
    const auto colourOf = [](std::uint32_t mark) { return mark == 7 ? 0xff804020 : 0xff000000; };
    EXPECT_EQ(coloured(pixels, colourOf, 0xffffffff).cells, (Grid<Colour>::Cells{0xff804020, 0xffffffff}));
    EXPECT_EQ(coloured(pixels, colourOf, 0xffffffff, &shade).cells, (Grid<Colour>::Cells{0xff402010, 0xffffffff}));
    EXPECT_EQ(rampColour(Ramp::Greys, -3), rampColour(Ramp::Greys, 0));
    EXPECT_EQ(rampColour(Ramp::Heights, 2), rampColour(Ramp::Heights, 1));
}

} // namespace
} // namespace corvane::test

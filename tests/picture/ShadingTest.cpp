// SPDX-License-Identifier: Apache-2.0
#include "picture/Shading.hpp"
#include "Clouds.hpp"
#include "picture/Surface.hpp"

#include <algorithm>
#include <gtest/gtest.h>

namespace corvane::test {
namespace {

constexpr Colour Background = 0xff010203;

/// A metre between points, in the middles of pixels of a metre; the class of a point is its height.
Points steps(int side) {
    Points points;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) points.push_back({500'000.5 + x, 5'200'000.5 + y, x < side / 2 ? 2 : 12});
    return points;
}

Screen metres(int side) {
    const auto view = Sextant::View::fromAbove({{500'000, 5'200'000, 0}, {500'064, 5'200'064, 64}});
    return {view, view.project({500'000, 5'200'000, 0}), view.project({500'000 + side, 5'200'000 + side, 0}), side,
            side};
}

int heightOf(const Point& point) { return int(point.z); }

struct Drawn {
    Drawn(const DrawnFragments& fragments, const Screen& screen, const Look& look) : canvas(screen, filterFor(look)) {
        EXPECT_TRUE(canvas.take(fragments));
        canvas.draw(Canvas::AllPoints, team);
        pixels = litPixels(screen, canvas.pixels(), look, &team);
        shown = {screen, pixels.pixels, std::make_shared<const PointNumbers>(canvas.numbers()), canvas.fragments()};
    }
    Grid<Colour> in(const Look& look) { return shaded(shown, pixels.light, look, &team); }

    Team team;
    Canvas canvas;
    LitPixels pixels;
    ShownPoints shown;
};

Look plain() {
    Look look;
    look.eyeDome = false;
    look.grow = 0;
    look.background = Background;
    auto palette = std::make_shared<std::vector<Colour>>(13, 0xff000000);
    (*palette)[2] = 0xff804020;
    (*palette)[12] = 0xff00ff00;
    look.palette = palette;
    return look;
}

TEST(Shading, givesPointsTheColoursThatTheLookAsksFor) {
    constexpr int side = 20;
    const Points points = steps(side);
    auto fragment = fragmentOf(3, points, column::Class, heightOf);
    DrawnColumn::Words intensities;
    DrawnColumn::Colours colours;
    DrawnColumn::Numbers numbers;
    BitColumn mask{std::vector<std::uint64_t>(points.size() / 64 + 1), points.size()};
    for (std::size_t i = 0; i < points.size(); ++i) {
        const std::size_t point = fragment->pointAt(i);
        intensities.push_back(static_cast<std::uint16_t>(100 * point));
        colours.push_back(static_cast<std::uint32_t>(point));
        numbers.push_back(static_cast<float>(point));
        mask.words[i / 64] |= std::uint64_t{point % 2} << (i % 64);
    }
    const auto add = [&](const std::string& name, DrawnColumn column) {
        fragment->columns[name] = std::make_shared<const DrawnColumn>(std::move(column));
    };
    add(column::Intensity, {std::move(intensities)});
    add(column::Rgb, {std::move(colours)});
    add("GpsTime", {std::move(numbers), 1e9});
    Look look = plain();
    Drawn drawn({fragment}, metres(side + 1), look);
    const auto at = [](const Grid<Colour>& picture, int x, int y) { return picture.at(x, side - y); }; // a row is free
    const auto number = [](int x, int y) { return std::size_t(y) * side + std::size_t(x); };

    const Grid<Colour> classes = drawn.in(look);
    EXPECT_EQ(at(classes, 3, 5), 0xff804020);
    EXPECT_EQ(at(classes, 15, 0), 0xff00ff00);
    EXPECT_EQ(classes.at(5, 0), Background);
    EXPECT_EQ(classes.at(side, 9), Background);
    look.by = ColourBy::Rgb;
    EXPECT_EQ(at(drawn.in(look), 7, 9), 0xff000000 | number(7, 9));
    look.by = ColourBy::Height;
    look.range = {2, 22};
    EXPECT_EQ(at(drawn.in(look), 3, 3), rampColour(Ramp::Heights, 0));
    EXPECT_EQ(at(drawn.in(look), 13, 3), rampColour(Ramp::Heights, 512.0 / 1023));
    look.by = ColourBy::Intensity;
    look.ramp = Ramp::Greys;
    look.range = {100.0 * double(number(4, 4)), 65535};
    EXPECT_EQ(at(drawn.in(look), 4, 4), rampColour(Ramp::Greys, 0));
    look.by = ColourBy::Field;
    look.field = "GpsTime";
    look.range = {1e9, 1e9 + double(number(9, 9))};
    EXPECT_EQ(at(drawn.in(look), 9, 9), rampColour(Ramp::Greys, 1));
    look.field = "Amplitude";
    const Colour unknown = at(drawn.in(look), 9, 9);
    EXPECT_EQ(unknown, at(drawn.in(look), 1, 1)) << "a column that is not there is grey";
    EXPECT_NE(unknown, Background);

    look.by = ColourBy::Class;
    look.mask = {0xff0000ff, 1};
    const Colour before = at(drawn.in(look), 3, 0);
    auto masked = std::make_shared<DrawnFragment>(*fragment);
    masked->columns[column::Mask] = std::make_shared<const DrawnColumn>(DrawnColumn{std::move(mask)});
    drawn.shown.fragments = {masked};
    EXPECT_EQ(before, 0xff804020) << "no mask, nothing selected";
    EXPECT_EQ(at(drawn.in(look), 3, 0), 0xff0000ff);
    EXPECT_EQ(at(drawn.in(look), 4, 0), 0xff804020);
    auto inside = std::make_shared<std::vector<std::uint8_t>>(std::size_t(side + 1) * (side + 1), 0);
    for (int x = 0; x < side; ++x) (*inside)[std::size_t(side - 6) * (side + 1) + std::size_t(x)] = 1; // the row y = 6
    look.preview = inside;
    look.previewTint = {0xffff00ff, 1};
    look.previewClasses = {0, 0, 1};
    EXPECT_EQ(at(drawn.in(look), 4, 6), 0xffff00ff);
    EXPECT_EQ(at(drawn.in(look), 14, 6), 0xff00ff00) << "of a class that is not touched";
    EXPECT_EQ(at(drawn.in(look), 4, 7), 0xff804020);
    look.flashClass = 12;
    look.flash = {0xffffffff, 1};
    EXPECT_EQ(at(drawn.in(look), 14, 6), 0xffffffff);
}

TEST(Shading, afterAnEditIsThePictureThatIsDrawnAnew) {
    Points points = cloud(20'000, {60, 60, 10});
    const Look look = [] {
        Look l = plain();
        l.eyeDome = true;
        l.grow = Look::AsIsGood;
        return l;
    }();
    const Screen screen = planOf(points, 90, 80);
    const auto before = fragmentOf(0, points, column::Class, [](const Point&) { return 2; });
    const auto after = fragmentOf(0, points, column::Class, [](const Point& p) { return p.x > 500'030 ? 12 : 2; });
    Drawn drawn({before}, screen, look);
    const auto first = drawn.in(look);
    drawn.shown.fragments = {after};
    const auto edited = drawn.in(look);
    EXPECT_EQ(edited.cells, Drawn({after}, screen, look).in(look).cells);
    EXPECT_NE(edited.cells, first.cells);
}

TEST(Shading, darkensWhatLiesBehindItsNeighboursInEveryKindOfView) {
    constexpr int side = 20;
    Look look = plain();
    look.eyeDome = true;
    const auto fragment = fragmentOf(0, steps(side), column::Class, heightOf);
    Drawn plan({fragment}, metres(side), look);
    const auto& light = plan.pixels.light;
    EXPECT_EQ(light.at(3, 10), 1) << "level";
    EXPECT_LT(light.at(side / 2 - 1, 10), 0.7F) << "at the foot of the step";
    EXPECT_EQ(light.at(side / 2, 10), 1) << "on its edge";

    Sextant::Camera camera; // the same from above, far away
    camera.eye = {500'010, 5'200'010, 212};
    camera.target = {500'010, 5'200'010, 0};
    camera.up = {0, 1, 0};
    camera.verticalAngle = 2 * std::atan(10.0 / 200); // the step's top fills it
    camera.near = 1;
    camera.far = 1000;
    look.grow = 1;
    Drawn oblique({fragment}, {Sextant::View::perspective(camera), glm::dvec2(-1), glm::dvec2(1), side, side}, look);
    const auto& far = oblique.pixels.light;
    EXPECT_GT(far.at(3, 10), 0.9F);
    EXPECT_LT(std::min(far.at(side / 2 - 1, 10), far.at(side / 2, 10)), 0.75F);
    EXPECT_GT(far.at(side - 4, 10), 0.9F);

    Team team(3);
    const Grid<Pixel> pixels = gridOf(metres(side), plan.canvas.pixels());
    const auto depths = depthsInPixels(pixels, true, 2, 2);
    EXPECT_EQ(eyeDome(depths, 2, 1).cells, eyeDome(depthsInPixels(pixels, true, 2, 2, &team), 2, 1, &team).cells);
}

TEST(Surface, closesHolesBetweenPointsEvenlyAndStaysWithinThem) {
    constexpr int side = 64;
    Points points; // a slope to the right, on every fourth pixel, in the middle half, without a large part
    for (int y = 16; y < 48; y += 4)
        for (int x = 16; x < 48; x += 4)
            if (x < 24 || x > 40 || y < 24 || y > 40) points.push_back({500'000.5 + x, 5'200'000.5 + y, 0.5 * x});
    Look look = plain();
    Drawn drawn({fragmentOf(0, points, column::Class, heightOf)}, metres(side), look);
    const Grid<Pixel> pixels = gridOf(metres(side), drawn.canvas.pixels());
    Team team(2);
    const Surface surface = surfaceThrough(pixels, 8, &team);
    const auto isIn = [&](int x, int y) { return surface.pixels.at(x, y) != NoPoint; };
    EXPECT_TRUE(isIn(18, side - 19));
    EXPECT_TRUE(isIn(43, side - 19));
    EXPECT_FALSE(isIn(10, 32)) << "beyond the edge";
    EXPECT_FALSE(isIn(55, 32));
    EXPECT_FALSE(isIn(32, 32)) << "in a hole that is wider";
    const double rise = 0.5 * metres(side).view.matrix()[2][2]; // of depth, for each pixel
    for (int x = 18; x < 43; ++x) {
        const float slope = surface.depths.row(side - 20)[x + 1] - surface.depths.row(side - 20)[x - 1];
        EXPECT_NEAR(slope / 2, rise, 0.6 * std::abs(rise)) << x << ": it rises, and not in steps";
    }
    look.surface = {2, 12};
    EXPECT_EQ(surfaceThrough(pixels, 8).pixels.cells, surface.pixels.cells);
    Look lit = plain();
    lit.surface.resize(100);
    for (std::uint16_t code = 0; code < 100; ++code) lit.surface[code] = code;
    Drawn shown({fragmentOf(0, points, column::Class, heightOf)}, metres(side), lit);
    EXPECT_GT(shown.pixels.light.at(30, side - 19), 1.05F) << "it rises to the right, so it looks to the light";
}

} // namespace
} // namespace corvane::test

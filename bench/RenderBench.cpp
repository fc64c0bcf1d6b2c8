// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Paths.hpp"
#include "picture/Shading.hpp"

#include <fmt/format.h>

#include <cmath>
#include <numeric>

namespace corvane::bench {
namespace {

using Point = Sextant::PhysicalSpace::point;

constexpr std::size_t FragmentPoints = 131072, Fragments = 763; // 100 million points
constexpr double Unit = 0.01, Side = 3000;
constexpr int Width = 1280, Height = 800;
constexpr double FirstPerPixel = 4;

/// Numbers from 0 to 1, cheaper than points are to draw.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed * 2 + 1) {}
    double operator()() {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        return double(state_ >> 40) / double(1 << 24);
    }

private:
    std::uint64_t state_;
};

/// A strip as it was flown, hilly, with things on it.
std::vector<Point> strip(std::size_t number) {
    Random part(number);
    std::vector<Point> points(FragmentPoints);
    for (std::size_t i = 0; i < FragmentPoints; ++i) {
        const double x = Side * part(), y = Side * (double(number) + double(i) / FragmentPoints) / Fragments;
        const double ground = 20 * std::sin(x / 300) * std::cos(y / 200);
        points[i] = {500'000 + x, 5'200'000 + y, 400 + ground + (part() < 0.3 ? 15 * part() : 0)};
    }
    return points;
}

DrawnColumn classesOf(std::size_t count, std::uint64_t seed) {
    Random part(seed);
    DrawnColumn::Bytes classes(count);
    for (std::uint8_t& code : classes) code = static_cast<std::uint8_t>(20 * part());
    return {std::move(classes)};
}

DrawnFragments survey() {
    const auto order = drawOrder(FragmentPoints);
    DrawnFragments fragments;
    for (std::size_t f = 0; f < Fragments; ++f) {
        auto fragment = std::make_shared<DrawnFragment>();
        fragment->number = static_cast<std::uint32_t>(f);
        fragment->total = fragment->most = FragmentPoints;
        fragment->packed = std::make_shared<const PackedPoints>(pack(strip(f), Point(Unit), *order));
        fragment->columns[column::Class] = std::make_shared<const DrawnColumn>(classesOf(FragmentPoints, f));
        fragments.push_back(std::move(fragment));
    }
    return fragments;
}

Screen planScreen() {
    const auto view = Sextant::View::fromAbove({{500'000, 5'200'000, 380}, {503'000, 5'203'000, 440}});
    return {view, view.project({500'000, 5'200'000, 0}), view.project({503'000, 5'203'000, 0}), Width, Height};
}

Screen obliqueScreen() {
    Sextant::Camera camera;
    camera.eye = {501'500, 5'198'000, 2500};
    camera.target = {501'500, 5'201'500, 400};
    camera.far = 10'000;
    camera.aspect = double(Width) / Height;
    return {Sextant::View::perspective(camera), glm::dvec2(-1), glm::dvec2(1), Width, Height};
}

Canvas drawn(const DrawnFragments& fragments, const Screen& screen, const Filter& filter, double perPixel, Team& team) {
    Canvas canvas(screen, filter);
    canvas.take(fragments);
    canvas.draw(perPixel, team);
    return canvas;
}

Look classLook() {
    Look look;
    auto palette = std::make_shared<std::vector<Colour>>(256);
    std::iota(palette->begin(), palette->end(), 0xff405060U);
    look.palette = palette;
    return look;
}

void drawAll(const DrawnFragments& fragments, const Screen& screen, const std::string& view) {
    const double amount = 1e-6 * double(FragmentPoints * Fragments);
    Team one, two(2);
    Comparison drawing(fmt::format("Draw 100 million points until the picture is complete, {}, 1280 x 800", view),
                       "M points");
    const auto add = [&](const std::string& name, Team& team, const Filter& filter) {
        drawing.add(name, amount, {}, [&fragments, &screen, &team, filter] {
            keep(drawn(fragments, screen, filter, Canvas::AllPoints, team).pixels().data());
        });
    };
    add("one thread", one, {});
    add("two threads", two, {});
    Filter hidden;
    hidden.hidden.classes = {0, 0, 1, 0, 1};
    add("one thread, two classes hidden", one, hidden);
    drawing.add("reading the packed points", amount, {}, [&] {
        std::uint64_t sum = 0;
        for (const auto& fragment : fragments)
            for (const std::uint64_t point : fragment->packed->points) sum += point;
        keep(&sum);
    });
    drawing.print();
}

void moveAndShade(const DrawnFragments& fragments, const Screen& screen, const std::string& view) {
    Team team;
    const Look look = classLook();
    Look surface = look;
    surface.surface = {2, 3, 4};
    Canvas all = drawn(fragments, screen, {}, Canvas::AllPoints, team);
    Canvas first(screen, {});
    first.take(fragments);
    const double points = 1e-6 * double(first.missing(FirstPerPixel));
    const auto show = [&](const Canvas& canvas, const Look& as) {
        const LitPixels lit = litPixels(screen, canvas.pixels(), as, &team);
        const ShownPoints shown{screen, lit.pixels, std::make_shared<const PointNumbers>(canvas.numbers()),
                                canvas.fragments()};
        keep(shaded(shown, lit.light, as, &team).cells.data());
    };
    Comparison frames(fmt::format("Pictures of 100 million points, {}, one thread", view), "pictures");
    frames.add(fmt::format("moving, {:.1f} M points, shaded", points), 1, {},
               [&] { show(drawn(fragments, screen, {}, FirstPerPixel, team), look); });
    frames.add("shading all of them", 1, {}, [&] { show(all, look); });
    if (screen.view.affine()) frames.add("as a surface", 1, {}, [&] { show(all, surface); });
    const LitPixels lit = litPixels(screen, all.pixels(), look, &team);
    ShownPoints shown{screen, lit.pixels, std::make_shared<const PointNumbers>(all.numbers()), all.fragments()};
    DrawnFragments edited = fragments;
    const auto order = drawOrder(FragmentPoints);
    const std::vector<std::uint8_t> classes(FragmentPoints, 7);
    frames.add("after an edit of 15 fragments", 1, {}, [&] {
        for (std::size_t f = 300; f < 315; ++f) {
            auto changed = std::make_shared<DrawnFragment>(*edited[f]);
            DrawnColumn::Bytes codes(FragmentPoints);
            for (std::size_t i = 0; i < FragmentPoints; ++i) codes[i] = classes[(*order)[i]];
            changed->columns[column::Class] = std::make_shared<const DrawnColumn>(DrawnColumn{std::move(codes)});
            edited[f] = changed;
        }
        all.take(edited);
        shown.fragments = all.fragments();
        keep(shaded(shown, lit.light, look, &team).cells.data());
    });
    frames.print();
}

void packFragments() {
    constexpr std::size_t some = 20;
    std::vector<std::vector<Point>> strips;
    for (std::size_t f = 0; f < some; ++f) strips.push_back(strip(f));
    const auto order = drawOrder(FragmentPoints);
    Comparison packing("Pack fragments of 131,072 points", "M points");
    const double amount = 1e-6 * double(FragmentPoints * some);
    packing.add("in the order of drawing", amount, {}, [&] {
        for (const auto& points : strips) keep(pack(points, Point(Unit), *order).points.data());
    });
    packing.add("in their order", amount, {}, [&] {
        for (const auto& points : strips) keep(pack(points, Point(Unit)).points.data());
    });
    packing.print();
}

} // namespace

void benchRender() {
    packFragments();
    const DrawnFragments fragments = survey();
    for (const auto& [screen, view] : {std::pair(planScreen(), "from above"), std::pair(obliqueScreen(), "oblique")}) {
        drawAll(fragments, screen, view);
        moveAndShade(fragments, screen, view);
    }
    fmt::print("\n");
}

} // namespace corvane::bench

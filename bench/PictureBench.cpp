// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Paths.hpp"
#include "picture/PixelPasses.hpp"
#include "picture/PointRaster.hpp"

#include <fmt/format.h>

#include <limits>
#include <random>

namespace corvane::bench {
namespace {

using Point = Sextant::PhysicalSpace::point;

constexpr std::size_t FragmentPoints = 131072, Fragments = 40; // 5 million points
constexpr double Unit = 0.01, Side = 1000;
constexpr int Width = 1280, Height = 800;

/// Strips in the order of a flight.
std::vector<std::vector<Point>> survey() {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> part(0, 1);
    std::vector<std::vector<Point>> fragments;
    for (std::size_t f = 0; f < Fragments; ++f) {
        auto& points = fragments.emplace_back(FragmentPoints);
        for (std::size_t i = 0; i < FragmentPoints; ++i)
            points[i] = {500'000 + Side * part(random),
                         5'200'000 + Side * (double(f) + double(i) / FragmentPoints) / Fragments,
                         400 + 40 * part(random)};
    }
    return fragments;
}

/// The loop that one writes first.
void drawPlainly(const Screen& screen, const std::vector<std::vector<Point>>& fragments, std::vector<double>& depths,
                 std::vector<std::uint32_t>& numbers) {
    depths.assign(screen.pixels(), std::numeric_limits<double>::infinity());
    numbers.assign(screen.pixels(), 0);
    const glm::dvec2 perUnit = glm::dvec2(screen.width, screen.height) / (screen.maximum - screen.minimum);
    std::uint32_t number = 0;
    for (const auto& points : fragments)
        for (const Point& point : points) {
            const glm::dvec3 seen = screen.view.project(point);
            const double column = (seen.x - screen.minimum.x) * perUnit.x,
                         row = (screen.maximum.y - seen.y) * perUnit.y;
            ++number;
            if (!(column >= 0 && column < screen.width && row >= 0 && row < screen.height && std::abs(seen.z) <= 1))
                continue;
            const auto pixel = static_cast<std::size_t>(row) * Width + static_cast<std::size_t>(column);
            if (seen.z >= depths[pixel]) continue;
            depths[pixel] = seen.z;
            numbers[pixel] = number;
        }
}

} // namespace

void benchPicture() {
    const auto fragments = survey();
    std::vector<PackedPoints> packed;
    for (const auto& points : fragments) packed.push_back(pack(points, Point(Unit)));
    std::vector<DrawnPoints> drawn;
    for (std::size_t i = 0; i < packed.size(); ++i)
        drawn.push_back({packed[i], {}, static_cast<std::uint32_t>(i * FragmentPoints)});
    const auto view = Sextant::View::fromAbove({{500'000, 5'200'000, 400}, {501'000, 5'201'000, 440}});
    const Screen plan{view, view.project({500'000, 5'200'000, 0}), view.project({501'000, 5'201'000, 0}), Width,
                      Height};
    const double amount = 1e-6 * double(FragmentPoints * Fragments);

    Comparison drawing("Draw 5 million points from above on 1280 x 800 pixels", "M points");
    std::vector<double> depths;
    std::vector<std::uint32_t> numbers;
    drawing.add("ours, packed, one thread", amount, {}, [&] { keep(drawPoints(plan, drawn, 1).pixels().data()); });
    drawing.add("the plain loop, in doubles", amount, {.speedAtLeast = 2}, [&] {
        drawPlainly(plan, fragments, depths, numbers);
        keep(numbers.data());
    });
    drawing.add("ours, two threads", amount, {}, [&] { keep(drawPoints(plan, drawn, 2).pixels().data()); });
    drawing.add("packing alone", amount, {}, [&] {
        for (const auto& points : fragments) keep(pack(points, Point(Unit)).points.data());
    });
    drawing.print();

    const PointRaster raster = drawPoints(plan, drawn, 1);
    Comparison passes("Holes, hillshade and colours of 1280 x 800 pixels", "pictures");
    passes.add("ours", 1, {}, [&] {
        Grid<Pixel> pixels = gridOf(raster);
        grow(pixels, 1);
        const Grid<float> shade = hillshade(pixels, 10);
        keep(coloured(
                 pixels, [](std::uint32_t mark) { return 0xff000000 | mark; }, 0xffffffff, &shade)
                 .cells.data());
    });
    passes.print();
    fmt::print("\n");
}

} // namespace corvane::bench

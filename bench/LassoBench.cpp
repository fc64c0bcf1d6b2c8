// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Fiber/FragmentBox.hpp"
#include "Holdfast/Chunk.hpp"
#include "Kesh/values/Brush.hpp"
#include "Paths.hpp"
#include "PreparedPolygon.hpp"
#include "TemporarySurvey.hpp"
#include "base/Failure.hpp"
#include "survey/Survey.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <numbers>
#include <numeric>
#include <random>
#include <span>
#include <vector>

namespace corvane::bench {
namespace {

using Point = Sextant::PhysicalSpace::point;
using Points = Holdfast::Chunk<Point>::Values; // in memory such as fragments have
using Indices = std::vector<std::uint32_t>;

constexpr std::size_t PointCount = 10'000'000, FragmentPoints = 131'072, LassoPoints = 50;
constexpr std::size_t FloorBlock = 512;
constexpr std::size_t GeosPart = 40; // it is slow: one fortieth of the points, evenly spread

/// Resident points in fragments, with their boxes, as an editor has them.
struct Cloud {
    explicit Cloud(Points all) : points(std::move(all)) {
        const std::span<const Point> whole(points);
        for (std::size_t first = 0; first < points.size(); first += FragmentPoints) {
            fragments.push_back(whole.subspan(first, std::min(FragmentPoints, points.size() - first)));
            boxes.push_back(Fiber::boundingBox(fragments.back()));
        }
    }
    Points points;
    std::vector<std::span<const Point>> fragments;
    std::vector<Sextant::BoundingBox> boxes;
};

Points pointsInFlightOrder() {
    const TemporarySurvey file(PointCount);
    const Survey survey(file.path());
    Points points;
    points.reserve(PointCount);
    survey.points().findField(Fiber::PositionsName)->iterate([&](const auto&, const auto& array) {
        const auto loaded = Fiber::arrayOf<Point>(array->getData());
        points.insert(points.end(), loaded->values().begin(), loaded->values().end());
        return true;
    });
    return points;
}

/// A closed line around the middle of the box, as a hand draws it, of a radius of `size` half boxes.
std::vector<glm::dvec2> drawLasso(const Sextant::BoundingBox& box, double size) {
    std::mt19937_64 engine(7);
    std::uniform_real_distribution<double> wobble(0.75, 1.25);
    const glm::dvec2 middle((box.minimum + box.maximum) * 0.5), half((box.maximum - box.minimum) * 0.5);
    std::vector<glm::dvec2> line;
    for (std::size_t i = 0; i < LassoPoints; ++i) {
        const double angle = 2 * std::numbers::pi * double(i) / LassoPoints;
        line.push_back(middle + half * (size * wobble(engine)) * glm::dvec2(std::cos(angle), std::sin(angle)));
    }
    return line;
}

/// What is measured: a view from above, the lasso in the survey's coordinates and on the screen.
struct Stroke {
    Stroke(const Sextant::BoundingBox& box, double size)
        : view(Sextant::View::fromAbove(box)), world(drawLasso(box, size)) {
        std::vector<glm::dvec2> screen;
        for (const auto& p : world) {
            screen.emplace_back(view.project({p.x, p.y, 0}));
            bounds.include({screen.back(), 0});
        }
        outline = Sextant::Outline(screen);
        const Point low = view.project(box.minimum);
        scale = (view.project(box.maximum) - low) / (box.maximum - box.minimum);
        origin = box.minimum - low / scale;
    }
    Sextant::View view;
    std::vector<glm::dvec2> world;
    Sextant::Outline outline;
    Sextant::BoundingBox bounds; ///< on the screen
    Point origin, scale;         ///< screen = (position - origin) * scale
};

/// Indices in each fragment, handed to `visit` one fragment after the other.
template <class Visit>
void selectOurs(const Cloud& cloud, const Stroke& stroke, Visit visit) {
    static const Indices all = [] {
        Indices indices(FragmentPoints);
        std::iota(indices.begin(), indices.end(), 0u);
        return indices;
    }();
    static Indices some;
    const Kesh::Brush brush(stroke.view, stroke.outline); // preparing it counts
    for (std::size_t f = 0; f < cloud.fragments.size(); ++f) {
        const Kesh::Brush::Part part = brush.partOf(cloud.boxes[f]);
        if (part == Kesh::Brush::Part::None) continue;
        if (part == Kesh::Brush::Part::Some) brush.select(cloud.fragments[f], some);
        visit(f, part == Kesh::Brush::Part::All ? std::span(all).first(cloud.fragments[f].size()) : std::span(some));
    }
}

/// The same by asking `inside` of every point.
template <class Inside, class Visit>
void selectEach(const Cloud& cloud, Inside inside, Visit visit) {
    static Indices found(FragmentPoints);
    for (std::size_t f = 0; f < cloud.fragments.size(); ++f) {
        std::uint32_t* next = found.data();
        for (std::size_t i = 0; i < cloud.fragments[f].size(); ++i) {
            *next = static_cast<std::uint32_t>(i);
            next += inside(cloud.fragments[f][i]);
        }
        visit(f, std::span(found).first(std::size_t(next - found.data())));
    }
}

/// Writes the indices of the points of a block that project into a box, counted from `first`. In steps that the
/// compiler does for several points at once, without a class of ours, for views that only shift and scale.
std::uint32_t* blockInBox(std::span<const Point> points, const Stroke& stroke, std::size_t first, std::uint32_t* next) {
    const Point origin = stroke.origin, scale = stroke.scale;
    const glm::dvec3 low(stroke.bounds.minimum.x, stroke.bounds.minimum.y, -1);
    const glm::dvec3 high(stroke.bounds.maximum.x, stroke.bounds.maximum.y, 1);
    std::array<double, FloorBlock> x, y, z;
    std::array<std::uint64_t, FloorBlock> inside;
    for (std::size_t i = 0; i < points.size(); ++i) {
        x[i] = (points[i].x - origin.x) * scale.x;
        y[i] = (points[i].y - origin.y) * scale.y;
        z[i] = (points[i].z - origin.z) * scale.z;
    }
    for (std::size_t i = 0; i < points.size(); ++i)
        inside[i] = (x[i] >= low.x) & (x[i] <= high.x) & (y[i] >= low.y) & (y[i] <= high.y) & (z[i] >= low.z) &
                    (z[i] <= high.z);
    for (std::size_t i = 0; i < points.size(); ++i) {
        *next = static_cast<std::uint32_t>(first + i);
        next += inside[i];
    }
    return next;
}

/// The floor: looks at every point, and tells nothing finer than a box.
template <class Visit>
void selectInBox(const Cloud& cloud, const Stroke& stroke, Visit visit) {
    static Indices found(FragmentPoints);
    for (std::size_t f = 0; f < cloud.fragments.size(); ++f) {
        const std::span<const Point> points = cloud.fragments[f];
        std::uint32_t* next = found.data();
        for (std::size_t i = 0; i < points.size(); i += FloorBlock)
            next = blockInBox(points.subspan(i, std::min(FloorBlock, points.size() - i)), stroke, i, next);
        visit(f, std::span(found).first(std::size_t(next - found.data())));
    }
}

Indices gathered(const auto& select) {
    Indices numbers;
    select([&](std::size_t f, std::span<const std::uint32_t> indices) {
        for (const std::uint32_t i : indices) numbers.push_back(static_cast<std::uint32_t>(f * FragmentPoints + i));
    });
    return numbers;
}

struct Asks {
    double ofFloor;
    double ofGeos = 10;
};

void compare(const std::string& order, const Cloud& cloud, const Stroke& stroke, const Asks& asks) {
    const Kesh::Brush brush(stroke.view, stroke.outline);
    PreparedPolygon polygon(stroke.world);
    const auto covered = [&](const Point& p) { return brush.covers(p); };
    const auto ours = [&](auto visit) { selectOurs(cloud, stroke, visit); };
    const auto plain = [&](auto visit) { selectEach(cloud, covered, visit); };
    const auto drop = [](std::size_t, std::span<const std::uint32_t> indices) { keep(indices.data()); };
    const Indices oursFound = gathered(ours), plainFound = gathered(plain);

    const double amount = 1e-6 * double(PointCount);
    Comparison comparison(fmt::format("Lasso of {} points, 10 million points {}, {:.1f} % selected", LassoPoints, order,
                                      100.0 * double(plainFound.size()) / PointCount),
                          "M points");
    comparison.add("ours: Brush", amount, {}, [&] { ours(drop); });
    comparison.add("floor: project, compare with a box", amount, {.speedAtLeast = asks.ofFloor},
                   [&] { selectInBox(cloud, stroke, drop); });
    comparison.add("crossing test per point", amount, {}, [&] { plain(drop); });
    comparison.add("GEOS, prepared polygon", amount / GeosPart, {.speedAtLeast = asks.ofGeos}, [&] {
        std::size_t count = 0;
        for (std::size_t i = 0; i < PointCount; i += GeosPart) count += polygon.contains(cloud.points[i]);
        keep(&count);
    });
    comparison.print();
    fmt::print("  the same indices as from the crossing test: {}\n\n", oursFound == plainFound ? "yes" : "NO");
}

} // namespace

void benchLasso() {
    const Cloud flown(pointsInFlightOrder());
    Points points = flown.points;
    std::shuffle(points.begin(), points.end(), std::mt19937_64(11));
    const Cloud shuffled(std::move(points));
    const Sextant::BoundingBox box = Fiber::boundingBox(flown.points);
    const Stroke large(box, 0.505), small(box, 0.1);
    compare("in the order of the flight", flown, large, {.ofFloor = 0.5});
    compare("in the order of the flight", flown, small, {.ofFloor = 0.85});
    compare("in no order", shuffled, large, {.ofFloor = 0.22});
    compare("in no order", shuffled, small, {.ofFloor = 0.22});
}

} // namespace corvane::bench

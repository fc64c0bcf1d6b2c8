// SPDX-License-Identifier: Apache-2.0
#include "Kesh/values/Brush.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <limits>
#include <stdexcept>

namespace Kesh {

using Sextant::OutlineRaster;
using Cell = OutlineRaster::Cell;
using Point = Sextant::PhysicalSpace::point;

namespace {

constexpr double Near = -1, Far = 1; // screen depth

bool betweenPlanes(double depth) { return depth >= Near && depth <= Far; }

/// Points that go through each step together: steps as simple as these the compiler does for several points at once.
constexpr std::size_t Block = 512;

struct ScreenBlock {
    std::array<double, Block> x, y, depth;
};

/// What does not lie between the planes gets an x that is not a number, which is inside of no outline.
void projectBlock(const Sextant::View& seen, std::span<const Point> positions, ScreenBlock& screen) {
    const Sextant::View view = seen; // which writing to `screen` cannot change, so it is loaded once
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const glm::dvec3 p = view.project(positions[i]);
        screen.x[i] = p.x;
        screen.y[i] = p.y;
        screen.depth[i] = p.z;
    }
    constexpr double Nowhere = std::numeric_limits<double>::quiet_NaN();
    for (std::size_t i = 0; i < positions.size(); ++i)
        screen.x[i] = betweenPlanes(screen.depth[i]) ? screen.x[i] : Nowhere;
}

/// Writes the indices of the points in the outline, counted from `first`, and returns where the next one goes. There
/// must be room for all of the points.
std::uint32_t* selectBlock(const OutlineRaster& raster, const ScreenBlock& screen, std::size_t count, std::size_t first,
                           std::uint32_t* next) {
    std::array<std::uint32_t, Block> cells;
    for (std::size_t i = 0; i < count; ++i) cells[i] = raster.cellNumber(screen.x[i], screen.y[i]);
    for (std::size_t i = 0; i < count; ++i) {
        const Cell cell = raster.cell(cells[i]);
        *next = static_cast<std::uint32_t>(first + i);
        next += cell == Cell::Boundary ? raster.containsExactly({screen.x[i], screen.y[i]}) : cell == Cell::In;
    }
    return next;
}

bool hasExtent(const Sextant::Outline& outline) {
    const auto& points = outline.points();
    const auto [left, right] = std::ranges::minmax(points, {}, &glm::dvec2::x);
    const auto [low, high] = std::ranges::minmax(points, {}, &glm::dvec2::y);
    return left.x < right.x && low.y < high.y && !outline.edges().empty();
}

} // namespace

Brush::Brush(const Sextant::View& view, Sextant::Outline outline, LimitPtr limit) : limit_(std::move(limit)) {
    if (outline.empty()) return;
    OutlineRaster raster(outline);
    stroke_ = std::make_shared<const Stroke>(Stroke{view, std::move(outline), std::move(raster)});
}

bool Brush::strokeCovers(const Point& position) const {
    const glm::dvec3 screen = stroke_->view.project(position);
    return betweenPlanes(screen.z) && stroke_->outline.contains({screen.x, screen.y});
}

bool Brush::covers(const PointColumns& points, std::size_t i) const {
    if (stroke_ && !strokeCovers(points.positions[i])) return false;
    return limit_ ? limit_->holds(points, i) : stroke_ != nullptr;
}

BoxPart Brush::partUnderStroke(const Sextant::BoundingBox& box) const {
    const Sextant::ScreenBox screen = projectBox(stroke_->view, box);
    if (!screen.bounded) return Part::Some;
    if (screen.maximum.z < Near || screen.minimum.z > Far) return Part::None;
    switch (stroke_->raster.classify({screen.minimum.x, screen.minimum.y}, {screen.maximum.x, screen.maximum.y})) {
    case Cell::Out:
        return Part::None;
    case Cell::In:
        return screen.minimum.z >= Near && screen.maximum.z <= Far ? Part::All : Part::Some;
    case Cell::Boundary:
        break;
    }
    return Part::Some;
}

BoxPart Brush::partOf(const Sextant::BoundingBox& box) const {
    if (!*this || box.empty()) return Part::None;
    const Part underStroke = stroke_ ? partUnderStroke(box) : Part::All;
    return limit_ && underStroke != Part::None ? std::min(underStroke, limit_->partOf(box)) : underStroke;
}

void Brush::selectUnderStroke(std::span<const Point> positions, std::vector<std::uint32_t>& indices) const {
    indices.clear();
    const auto& [view, outline, raster] = *stroke_;
    ScreenBlock screen;
    for (std::size_t begin = 0; begin < positions.size(); begin += Block) {
        const auto block = positions.subspan(begin, std::min(Block, positions.size() - begin));
        projectBlock(view, block, screen);
        const std::size_t before = indices.size();
        indices.resize(before + block.size());
        const std::uint32_t* end = selectBlock(raster, screen, block.size(), begin, indices.data() + before);
        indices.resize(static_cast<std::size_t>(end - indices.data()));
    }
}

void Brush::select(const PointColumns& points, std::vector<std::uint32_t>& indices) const {
    if (!*this) return indices.clear();
    if (const auto missing = fields(); points.fields.size() != missing.size())
        throw std::invalid_argument("The limit of the brush reads the field \"" + missing.front() +
                                    "\", which is not at hand here.");
    if (!stroke_) return limit_->select(points, indices);
    selectUnderStroke(points.positions, indices);
    if (limit_) limit_->narrow(points, indices);
}

std::vector<std::uint32_t> Brush::getSelection(const Holdfast::Chunk<Point>& positions,
                                               const Predicate& predicate) const {
    std::vector<std::uint32_t> indices;
    select(positions.values, indices);
    if (predicate) std::erase_if(indices, [&](std::uint32_t i) { return !predicate(positions.values[i]); });
    return indices;
}

std::vector<Point> Brush::getBrushInWorldSpace(double depth) const {
    std::vector<Point> points;
    if (!stroke_) return points;
    for (const glm::dvec2& p : stroke_->outline.points()) {
        const Point near = stroke_->view.unproject({p, Near}), far = stroke_->view.unproject({p, Far});
        points.push_back(near + depth * (far - near));
    }
    return points;
}

Sextant::BoundingBox Brush::computeBoundingBoxInWorldSpace() const {
    if (!stroke_) return limit_ ? limit_->bounds() : Sextant::BoundingBox();
    return limit_ ? boxOfStroke().within(limit_->bounds()) : boxOfStroke();
}

Sextant::BoundingBox Brush::boxOfStroke() const {
    Sextant::BoundingBox box;
    if (!hasExtent(stroke_->outline)) return box;
    // Straight lines stay straight, so that the volume lies within the hull of its outlines on both planes.
    for (const double depth : {0.0, 1.0})
        for (const Point& p : getBrushInWorldSpace(depth)) box.include(p);
    const Point rounding =
        64 * std::numeric_limits<double>::epsilon() * (glm::abs(box.minimum) + glm::abs(box.maximum));
    box.minimum -= rounding;
    box.maximum += rounding;
    return box;
}

bool Brush::operator==(const Brush& other) const {
    const bool sameStroke =
        stroke_ == other.stroke_ || (stroke_ && other.stroke_ && stroke_->view == other.stroke_->view &&
                                     stroke_->outline == other.stroke_->outline);
    return sameStroke && (limit_ == other.limit_ || (limit_ && other.limit_ && limit_->text() == other.limit_->text()));
}

} // namespace Kesh

// SPDX-License-Identifier: Apache-2.0
#include "Kesh/Brush.hpp"

#include "Kesh/VCreator.hpp"
#include "Kesh/VObject.hpp"

#include <algorithm>
#include <array>
#include <cassert>

namespace Kesh {

using Holdfast::StrongPtr;
using Sextant::OutlineRaster;
using Cell = OutlineRaster::Cell;
using Point = Sextant::PhysicalSpace::point;

namespace {

constexpr double Near = -1, Far = 1; // screen depth

bool betweenPlanes(double depth) { return depth >= Near && depth <= Far; }

/// Points that are projected before any of them is looked up, so that both loops stay simple enough for the compiler.
constexpr std::size_t Block = 512;

} // namespace

Brush::Brush(const Sextant::View& view, Sextant::Outline outline) {
    if (outline.empty()) return;
    OutlineRaster raster(outline);
    stroke_ = std::make_shared<const Stroke>(Stroke{view, std::move(outline), std::move(raster)});
}

bool Brush::covers(const Point& position) const {
    if (!stroke_) return false;
    const glm::dvec3 screen = stroke_->view.project(position);
    return betweenPlanes(screen.z) && stroke_->outline.contains({screen.x, screen.y});
}

Brush::Part Brush::partOf(const Sextant::BoundingBox& box) const {
    if (!stroke_ || box.empty()) return Part::None;
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

void Brush::select(std::span<const Point> positions, std::vector<std::uint32_t>& indices) const {
    indices.clear();
    if (!stroke_) return;
    const auto& [view, outline, raster] = *stroke_;
    std::array<glm::dvec2, Block> screen;
    std::array<Cell, Block> cells;
    for (std::size_t begin = 0; begin < positions.size(); begin += Block) {
        const std::size_t count = std::min(Block, positions.size() - begin);
        for (std::size_t i = 0; i < count; ++i) {
            const glm::dvec3 p = view.project(positions[begin + i]);
            screen[i] = {p.x, p.y};
            cells[i] = betweenPlanes(p.z) ? raster.at(p.x, p.y) : Cell::Out;
        }
        const std::size_t before = indices.size();
        indices.resize(before + count);
        std::uint32_t* next = indices.data() + before;
        for (std::size_t i = 0; i < count; ++i) {
            *next = static_cast<std::uint32_t>(begin + i);
            next += cells[i] == Cell::Boundary ? raster.containsExactly(screen[i]) : cells[i] == Cell::In;
        }
        indices.resize(static_cast<std::size_t>(next - indices.data()));
    }
}

StrongPtr<VSlot> Brush::connectBrushAsInput(VObject& object, const std::string& slotName,
                                            const std::string& providerName,
                                            const StrongPtr<VCreationPreferences>& preferences) {
    ensureValueCreator<Brush>(); // brushes are the host's own
    const StrongPtr<VSlot> slot = TypedSlot<Brush>(object, slotName, Brush()).slot();
    if (const auto provider = preferences ? preferences->provider(providerName) : nullptr)
        object.connectSlots(*slot, provider);
    return slot;
}

bool Brush::operator==(const Brush& other) const {
    if (stroke_ == other.stroke_) return true;
    return stroke_ && other.stroke_ && stroke_->view == other.stroke_->view &&
           stroke_->outline == other.stroke_->outline;
}

} // namespace Kesh

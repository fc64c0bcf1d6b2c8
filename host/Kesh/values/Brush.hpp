// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Chunk.hpp"
#include "Holdfast/Pointer.hpp"
#include "Sextant/Geometry.hpp"
#include "Sextant/Outline.hpp"
#include "Sextant/OutlineRaster.hpp"
#include "Sextant/View.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Kesh {

class VCreationPreferences;
class VObject;
class VSlot;

/// A stroke drawn on the screen: its outline, with the view in which it was drawn. Copies share what was prepared.
///
/// A position lies in the volume under the brush when it projects between the near and the far plane of the view and
/// inside the outline.
class Brush {
public:
    /// Holds no stroke: nothing lies under it.
    Brush() = default;

    Brush(const Sextant::View& view, Sextant::Outline outline);

    /// Whether it holds a stroke.
    explicit operator bool() const { return stroke_ != nullptr; }

    /// Whether the position lies under the brush. The plain way, that `select` agrees with bit for bit.
    bool covers(const Sextant::PhysicalSpace::point& position) const;

    /// How much of a box lies under the brush; Some also where that is not known without looking at the positions in
    /// it.
    enum class Part { None, Some, All };
    Part partOf(const Sextant::BoundingBox& box) const;

    /// Puts the indices of the positions under the brush into `indices`, ascending, in place of what was there.
    void select(std::span<const Sextant::PhysicalSpace::point> positions, std::vector<std::uint32_t>& indices) const;

    /// The indices of the positions that lie under the brush and satisfy the predicate, ascending. An empty predicate
    /// is satisfied by all.
    using Predicate = std::function<bool(const Sextant::PhysicalSpace::point&)>;
    std::vector<std::uint32_t> getSelection(const Holdfast::Chunk<Sextant::PhysicalSpace::point>& positions,
                                            const Predicate& predicate) const;

    /// The points of the outline in world space, in its order. The depth runs evenly from the near plane, 0, to the far
    /// plane, 1; each point lies on the straight line of all that is seen at its place on the screen.
    std::vector<Sextant::PhysicalSpace::point> getBrushInWorldSpace(double depth) const;

    /// A box around the volume under the brush; empty when the volume is, for an outline without width, height or
    /// inside.
    Sextant::BoundingBox computeBoundingBoxInWorldSpace() const;

    /// What it was made from; not when it holds no stroke.
    const Sextant::View& view() const { return stroke_->view; }
    const Sextant::Outline& outline() const { return stroke_->outline; }

    /// Connects an object's input for brushes to the provider of that name, if the preferences know one.
    static void connectBrushAsInput(VObject& object, VSlot& slot, const std::string& providerName,
                                    const Holdfast::StrongPtr<VCreationPreferences>& preferences);

    /// Whether two brushes are different strokes.
    bool operator==(const Brush& other) const;

private:
    struct Stroke {
        Sextant::View view;
        Sextant::Outline outline;
        Sextant::OutlineRaster raster;
    };
    std::shared_ptr<const Stroke> stroke_;
};

} // namespace Kesh

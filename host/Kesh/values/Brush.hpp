// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Chunk.hpp"
#include "Holdfast/Pointer.hpp"
#include "Kesh/values/Limit.hpp"
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

/// What selects points: a stroke drawn on the screen, which is its outline with the view in which it was drawn, and a
/// limit, or one of the two. Copies share what was prepared.
///
/// A position lies in the volume under the stroke when it projects between the near and the far plane of the view and
/// inside the outline. A point lies under the brush when it lies under its stroke and meets its limit; a brush without
/// a limit has the stroke alone, and one without a stroke the limit. Nothing lies under a brush that holds neither.
class Brush {
public:
    Brush() = default;

    Brush(const Sextant::View& view, Sextant::Outline outline, LimitPtr limit = nullptr);
    explicit Brush(LimitPtr limit) : limit_(std::move(limit)) {}

    /// Whether it holds a stroke or a limit.
    explicit operator bool() const { return stroke_ || limit_; }

    bool hasStroke() const { return stroke_ != nullptr; }

    /// Null when there is none.
    const LimitPtr& limit() const { return limit_; }

    /// Names of the fields that its limit reads beside the positions. What takes positions only is for brushes that
    /// read none.
    std::vector<std::string> fields() const { return limit_ ? limit_->fields() : std::vector<std::string>(); }

    /// Whether it looks at positions. One that does not has a limit that reads fields only, and no box decides for it.
    bool readsPositions() const { return stroke_ || !limit_ || limit_->readsPositions(); }

    /// Whether the point lies under the brush. The plain way, that `select` agrees with bit for bit.
    bool covers(const PointColumns& points, std::size_t i) const;
    bool covers(const Sextant::PhysicalSpace::point& position) const { return covers({{&position, 1}, {}}, 0); }

    /// How much of a box lies under the brush; Some also where that is not known without looking at the points in it.
    using Part = BoxPart;
    Part partOf(const Sextant::BoundingBox& box) const;

    /// Puts the indices of the points under the brush into `indices`, ascending, in place of what was there.
    void select(const PointColumns& points, std::vector<std::uint32_t>& indices) const;
    void select(std::span<const Sextant::PhysicalSpace::point> positions, std::vector<std::uint32_t>& indices) const {
        select({positions, {}}, indices);
    }

    /// The indices of the positions that lie under the brush and satisfy the predicate, ascending. An empty predicate
    /// is satisfied by all.
    using Predicate = std::function<bool(const Sextant::PhysicalSpace::point&)>;
    std::vector<std::uint32_t> getSelection(const Holdfast::Chunk<Sextant::PhysicalSpace::point>& positions,
                                            const Predicate& predicate) const;

    /// The points of the stroke's outline in world space, in its order. The depth runs evenly from the near plane, 0,
    /// to the far plane, 1; each point lies on the straight line of all that is seen at its place on the screen.
    std::vector<Sextant::PhysicalSpace::point> getBrushInWorldSpace(double depth) const;

    /// A box around the volume under the brush, infinite where it is; empty when the volume is, for an outline without
    /// width, height or inside.
    Sextant::BoundingBox computeBoundingBoxInWorldSpace() const;

    /// What its stroke was made from; not when it holds none.
    const Sextant::View& view() const { return stroke_->view; }
    const Sextant::Outline& outline() const { return stroke_->outline; }

    /// Connects an object's input for brushes to the provider of that name, if the preferences know one.
    static void connectBrushAsInput(VObject& object, VSlot& slot, const std::string& providerName,
                                    const Holdfast::StrongPtr<VCreationPreferences>& preferences);

    /// The same stroke and the same limit.
    bool operator==(const Brush& other) const;

private:
    bool strokeCovers(const Sextant::PhysicalSpace::point& position) const;
    Part partUnderStroke(const Sextant::BoundingBox& box) const;
    void selectUnderStroke(std::span<const Sextant::PhysicalSpace::point> positions,
                           std::vector<std::uint32_t>& indices) const;
    Sextant::BoundingBox boxOfStroke() const;

    struct Stroke {
        Sextant::View view;
        Sextant::Outline outline;
        Sextant::OutlineRaster raster;
    };
    std::shared_ptr<const Stroke> stroke_;
    LimitPtr limit_;
};

} // namespace Kesh

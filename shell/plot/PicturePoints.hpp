// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/PointRaster.hpp"
#include "plot/Colouring.hpp"

#include <optional>
#include <vector>

namespace corvane {

/// A vertical slice along the line between two places.
struct Slice {
    glm::dvec2 from{0}, to{0};
    double width = 0; ///< half of it on either side

    bool operator==(const Slice&) const = default;
};

/// Points on their way into a picture.
struct MarkedPoints {
    PackedPoints packed;
    std::vector<std::uint32_t> marks;

    std::size_t bytes() const { return packed.points.size() * (sizeof(std::uint64_t) + sizeof(std::uint32_t)); }
};

/// A part of all points of a picture.
struct PicturePoints {
    MarkedPoints all;
    MarkedPoints changed;           ///< those of them that are to be seen wherever they are
    std::vector<glm::dvec2> sample; ///< where some of them are on the view's screen
};

/// How the points of a survey are looked at: from above, or in a slice.
class Sight {
public:
    Sight(const LasFile& las, const std::optional<Slice>& slice);

    const Sextant::View& view() const { return view_; }
    bool isProfile() const { return slice_.has_value(); }
    const std::optional<Slice>& slice() const { return slice_; }
    const Sextant::PhysicalSpace::point& unit() const { return unit_; }
    double length() const { return length_; } ///< of the slice; 0 from above

    /// A place on the view's screen, and what is at it: x and y from above, distance and height in a slice.
    glm::dvec2 toScreen(const Sextant::PhysicalSpace::point& position) const { return view_.project(position); }
    glm::dvec2 fromScreen(const glm::dvec2& place) const {
        return slice_ ? place : glm::dvec2(view_.unproject({place, 0}));
    }

    /// Whether a position is in the slice; from above all are.
    bool holds(const Sextant::PhysicalSpace::point& position) const {
        if (!slice_) return true;
        const glm::dvec3 seen = view_.project(position);
        return seen.x >= 0 && seen.x <= length_ && seen.z >= -1 && seen.z <= 1;
    }

private:
    std::optional<Slice> slice_;
    double length_ = 0; // of the slice
    Sextant::View view_;
    Sextant::PhysicalSpace::point unit_;
};

/// Makes points for pictures out of records. One thread at a time may use it.
class PointPicker {
public:
    PointPicker(const LasFile& las, const Sight& sight, const Colouring& colouring, const Kesh::LimitPtr& limit);

    const WantedBytes& wanted() const { return columns_.wanted(); }

    /// Those of the records that meet the limit and are in the slice.
    PicturePoints pick(std::span<const std::byte> records);

private:
    const Sight& sight_;
    const Colouring& colouring_;
    bool all_;
    std::size_t sampledEvery_; // to find out where the points are
    RecordColumns columns_;
};

/// The positions of the points that are selected.
std::vector<Sextant::PhysicalSpace::point> selectedOf(const RecordColumns& columns);

/// Where every so many of the positions are on the screen.
std::vector<glm::dvec2> sampleOf(const Sight& sight, std::span<const Sextant::PhysicalSpace::point> positions,
                                 std::size_t every);

} // namespace corvane

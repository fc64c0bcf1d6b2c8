// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sextant/Geometry.hpp"

#include <cstdint>
#include <span>
#include <vector>

namespace corvane {

/// The points of a fragment as they are drawn: each coordinate a whole number of steps from the corner, in 21 bits. Of
/// a survey the steps are the units of its coordinates, so that nothing is lost, up to 2 million of them; larger
/// fragments have steps of several units.
struct PackedPoints {
    static constexpr unsigned Bits = 21;
    static constexpr std::uint64_t Largest = (std::uint64_t{1} << Bits) - 1; ///< coordinate

    Sextant::BoundingBox box;              ///< of the points; its minimum is the corner
    Sextant::PhysicalSpace::point step{1}; ///< along each axis
    std::vector<std::uint64_t> points;     ///< x in the lowest bits, then y, then z

    /// The place of a point.
    Sextant::PhysicalSpace::point position(std::size_t i) const;
};

/// Packs positions, which must be finite, in their order. `unit` is what their coordinates are multiples of, along each
/// axis; where it is not a positive number the steps are as small as they can be.
PackedPoints pack(std::span<const Sextant::PhysicalSpace::point> positions, const Sextant::PhysicalSpace::point& unit);

/// The same of the points with these numbers, in their order; only those must be finite. The box is that of all
/// positions that are, so that the corner and the steps are the same however many of them are packed.
PackedPoints pack(std::span<const Sextant::PhysicalSpace::point> positions, const Sextant::PhysicalSpace::point& unit,
                  std::span<const std::uint32_t> order);

bool isFinite(const Sextant::PhysicalSpace::point& position);

} // namespace corvane

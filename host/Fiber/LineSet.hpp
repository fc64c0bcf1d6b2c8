// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Bundle.hpp"
#include "Sextant/Geometry.hpp"

#include <cstdint>
#include <span>

namespace Fiber {

/// A grid whose vertices are joined by a line: positions on the vertices, and the numbers of the vertices that the line
/// runs through, one behind the other.
class LineSet {
public:
    using Positions = Holdfast::Chunk<Sextant::PhysicalSpace::point>::Values;
    using Indices = Holdfast::Chunk<std::uint32_t>::Values;

    /// Makes the grid one. Throws std::invalid_argument when an index names no vertex; then the grid is as it was.
    LineSet(const Holdfast::StrongPtr<Grid>& grid, Positions positions, Indices indices);

    /// What a grid holds of one; without vertices and indices when it is none.
    explicit LineSet(const Holdfast::StrongPtr<Grid>& grid);

    std::span<const Sextant::PhysicalSpace::point> positions() const;
    std::span<const std::uint32_t> indices() const;

private:
    Holdfast::StrongPtr<const MemArray<Sextant::PhysicalSpace::point>> positions_;
    Holdfast::StrongPtr<const MemArray<std::uint32_t>> indices_;
};

} // namespace Fiber

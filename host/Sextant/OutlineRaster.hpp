// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sextant/Outline.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Sextant {

/// An outline prepared for millions of questions, with the same answers as `Outline::contains`, bit for bit.
///
/// Rules: the bounds of the outline are divided into cells, usually 256 by 256. A cell that an edge may touch, with a
/// margin for rounding, is a boundary; any other cell is in or out as a whole. Edges are filed under strips, which are
/// as thin as pays, and found by a function that never falls when y grows, so that the edges that a point can cross are
/// among those of its strip. Two more rings of cells lie around: the inner catches the margin, the outer is out and
/// stands for everything beyond.
class OutlineRaster {
public:
    enum class Cell : std::uint8_t { Out, In, Boundary };

    /// With so many cells along each side, from 1 to 256: fewer take less time and memory to prepare, and leave more
    /// points to the edges.
    explicit OutlineRaster(const Outline& outline, std::size_t cells = MostCells);

    static constexpr std::size_t MostCells = 256;

    /// The number of the cell that a point lies in, for `cell`. Two steps, since the compiler does the first one for
    /// several points at once when it stands alone in a loop.
    std::uint32_t cellNumber(double x, double y) const {
        return row(y) * static_cast<std::uint32_t>(width_) + column(x);
    }

    /// What is known of the points of a cell without looking at edges.
    Cell cell(std::uint32_t number) const { return cells_[number]; }

    /// A point that is not a number is not inside.
    Cell at(double x, double y) const { return cell(cellNumber(x, y)); }

    /// The answer for a point in a boundary cell.
    bool containsExactly(const glm::dvec2& point) const;

    bool contains(const glm::dvec2& point) const {
        const Cell cell = at(point.x, point.y);
        return cell == Cell::Boundary ? containsExactly(point) : cell == Cell::In;
    }

    /// What holds for all points of a rectangle; Boundary where that differs or is not known.
    Cell classify(const glm::dvec2& minimum, const glm::dvec2& maximum) const;

private:
    static constexpr std::size_t Ring = 2;

    std::uint32_t column(double x) const { return clamped((x - minimum_.x) * perUnit_.x); }
    std::uint32_t row(double y) const { return clamped((y - minimum_.y) * perUnit_.y); }

    /// Cell coordinate to index; what is not a number goes to the outer ring.
    std::uint32_t clamped(double cell) const {
        const double shifted = cell + double(Ring);
        const double low = shifted > 0 ? shifted : 0;
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(low < last_ ? low : last_));
    }

    void layCellsOver(const std::vector<glm::dvec2>& points);
    void layStrips(std::size_t count);
    void fileEdges();
    void markBoundaries();
    void fillRow(std::size_t row);
    void sumBoundaries();

    /// Never falls when y grows; what is not a number goes to the first.
    std::size_t strip(double y) const {
        const double at = (y - minimum_.y) * stripsPerUnit_, last = double(strips_.size() - 1);
        const double low = at > 0 ? at : 0;
        return static_cast<std::size_t>(low < last ? low : last);
    }

    struct Strip {
        std::size_t first = 0, count = 0; // in what is filed
    };

    /// Numbers of the edges that touch a strip, ascending: edges that are near in place are near in memory.
    std::span<const std::uint32_t> filed(double y) const {
        const Strip& at = strips_[strip(y)];
        return {filed_.data() + at.first, at.count};
    }

    Outline::Rule rule_;
    std::size_t count_, width_; // cells along a side, without and with the rings
    double last_;               // cell of a side
    glm::dvec2 minimum_{0};
    glm::dvec2 perUnit_{0}; // cells
    glm::dvec2 margin_{0};  // cells
    std::vector<Cell> cells_;
    std::vector<std::uint32_t> boundariesUpTo_; // summed over all cells to the left and below, exclusive
    std::vector<OutlineEdge> edges_;
    std::vector<std::uint32_t> filed_; // strip by strip
    std::vector<Strip> strips_;
    double stripsPerUnit_ = 0;
};

} // namespace Sextant

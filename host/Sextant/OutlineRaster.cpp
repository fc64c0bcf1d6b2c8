// SPDX-License-Identifier: Apache-2.0
#include "Sextant/OutlineRaster.hpp"

#include <glm/common.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Sextant {
namespace {

/// x of the edge at height y, within its ends.
double edgeAt(const OutlineEdge& edge, double y) {
    const double t = std::clamp((y - edge.low.y) / (edge.high.y - edge.low.y), 0.0, 1.0);
    return edge.low.x + t * (edge.high.x - edge.low.x);
}

/// Beyond this the products of the exact test overflow; what is not a number is not reckoned with either.
bool canBeReckonedWith(const glm::dvec2& point) {
    constexpr double Reach = 1e150;
    return std::abs(point.x) <= Reach && std::abs(point.y) <= Reach;
}

} // namespace

OutlineRaster::OutlineRaster(const Outline& outline)
    : rule_(outline.rule()), cells_(Width * Width, Cell::Out), rows_(Width) {
    const std::vector<OutlineEdge> edges = outline.edges();
    if (!edges.empty()) {
        layCellsOver(outline.points());
        if (std::ranges::all_of(outline.points(), canBeReckonedWith) && std::max(margin_.x, margin_.y) <= 0.5) {
            fileEdges(edges);
            markBoundaries(edges);
            for (std::size_t r = Ring; r < Ring + Cells; ++r) fillRow(r);
        } else { // rounding blurs the cells: every point is tested against every edge
            std::ranges::fill(cells_, Cell::Boundary);
            std::ranges::fill(rows_, edges);
        }
    }
    sumBoundaries();
}

void OutlineRaster::layCellsOver(const std::vector<glm::dvec2>& points) {
    minimum_ = points.front();
    glm::dvec2 maximum = points.front();
    for (const glm::dvec2& p : points) {
        minimum_ = glm::min(minimum_, p);
        maximum = glm::max(maximum, p);
    }
    constexpr double SmallestExtent = 1e-290; // far from where dividing by it overflows
    perUnit_ = double(Cells) / glm::max(maximum - minimum_, glm::dvec2(SmallestExtent));
    const glm::dvec2 largest = glm::max(glm::abs(minimum_), glm::abs(maximum));
    margin_ = 1e-6 + 64 * std::numeric_limits<double>::epsilon() * largest * perUnit_;
}

void OutlineRaster::fileEdges(const std::vector<OutlineEdge>& edges) {
    for (const OutlineEdge& edge : edges)
        for (std::size_t r = row(edge.low.y), last = row(edge.high.y); r <= last; ++r) rows_[r].push_back(edge);
}

void OutlineRaster::markBoundaries(const std::vector<OutlineEdge>& edges) {
    const auto indexOf = [](double cell) { return std::clamp<std::size_t>(clamped(cell), Ring - 1, Ring + Cells); };
    for (const OutlineEdge& edge : edges) {
        const std::size_t first = indexOf((edge.low.y - minimum_.y) * perUnit_.y - margin_.y);
        const std::size_t last = indexOf((edge.high.y - minimum_.y) * perUnit_.y + margin_.y);
        for (std::size_t r = first; r <= last; ++r) {
            const double bottom = double(r) - double(Ring); // cells
            const bool level = edge.low.y == edge.high.y;
            const double xa = level ? edge.low.x : edgeAt(edge, minimum_.y + (bottom - margin_.y) / perUnit_.y);
            const double xb = level ? edge.high.x : edgeAt(edge, minimum_.y + (bottom + 1 + margin_.y) / perUnit_.y);
            const std::size_t left = indexOf((std::min(xa, xb) - minimum_.x) * perUnit_.x - margin_.x);
            const std::size_t right = indexOf((std::max(xa, xb) - minimum_.x) * perUnit_.x + margin_.x);
            std::fill_n(&cells_[r * Width + left], right - left + 1, Cell::Boundary);
        }
    }
}

/// A cell that no edge touches is in or out as its middle is: counts the edges left of it along the middle of the row.
void OutlineRaster::fillRow(std::size_t r) {
    const double y = minimum_.y + (double(r - Ring) + 0.5) / perUnit_.y;
    std::vector<std::pair<double, int>> crossings; // cells and turns
    for (const OutlineEdge& edge : rows_[r])
        if (edge.low.y <= y && y < edge.high.y)
            crossings.emplace_back((edgeAt(edge, y) - minimum_.x) * perUnit_.x + double(Ring), edge.turn);
    std::sort(crossings.begin(), crossings.end());
    auto next = crossings.begin();
    int turns = 0;
    for (std::size_t c = Ring; c < Ring + Cells; ++c) {
        for (; next != crossings.end() && next->first < double(c) + 0.5; ++next) turns += next->second;
        Cell& cell = cells_[r * Width + c];
        if (cell != Cell::Boundary && Outline::encloses(rule_, turns)) cell = Cell::In;
    }
}

void OutlineRaster::sumBoundaries() {
    constexpr std::size_t W = Width + 1;
    boundariesUpTo_.assign(W * W, 0);
    for (std::size_t r = 0; r < Width; ++r)
        for (std::size_t c = 0; c < Width; ++c)
            boundariesUpTo_[(r + 1) * W + c + 1] = boundariesUpTo_[r * W + c + 1] + boundariesUpTo_[(r + 1) * W + c] -
                                                   boundariesUpTo_[r * W + c] +
                                                   (cells_[r * Width + c] == Cell::Boundary);
}

bool OutlineRaster::containsExactly(const glm::dvec2& point) const {
    int turns = 0;
    for (const OutlineEdge& edge : rows_[row(point.y)]) turns += edge.crossedBy(point) ? edge.turn : 0;
    return Outline::encloses(rule_, turns);
}

OutlineRaster::Cell OutlineRaster::classify(const glm::dvec2& minimum, const glm::dvec2& maximum) const {
    constexpr std::size_t W = Width + 1;
    const std::size_t left = column(minimum.x), right = column(maximum.x) + 1;
    const std::size_t bottom = row(minimum.y), top = row(maximum.y) + 1;
    const std::uint32_t boundaries = boundariesUpTo_[top * W + right] - boundariesUpTo_[bottom * W + right] -
                                     boundariesUpTo_[top * W + left] + boundariesUpTo_[bottom * W + left];
    // Without a boundary between them all cells are alike.
    return boundaries > 0 ? Cell::Boundary : cells_[bottom * Width + left];
}

} // namespace Sextant

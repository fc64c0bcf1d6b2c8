// SPDX-License-Identifier: Apache-2.0
#include "Sextant/OutlineRaster.hpp"

#include <glm/common.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

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

/// Thinner strips hold fewer edges, and edges lie in more of them: so many that what is filed is up to three times the
/// edges, which is about as few in each as there can be.
std::size_t stripsFor(const std::vector<OutlineEdge>& edges, double height, std::size_t fewest) {
    constexpr double Most = 65536;
    double edgesPerLevel = 0;
    for (const OutlineEdge& edge : edges) edgesPerLevel += (edge.high.y - edge.low.y) / height;
    return static_cast<std::size_t>(
        std::clamp(2 * double(edges.size()) / std::max(edgesPerLevel, 1.0), double(fewest), Most));
}

} // namespace

OutlineRaster::OutlineRaster(const Outline& outline, std::size_t cells)
    : rule_(outline.rule()),
      count_(std::clamp(cells, std::size_t{1}, MostCells)),
      width_(count_ + 2 * Ring),
      last_(double(width_ - 1)),
      cells_(width_ * width_, Cell::Out),
      edges_(outline.edges()),
      strips_(1) {
    if (!edges_.empty()) {
        layCellsOver(outline.points());
        if (std::ranges::all_of(outline.points(), canBeReckonedWith) && std::max(margin_.x, margin_.y) <= 0.5) {
            layStrips(stripsFor(edges_, double(count_) / perUnit_.y, count_));
            fileEdges();
            markBoundaries();
            for (std::size_t r = Ring; r < Ring + count_; ++r) fillRow(r);
        } else { // rounding blurs the cells: every point is tested against every edge
            std::ranges::fill(cells_, Cell::Boundary);
            fileEdges();
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
    perUnit_ = double(count_) / glm::max(maximum - minimum_, glm::dvec2(SmallestExtent));
    const glm::dvec2 largest = glm::max(glm::abs(minimum_), glm::abs(maximum));
    margin_ = 1e-6 + 64 * std::numeric_limits<double>::epsilon() * largest * perUnit_;
}

void OutlineRaster::layStrips(std::size_t count) {
    strips_.resize(count);
    stripsPerUnit_ = perUnit_.y * (double(count) / double(count_));
}

/// Counted first, so that nothing grows.
void OutlineRaster::fileEdges() {
    const auto eachStrip = [this](const OutlineEdge& edge, auto file) {
        for (std::size_t s = strip(edge.low.y), last = strip(edge.high.y); s <= last; ++s) file(strips_[s]);
    };
    for (const OutlineEdge& edge : edges_) eachStrip(edge, [](Strip& at) { ++at.count; });
    std::size_t all = 0;
    for (Strip& at : strips_) {
        at.first = all;
        all += std::exchange(at.count, 0);
    }
    filed_.resize(all);
    for (std::uint32_t i = 0; i < edges_.size(); ++i)
        eachStrip(edges_[i], [&](Strip& at) { filed_[at.first + at.count++] = i; });
}

void OutlineRaster::markBoundaries() {
    const auto indexOf = [this](double cell) {
        return std::clamp<std::size_t>(clamped(cell), Ring - 1, Ring + count_);
    };
    for (const OutlineEdge& edge : edges_) {
        const std::size_t first = indexOf((edge.low.y - minimum_.y) * perUnit_.y - margin_.y);
        const std::size_t last = indexOf((edge.high.y - minimum_.y) * perUnit_.y + margin_.y);
        for (std::size_t r = first; r <= last; ++r) {
            const double bottom = double(r) - double(Ring); // cells
            const bool level = edge.low.y == edge.high.y;
            const double xa = level ? edge.low.x : edgeAt(edge, minimum_.y + (bottom - margin_.y) / perUnit_.y);
            const double xb = level ? edge.high.x : edgeAt(edge, minimum_.y + (bottom + 1 + margin_.y) / perUnit_.y);
            const std::size_t left = indexOf((std::min(xa, xb) - minimum_.x) * perUnit_.x - margin_.x);
            const std::size_t right = indexOf((std::max(xa, xb) - minimum_.x) * perUnit_.x + margin_.x);
            std::fill_n(&cells_[r * width_ + left], right - left + 1, Cell::Boundary);
        }
    }
}

/// A cell that no edge touches is in or out as its middle is: counts the edges left of it along the middle of the row.
void OutlineRaster::fillRow(std::size_t r) {
    const double y = minimum_.y + (double(r - Ring) + 0.5) / perUnit_.y;
    std::vector<std::pair<double, int>> crossings; // cells and turns
    for (const std::uint32_t i : filed(y))
        if (const OutlineEdge& edge = edges_[i]; edge.low.y <= y && y < edge.high.y)
            crossings.emplace_back((edgeAt(edge, y) - minimum_.x) * perUnit_.x + double(Ring), edge.turn);
    std::sort(crossings.begin(), crossings.end());
    auto next = crossings.begin();
    int turns = 0;
    for (std::size_t c = Ring; c < Ring + count_; ++c) {
        for (; next != crossings.end() && next->first < double(c) + 0.5; ++next) turns += next->second;
        Cell& cell = cells_[r * width_ + c];
        if (cell != Cell::Boundary && Outline::encloses(rule_, turns)) cell = Cell::In;
    }
}

void OutlineRaster::sumBoundaries() {
    const std::size_t W = width_ + 1;
    boundariesUpTo_.assign(W * W, 0);
    for (std::size_t r = 0; r < width_; ++r)
        for (std::size_t c = 0; c < width_; ++c)
            boundariesUpTo_[(r + 1) * W + c + 1] = boundariesUpTo_[r * W + c + 1] + boundariesUpTo_[(r + 1) * W + c] -
                                                   boundariesUpTo_[r * W + c] +
                                                   (cells_[r * width_ + c] == Cell::Boundary);
}

bool OutlineRaster::containsExactly(const glm::dvec2& point) const {
    int turns = 0;
    for (const std::uint32_t i : filed(point.y)) turns += edges_[i].crossedBy(point) ? edges_[i].turn : 0;
    return Outline::encloses(rule_, turns);
}

OutlineRaster::Cell OutlineRaster::classify(const glm::dvec2& minimum, const glm::dvec2& maximum) const {
    const std::size_t W = width_ + 1;
    const std::size_t left = column(minimum.x), right = column(maximum.x) + 1;
    const std::size_t bottom = row(minimum.y), top = row(maximum.y) + 1;
    const std::uint32_t boundaries = boundariesUpTo_[top * W + right] - boundariesUpTo_[bottom * W + right] -
                                     boundariesUpTo_[top * W + left] + boundariesUpTo_[bottom * W + left];
    // Without a boundary between them all cells are alike.
    return boundaries > 0 ? Cell::Boundary : cells_[bottom * width_ + left];
}

} // namespace Sextant

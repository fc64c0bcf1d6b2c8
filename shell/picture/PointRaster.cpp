// SPDX-License-Identifier: Apache-2.0
#include "picture/PointRaster.hpp"

#include "picture/ProjectBlock.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <thread>

namespace corvane {
namespace {

constexpr std::size_t MostPixels = std::size_t{1} << 30;

/// One row of the view's matrix, so that it takes steps from the corner of the points.
std::array<double, 4> rowFor(const Sextant::View& view, const PackedPoints& points, int row) {
    const glm::dmat4& matrix = view.matrix();
    const glm::dvec3 corner = points.box.minimum - view.origin();
    std::array<double, 4> result{};
    result[3] = matrix[3][row];
    for (int axis = 0; axis < 3; ++axis) {
        result[static_cast<std::size_t>(axis)] = matrix[axis][row] * points.step[axis];
        result[3] += matrix[axis][row] * corner[axis];
    }
    return result;
}

std::array<float, 4> single(const std::array<double, 4>& row) {
    std::array<float, 4> result{};
    std::ranges::transform(row, result.begin(), [](double value) { return static_cast<float>(value); });
    return result;
}

ToPixels toPixels(const Screen& screen, const PackedPoints& points) {
    const auto across = rowFor(screen.view, points, 0), up = rowFor(screen.view, points, 1),
               distance = rowFor(screen.view, points, 3);
    const glm::dvec2 perUnit = glm::dvec2(screen.width, screen.height) / (screen.maximum - screen.minimum);
    std::array<double, 4> column{}, row{};
    for (std::size_t i = 0; i < column.size(); ++i) {
        const double w = screen.view.affine() ? (i == 3 ? 1 : 0) : distance[i];
        column[i] = (across[i] - screen.minimum.x * w) * perUnit.x;
        row[i] = (screen.maximum.y * w - up[i]) * perUnit.y;
    }
    return {single(column),
            single(row),
            single(rowFor(screen.view, points, 2)),
            single(distance),
            static_cast<float>(screen.width),
            static_cast<float>(screen.height),
            static_cast<std::int32_t>(screen.pixels())};
}

bool misses(const Screen& screen, const Sextant::BoundingBox& box) {
    const Sextant::ScreenBox seen = projectBox(screen.view, box);
    return seen.bounded && (seen.maximum.x < screen.minimum.x || seen.minimum.x > screen.maximum.x ||
                            seen.maximum.y < screen.minimum.y || seen.minimum.y > screen.maximum.y ||
                            seen.maximum.z < -1 || seen.minimum.z > 1);
}

/// `markAt(i)` is what point i leaves in its pixel. Returns how many are not in the picture.
template <bool Affine, class MarkAt>
std::uint64_t drawAll(const PackedPoints& packed, const ToPixels& to, std::vector<Pixel>& pixels, MarkAt markAt) {
    std::array<std::int32_t, BlockPoints> places;
    std::array<std::uint32_t, BlockPoints> depths;
    std::uint64_t outside = 0;
    for (std::size_t first = 0; first < packed.points.size(); first += BlockPoints) {
        const std::size_t count = std::min(BlockPoints, packed.points.size() - first);
        projectBlock<Affine>(packed.points.data() + first, count, to, places.data(), depths.data());
        outside +=
            static_cast<std::uint64_t>(std::count(places.begin(), places.begin() + std::ptrdiff_t(count), to.nowhere));
        for (std::size_t i = 0; i < count; ++i) {
            const Pixel found = Pixel{depths[i]} << 32 | markAt(first + i);
            Pixel& pixel = pixels[static_cast<std::size_t>(places[i])];
            pixel = std::min(pixel, found);
        }
    }
    return outside;
}

} // namespace

float depthOf(Pixel pixel) { return depthOfOrdered(static_cast<std::uint32_t>(pixel >> 32)); }

PointRaster::PointRaster(const Screen& screen) : screen_(screen) {
    const glm::dvec2 extent = screen.maximum - screen.minimum;
    const bool sane = screen.width > 0 && screen.height > 0 && screen.pixels() <= MostPixels && extent.x > 0 &&
                      extent.y > 0 && std::isfinite(extent.x) && std::isfinite(extent.y);
    if (!sane) throw std::invalid_argument("a picture has pixels, 2^30 at most, and shows a part of the screen");
    pixels_.assign(screen.pixels() + 1, NoPoint);
}

void PointRaster::draw(const DrawnPoints& points) {
    const std::vector<std::uint64_t>& packed = points.packed.points;
    if (packed.empty()) return;
    if (!points.marks.empty() && points.marks.size() != packed.size())
        throw std::invalid_argument("there is a mark for each point, or none");
    if (points.marks.empty() && packed.size() - 1 > std::numeric_limits<std::uint32_t>::max() - points.first)
        throw std::length_error("points of a picture are numbered with 32 bits");
    if (misses(screen_, points.packed.box)) {
        outside_ += packed.size();
        return;
    }
    const ToPixels to = toPixels(screen_, points.packed);
    const auto drawWith = [&](auto markAt) {
        outside_ += screen_.view.affine() ? drawAll<true>(points.packed, to, pixels_, markAt)
                                          : drawAll<false>(points.packed, to, pixels_, markAt);
    };
    if (points.marks.empty())
        drawWith([first = points.first](std::size_t i) { return static_cast<std::uint32_t>(first + i); });
    else
        drawWith([marks = points.marks.data()](std::size_t i) { return marks[i]; });
}

void PointRaster::merge(const PointRaster& other) {
    if (other.pixels_.size() != pixels_.size()) throw std::invalid_argument("only pictures of one size can be merged");
    for (std::size_t i = 0; i < pixels_.size(); ++i) pixels_[i] = std::min(pixels_[i], other.pixels_[i]);
    outside_ += other.outside_;
}

PointRaster drawPoints(const Screen& screen, std::span<const DrawnPoints> points, unsigned threads) {
    std::vector<PointRaster> rasters(std::max(threads, 1u), PointRaster(screen));
    std::vector<std::exception_ptr> failures(rasters.size());
    std::atomic<std::size_t> next = 0;
    const auto work = [&](std::size_t own) {
        try {
            for (std::size_t i = next++; i < points.size(); i = next++) rasters[own].draw(points[i]);
        } catch (...) {
            failures[own] = std::current_exception();
        }
    };
    {
        std::vector<std::jthread> others;
        for (std::size_t i = 1; i < rasters.size(); ++i) others.emplace_back(work, i);
        work(0);
    }
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
    for (std::size_t i = 1; i < rasters.size(); ++i) rasters.front().merge(rasters[i]);
    return std::move(rasters.front());
}

} // namespace corvane

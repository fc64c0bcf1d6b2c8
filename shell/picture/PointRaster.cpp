// SPDX-License-Identifier: Apache-2.0
#include "picture/PointRaster.hpp"

#include "picture/Projector.hpp"
#include "picture/ScreenPlace.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <thread>

namespace corvane {
namespace {

constexpr std::size_t MostPixels = std::size_t{1} << 30;

/// `markAt(i)` is what point i leaves in its pixel. Returns how many are not in the picture.
template <class MarkAt>
std::uint64_t drawAll(const PackedPoints& packed, Projector project, const ToPixels& to, std::vector<Pixel>& pixels,
                      MarkAt markAt) {
    std::array<std::int32_t, BlockPoints> places;
    std::array<std::uint32_t, BlockPoints> depths;
    std::uint64_t outside = 0;
    for (std::size_t first = 0; first < packed.points.size(); first += BlockPoints) {
        const std::size_t count = std::min(BlockPoints, packed.points.size() - first);
        project(packed.points.data() + first, count, to, places.data(), depths.data());
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

void requireSane(const Screen& screen) {
    const glm::dvec2 extent = screen.maximum - screen.minimum;
    const bool sane = screen.width > 0 && screen.height > 0 && screen.pixels() <= MostPixels && extent.x > 0 &&
                      extent.y > 0 && std::isfinite(extent.x) && std::isfinite(extent.y);
    if (!sane) throw std::invalid_argument("a picture has pixels, 2^30 at most, and shows a part of the screen");
}

PointRaster::PointRaster(const Screen& screen) : screen_(screen) {
    requireSane(screen);
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
        outside_ += drawAll(points.packed, projector(screen_.view.affine()), to, pixels_, markAt);
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

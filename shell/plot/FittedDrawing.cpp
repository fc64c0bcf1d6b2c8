// SPDX-License-Identifier: Apache-2.0
#include "plot/FittedDrawing.hpp"

#include <algorithm>
#include <tuple>

namespace corvane {
namespace {

/// One axis of an extent. `values` is left in another order.
std::pair<double, double> rangeOf(std::vector<double>& values) {
    const std::size_t cut = values.size() / 1000;
    const auto [low, high] = std::ranges::minmax(values);
    const auto nth = [&](std::size_t n) {
        std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(n));
        return values[n];
    };
    const double usualLow = nth(cut), usualHigh = nth(values.size() - 1 - cut);
    const double far = (usualHigh - usualLow) / 2, margin = (usualHigh - usualLow) / 20;
    return {low < usualLow - far ? usualLow - margin : low, high > usualHigh + far ? usualHigh + margin : high};
}

/// Whether points at `actual` are shown well by a picture of `guess`.
bool suits(const Extent& guess, const Extent& actual) {
    constexpr double most = 0.005, least = 0.9; // of the sides
    for (int axis = 0; axis < 2; ++axis) {
        const double side = guess.size()[axis];
        if (actual.minimum[axis] < guess.minimum[axis] - most * side) return false;
        if (actual.maximum[axis] > guess.maximum[axis] + most * side) return false;
        if (actual.size()[axis] < least * side) return false;
    }
    return true;
}

class Drawer {
public:
    Drawer(const Screen& screen, std::size_t memory)
        : drawing_{PointRaster(screen), PointRaster(screen)}, memory_(memory) {}

    void take(PicturePoints points) {
        draw(points);
        for (const glm::dvec2& place : points.sample) sample(place);
        keep(std::move(points));
    }

    Extent extent() const { return extentOf(sample_); }
    bool empty() const { return sample_.empty(); }

    /// Draws on another screen: what was kept, or what is fed again.
    Drawing again(const Screen& screen, const Feed& feed) {
        drawing_ = {PointRaster(screen), PointRaster(screen)};
        if (!keeping_)
            feed([&](const PicturePoints& points) { draw(points); });
        else
            for (const PicturePoints& points : kept_) draw(points);
        return finished();
    }

    Drawing finished() {
        drawing_.outside = drawing_.all.outside();
        return std::move(drawing_);
    }

private:
    void draw(const PicturePoints& points) {
        drawing_.all.draw({points.all.packed, points.all.marks});
        drawing_.changed.draw({points.changed.packed, points.changed.marks});
        drawing_.points += points.all.marks.size();
        drawing_.changedPoints += points.changed.marks.size();
    }

    /// When there are many, every second one goes, and of those that come as many stay.
    void sample(const glm::dvec2& place) {
        constexpr std::size_t most = std::size_t{1} << 20;
        if (seen_++ % every_ == 0) sample_.push_back(place);
        if (sample_.size() < most) return;
        for (std::size_t i = 0; i < most / 2; ++i) sample_[i] = sample_[2 * i];
        sample_.resize(most / 2);
        every_ *= 2;
    }

    void keep(PicturePoints points) {
        bytes_ += points.all.bytes() + points.changed.bytes();
        keeping_ = keeping_ && bytes_ <= memory_;
        if (keeping_)
            kept_.push_back(std::move(points));
        else
            kept_ = {};
    }

    Drawing drawing_;
    std::size_t memory_, bytes_ = 0;
    bool keeping_ = true;
    std::vector<PicturePoints> kept_;
    std::vector<glm::dvec2> sample_; // every so many of what was seen
    std::uint64_t seen_ = 0, every_ = 1;
};

} // namespace

Extent extentOf(std::vector<glm::dvec2> sample) {
    Extent extent;
    if (sample.empty()) return extent;
    std::vector<double> values(sample.size());
    for (int axis = 0; axis < 2; ++axis) {
        std::ranges::transform(sample, values.begin(), [axis](const glm::dvec2& place) { return place[axis]; });
        std::tie(extent.minimum[axis], extent.maximum[axis]) = rangeOf(values);
    }
    return extent;
}

Drawing drawFitting(const Feed& feed, const Extent& guess, const Fit& fit, std::size_t memory) {
    Drawer drawer(fit(guess), memory);
    feed([&](PicturePoints points) { drawer.take(std::move(points)); });
    if (drawer.empty()) return drawer.finished();
    const Extent actual = drawer.extent();
    return suits(guess, actual) ? drawer.finished() : drawer.again(fit(actual), feed);
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "render/Extents.hpp"

#include <algorithm>
#include <cmath>

namespace corvane {
namespace {

using Point = Sextant::PhysicalSpace::point;
using Range = std::pair<double, double>;

constexpr std::size_t SampleSize = 50'000; // of which a thousandth is enough to be left out at either end

/// Without a share of the numbers at either end. They must be finite, and are put into another order.
std::optional<Range> rangeOf(std::vector<double>& numbers, double share) {
    if (numbers.empty()) return std::nullopt;
    const auto cut = static_cast<std::ptrdiff_t>(share * double(numbers.size() - 1));
    std::ranges::nth_element(numbers, numbers.begin() + cut);
    const double low = numbers[std::size_t(cut)];
    std::ranges::nth_element(numbers, numbers.end() - 1 - cut);
    return Range{low, numbers[numbers.size() - 1 - std::size_t(cut)]};
}

/// Calls `use(fragment, i)` for an even sample of all points.
template <class Use>
void forSample(const DrawnFragments& fragments, Use use) {
    std::uint64_t total = 0;
    for (const auto& fragment : fragments) total += fragment->total;
    const double part = std::min(1.0, double(SampleSize) / double(std::max<std::uint64_t>(total, 1)));
    for (const auto& fragment : fragments) {
        const auto wanted = static_cast<std::size_t>(std::ceil(part * double(fragment->total)));
        const std::size_t count = std::min(wanted, fragment->drawable());
        for (std::size_t i = 0; i < count; ++i) use(*fragment, i);
    }
}

double valueAt(const DrawnColumn& column, std::size_t i) {
    return column.offset + std::visit([&](const auto& values) { return double(values[i]); }, column.values);
}

/// A range that has an extent, as wide as the others are. Heights do not count beside degrees.
void widen(Sextant::BoundingBox& box) {
    const glm::dvec3 size = box.maximum - box.minimum;
    const double wide = std::max(size.x, size.y), all = std::max({wide, size.z, 1.0});
    const glm::dvec3 least = glm::dvec3(wide > 0 ? wide : all, wide > 0 ? wide : all, all) * 1e-3;
    // A number of millions has few digits behind its point.
    for (int axis = 0; axis < 3; ++axis)
        if (const double half = std::max(least[axis], std::abs(box.minimum[axis]) * 1e-12); size[axis] < 2 * half) {
            const double middle = box.minimum[axis] / 2 + box.maximum[axis] / 2;
            box.minimum[axis] = middle - half;
            box.maximum[axis] = middle + half;
        }
}

} // namespace

Sextant::BoundingBox boxToShow(std::span<const Point> sample) {
    constexpr double share = 1e-3;
    Sextant::BoundingBox box({0, 0, 0}, {0, 0, 0});
    for (int axis = 0; axis < 3; ++axis) {
        std::vector<double> numbers;
        for (const Point& point : sample)
            if (std::isfinite(point[axis])) numbers.push_back(point[axis]);
        if (const auto range = rangeOf(numbers, share)) {
            box.minimum[axis] = range->first;
            box.maximum[axis] = range->second;
        }
    }
    widen(box);
    return box;
}

Sextant::BoundingBox boxToShow(const DrawnFragments& fragments) {
    std::vector<Point> sample;
    forSample(fragments,
              [&](const DrawnFragment& fragment, std::size_t i) { sample.push_back(fragment.packed->position(i)); });
    return boxToShow(sample);
}

std::optional<Range> heightRange(const DrawnFragments& fragments, double share) {
    std::vector<double> heights;
    forSample(fragments,
              [&](const DrawnFragment& fragment, std::size_t i) { heights.push_back(fragment.packed->position(i).z); });
    auto range = rangeOf(heights, share);
    if (range && !(range->second > range->first)) range->second = range->first + 1;
    return range;
}

std::optional<Range> columnRange(const DrawnFragments& fragments, const std::string& name, double share) {
    std::vector<double> numbers;
    forSample(fragments, [&](const DrawnFragment& fragment, std::size_t i) {
        const DrawnColumn* const column = fragment.column(name);
        if (!column) return;
        if (const double number = valueAt(*column, i); std::isfinite(number)) numbers.push_back(number);
    });
    auto range = rangeOf(numbers, share);
    if (range && !(range->second > range->first)) range->second = range->first + 1;
    return range;
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "render/MemoryPlan.hpp"

#include <algorithm>
#include <cmath>

namespace corvane {

std::vector<std::size_t> pointsWithin(std::size_t memoryBytes, std::span<const PlannedFragment> fragments) {
    double shown = 0, others = 0; // bytes
    for (const PlannedFragment& fragment : fragments)
        (fragment.shown ? shown : others) += fragment.bytes * double(fragment.points);
    const double memory = double(memoryBytes), all = shown + others;
    double shownShare = 1, otherShare = 1;
    if (all > memory) {
        otherShare = shown > 0 ? memory / all / 2 : memory / all;
        if (shown > 0) shownShare = std::min((memory - otherShare * others) / shown, 1.0);
        if (others > 0) otherShare = std::clamp((memory - shownShare * shown) / others, otherShare, 1.0);
    }
    std::vector<std::size_t> kept;
    for (const PlannedFragment& fragment : fragments) {
        const double share = fragment.shown ? shownShare : otherShare;
        const auto points = static_cast<std::size_t>(share * double(fragment.points));
        kept.push_back(std::clamp<std::size_t>(points, std::min<std::size_t>(fragment.points, 1), fragment.points));
    }
    return kept;
}

std::size_t numberedOf(std::size_t points, std::uint64_t all) {
    constexpr double numbers = 4e9;
    if (double(all) <= numbers || points == 0) return points;
    return std::max<std::size_t>(static_cast<std::size_t>(double(points) * (numbers / double(all))), 1);
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace corvane {

/// A fragment that points are to be kept of.
struct PlannedFragment {
    std::size_t points = 0;
    double bytes = 0;  ///< for a point
    bool shown = true; ///< by a view
};

/// How many points to keep of each for all of them to fit: all, or an equal share of each. What views show may have
/// more, and then the others have half of that share at least. One point of each fragment is kept in any case.
std::vector<std::size_t> pointsWithin(std::size_t memoryBytes, std::span<const PlannedFragment> fragments);

/// How many points of a fragment may have numbers in a picture, so that those of all fragments, which have so many
/// points together, and a sample stay below 2^32.
std::size_t numberedOf(std::size_t points, std::uint64_t all);

} // namespace corvane

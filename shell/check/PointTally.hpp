// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Limit.hpp"
#include "base/Watch.hpp"
#include "las/LasFile.hpp"

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// How many points are of a kind, and which is the first of them.
struct Occurrence {
    std::uint64_t count = 0, first = 0;

    void add(std::uint64_t point) {
        if (count++ == 0) first = point;
    }
    Occurrence& operator+=(const Occurrence& other);
};

/// Smallest and largest stored coordinates, in units of the header's scale.
struct StoredBox {
    std::array<std::int32_t, 3> low = filled(std::numeric_limits<std::int32_t>::max());
    std::array<std::int32_t, 3> high = filled(std::numeric_limits<std::int32_t>::min());

    static constexpr std::array<std::int32_t, 3> filled(std::int32_t value) { return {value, value, value}; }
};

struct HeightRange {
    std::int32_t low = 0, high = 0; ///< as stored
};

/// Heights of every n-th point that is added. When there are `Most` of them, n doubles and every second one goes, so it
/// takes little memory for any survey and is exact for small ones.
class HeightSample {
public:
    void add(std::int32_t height) {
        if ((seen_++ & (every_ - 1)) == 0) keep(height);
    }

    /// The range without the lowest and the highest hundredth; none without heights.
    std::optional<HeightRange> middle() const;

private:
    static constexpr std::size_t Most = 1 << 16;
    void keep(std::int32_t height);

    std::vector<std::int32_t> heights_;
    std::uint64_t seen_ = 0, every_ = 1; // every_ is a power of two
};

/// A dimension of extra bytes that by its name may hold the whole of classes which five bits cannot.
struct WideClasses {
    Dimension dimension;
    Occurrence squeezed;     ///< above 31, and the point's class is what five bits keep of it
    std::uint64_t other = 0; ///< above 31, and the point's class is another
};

/// What the rules need to know of all points, from one reading of them.
struct PointTally {
    enum Flag : unsigned { Synthetic = 1, KeyPoint = 2, Withheld = 4 };
    static constexpr unsigned Classes = 256, FlagSets = 8;

    std::array<Occurrence, Classes * FlagSets> kinds{}; ///< by class, then in steps of `Classes` by flags
    std::array<Occurrence, 16> byReturn{};
    StoredBox box;
    Occurrence outside; ///< of the header's bounds, by more than the tolerance
    HeightSample ground;
    std::vector<WideClasses> wideClasses; ///< in point formats 0 to 5

    const Occurrence& exactly(int value, unsigned flags) const {
        return kinds[static_cast<unsigned>(value) + flags * Classes];
    }
    /// The points of the class that have at least these flags.
    Occurrence of(int value, unsigned flags = 0) const;
};

constexpr int GroundClass = 2;

/// The header's bounds along an axis as stored coordinates, the smaller first.
std::array<double, 2> storedBounds(const LasHeader& header, std::size_t axis);

/// How far from the header's bounds points may lie: a unit, and a little for the rounding of the division.
constexpr double BoundsTolerance = 1.01;

/// `limit`: what the points must meet; null: all count.
PointTally tallyPoints(const LasFile& las, const Watch& watch, const Kesh::LimitPtr& limit = nullptr);

/// The points of these classes whose height is in the range.
Occurrence countInRange(const LasFile& las, const std::vector<int>& classes, const HeightRange& range,
                        const Watch& watch, const Kesh::LimitPtr& limit = nullptr);

/// The points of a COPC that lie outside the cube of their node, by more than the tolerance.
Occurrence countOutsideNodes(const LasFile& las, const Watch& watch, const Kesh::LimitPtr& limit = nullptr);

} // namespace corvane

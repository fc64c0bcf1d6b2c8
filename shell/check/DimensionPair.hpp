// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/RecordStream.hpp"
#include "las/LasDimensions.hpp"

#include <string>

namespace corvane {

/// Where the values of a dimension differ.
struct DimensionDifference {
    std::string name;
    std::uint64_t points = 0;
    std::uint64_t first = 0;   ///< index of the first of them
    std::string before, after; ///< its values
    double largestMove = 0;    ///< of values that stand for other numbers since scale or offset changed
};

/// A dimension that two surveys have, and how it differs so far. Stored bits are compared where both store it alike;
/// numbers otherwise, those that are scaled up to the rounding of their computation.
class DimensionPair {
public:
    DimensionPair(Dimension before, Dimension after);

    void compare(const RecordPairs& pairs);

    /// Whether it lies in bits of the record that are set in `mask`; for surveys of the same layout.
    bool touches(std::span<const std::byte> mask) const;

    const DimensionDifference& difference() const { return difference_; }

private:
    template <class Unsigned>
    void compareStored(const RecordPairs& pairs);
    void compareNumbers(const RecordPairs& pairs);
    bool sameNumber(double before, double after) const;
    void note(const RecordPairs& pairs, std::size_t pair);

    Dimension before_, after_;
    bool storedAlike_;
    bool scaled_;
    DimensionDifference difference_;
};

} // namespace corvane

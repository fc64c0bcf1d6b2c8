// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/VValue.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace Kesh {

/// How often each value of a field occurs in some region, and minimum, maximum and sum of a second quantity per value,
/// if one was asked for and could be had. The lists run parallel to the occurring values, which are in ascending order.
struct VHistogram {
    Holdfast::StrongPtr<Holdfast::ChunkBase> values; ///< of the field's type, 8 or 16 bits; empty: nothing was counted
    std::vector<std::uint64_t> counts;
    std::vector<double> minimum; ///< these three empty without a second quantity
    std::vector<double> maximum;
    std::vector<double> sum;
    std::string secondaryName; ///< of the quantity that the three summarise
    std::string region;        ///< what was counted, for people
    std::string title;         ///< the kind of region
    bool complete = false;     ///< nothing is missing that belongs to the region

    std::uint64_t fragments = 0;        ///< with points that were counted, when a second quantity was asked for
    std::uint64_t withoutSecondary = 0; ///< those of them that had none: the three leave their points out
    bool outOfDate = false;             ///< the data changed since they were counted

    /// Sets the values, of a type that must be unsigned, of 8 or 16 bits.
    void setValues(const std::type_info& type, const std::vector<std::uint32_t>& occurring);

    std::size_t size() const { return counts.size(); }

    /// Value number `i` of those that occur.
    std::uint32_t value(std::size_t i) const;

    bool hasStatistics() const { return !sum.empty(); }
    double mean(std::size_t i) const { return sum[i] / double(counts[i]); }

    /// Whether something was counted, be it no points, and the lists fit together.
    bool isConsistent() const;

    /// All points that were counted.
    std::uint64_t total() const;

    /// Whether both say the same of the region, be it out of date or not.
    bool sameContentAs(const VHistogram& other) const;
    bool operator==(const VHistogram& other) const { return sameContentAs(other); }
};

/// The text form is JSON: title, region, complete, outOfDate, total, secondary, and for each occurring value its
/// count, minimum, maximum and mean (null where there are none). It cannot be set from text.
KESH_VALUE_TYPE(VHistogram)

} // namespace Kesh

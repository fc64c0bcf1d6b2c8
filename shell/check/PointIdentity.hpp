// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasFile.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace corvane {

/// What tells a point from the others whatever was edited, as a hash that two surveys have in common: the coordinates
/// in units of the coarser scale of the two, the return number, and the time where both have it.
class PointIdentity {
public:
    /// Of the points of `survey`, to be compared with those of `other`.
    PointIdentity(const LasFile& survey, const LasFile& other);

    /// One hash for each record.
    void hash(std::span<const std::byte> records, std::span<std::uint64_t> hashes) const;

    /// Whether a dimension is part of it.
    static bool uses(const std::string& dimension);

private:
    struct Part {
        Dimension dimension;
        double unit = 0; ///< values are counted in it from `origin`; 0: taken as they are
        double origin = 0;
    };
    static Part coordinate(const LasFile& survey, const LasFile& other, std::size_t axis);

    std::size_t stride_;
    std::vector<Part> parts_;
};

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/ChangeClusters.hpp"
#include "check/Transitions.hpp"
#include "las/LasFile.hpp"

#include <cstddef>
#include <cstdint>
#include <map>

namespace corvane {

/// Points of two surveys that were found in each other by what tells them apart (PointIdentity), whatever their order.
struct IdentityMatch {
    Transitions transitions;   ///< of the points that were found
    std::uint64_t matched = 0; ///< points that each survey has once, or as often and with the same values
    std::uint64_t alike = 0;   ///< other points of the earlier survey that cannot be told apart
    std::uint64_t onlyBefore = 0, onlyAfter = 0;          ///< without a partner
    std::map<std::uint16_t, std::uint64_t> before, after; ///< points by value, of all

    /// Whether every point of both was found.
    bool whole() const { return alike == 0 && onlyBefore == 0 && onlyAfter == 0; }
};

/// Compares the values of one dimension of unsigned integers of 8 or 16 bits. Reads both surveys as often as it takes
/// for what is held at a time to fit into `memory` bytes. What changed goes to `clusters`, if there are any.
IdentityMatch matchByIdentity(const LasFile& before, const Dimension& fieldBefore, const LasFile& after,
                              const Dimension& fieldAfter, std::size_t memory, const Watch& watch,
                              ChangeClusters* clusters = nullptr);

} // namespace corvane

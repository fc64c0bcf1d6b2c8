// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Limit.hpp"
#include "base/Watch.hpp"
#include "las/LasFile.hpp"

#include <array>
#include <cstdint>
#include <functional>
#include <span>

namespace corvane {

/// What rules look at in a point.
struct PointFacts {
    std::uint64_t index = 0; ///< in the file, from 0
    std::span<const std::byte> record;
    std::array<std::int32_t, 3> stored{}; ///< coordinates in units of the header's scale
    unsigned value = 0;                   ///< class
    unsigned flags = 0;                   ///< of PointTally::Flag
    unsigned returnNumber = 0;
};

/// Which points a finding is about.
using PointTest = std::function<bool(const PointFacts&)>;

/// Calls `use` with the points of the survey that meet the limit, if there is one, one after the other.
void visitPoints(const LasFile& las, const Kesh::LimitPtr& limit, const Watch& watch,
                 const std::function<void(const PointFacts&)>& use);

/// Whether a point of a COPC lies outside the cube of its node, by more than the tolerance.
PointTest outsideItsNode(const LasFile& las);

} // namespace corvane

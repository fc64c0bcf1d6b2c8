// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/OutputFile.hpp"
#include "base/Watch.hpp"
#include "las/LasFile.hpp"

#include <cstddef>
#include <cstdint>

namespace corvane {

/// How large the parts of an octree file become; the usual values fit every survey.
struct CopcLimits {
    std::size_t nodePoints = 100'000; ///< at most in a node, unless that many points lie in one place
    std::size_t pageEntries = 1'000;  ///< at most in a page of the hierarchy; at least 9
};

/// Writes a COPC file (version 1.0): the points of a survey in the order of an octree. They are taken from `points`, of
/// format 6 to 8: those of the survey, or the same in another format. Each node of it is a chunk and holds a sample of
/// the points in its cube that lie about the node's spacing apart, or all that are left when they are few. Records,
/// VLRs and EVLRs stay as they are, apart from those that say how the points are packed or name them by their number;
/// what the header says of the points comes from these. The same points make the same file, whatever threads there are.
///
/// Takes about `memoryBytes`, beyond what packing takes, for any number of points: those that do not fit are sorted in
/// an unnamed file beside the output. Throws Failure for a survey that no such file can hold.
void writeCopc(const LasFile& las, const PointReader& points, std::uint8_t pointFormat, OutputFile& output,
               const Watch& watch, std::size_t memoryBytes, const CopcLimits& limits = {});

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sextant/Geometry.hpp"
#include "base/Watch.hpp"
#include "las/LasFile.hpp"

#include <cstdint>
#include <vector>

namespace corvane {

/// Some of the points of a survey, spread over it, to be shown before it is read. The lists run parallel.
struct SurveySample {
    std::vector<std::uint64_t> numbers; ///< of the records, ascending
    std::vector<Sextant::PhysicalSpace::point> positions;
    std::vector<std::uint8_t> classes;
    std::uint64_t points = 0; ///< of the whole survey

    std::size_t size() const { return numbers.size(); }
};

/// About `wanted` points, no more than twice as many: of an uncompressed file runs of records spread evenly over it, of
/// a compressed one the heads of chunks, of a COPC those nodes that come first from the root and the heads of more. All
/// points of a survey with no more than that. Decodes in proportion to `wanted` (or a quarter of a million), and not to
/// the survey; uses no cache and knows no edits. Throws Failure for what cannot be read, and Interrupted.
SurveySample sampleOf(const LasFile& las, std::size_t wanted, const Watch& watch = {});

} // namespace corvane

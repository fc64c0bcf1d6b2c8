// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// Offsets of the header fields that messages name, from the start of the file.
namespace corvane::place {

constexpr std::size_t GlobalEncoding = 6;
constexpr std::size_t VersionMajor = 24;
constexpr std::size_t HeaderSize = 94;
constexpr std::size_t OffsetToPoints = 96;
constexpr std::size_t VlrCount = 100;
constexpr std::size_t PointFormat = 104;
constexpr std::size_t RecordLength = 105;
constexpr std::size_t LegacyCount = 107;   ///< of points, then of those of returns 1 to 5
constexpr std::size_t LegacyReturns = 111; ///< of returns 1 to 5
constexpr std::size_t Scale = 131;
constexpr std::size_t Offset = 155;
constexpr std::size_t Bounds = 179; ///< maximum, then minimum, axis by axis
constexpr std::size_t WaveformStart = 227;
constexpr std::size_t EvlrStart = 235;
constexpr std::size_t EvlrCount = 243;
constexpr std::size_t PointCount = 247;   ///< of points, then of those of returns 1 to 15
constexpr std::size_t ReturnCounts = 255; ///< of returns 1 to 15

} // namespace corvane::place

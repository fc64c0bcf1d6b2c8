// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasRecords.hpp"
#include "las/LazBlock.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// An entry of the hierarchy: a node of the octree, or another page of entries.
struct CopcEntry {
    std::int32_t level = 0, x = 0, y = 0, z = 0;
    std::uint64_t offset = 0; ///< of the node's chunk or of the page, in the file
    std::int32_t bytes = 0;   ///< of them
    std::int32_t points = 0;  ///< of the node; -1: a page
    std::uint64_t place = 0;  ///< of this entry, in the file

    bool page() const { return points < 0; }

    static constexpr std::size_t Size = 32;        ///< bytes
    static constexpr std::size_t OffsetPlace = 16; ///< of offset, then bytes, in the entry
};

/// What makes a LAZ file a COPC file (version 1.0): each chunk is a node of an octree.
struct Copc {
    struct Box {
        std::array<double, 3> low{}, high{};
    };

    static constexpr std::size_t RootOffsetPlace = 40; ///< of the root page's offset, in the payload of the first VLR

    LasRecord info;      ///< VLR "copc" 1
    LasRecord hierarchy; ///< record "copc" 1000
    std::array<double, 3> center{};
    double halfSide = 0, spacing = 0;
    std::uint64_t rootOffset = 0; ///< in the file
    std::vector<CopcEntry> entries;
    std::vector<std::size_t> nodeOfChunk; ///< which of the entries, parallel to the chunks

    /// The cube of a node.
    Box boxOf(const CopcEntry& node) const;
};

/// Whether a record is one of the two that only a COPC file has.
bool isCopcRecord(const LasRecord& record);

/// Reads the hierarchy. None for a file without the records; none and a warning for one whose records do not fit its
/// chunks, as programs leave behind that know nothing of them.
std::optional<Copc> readCopc(const InputFile& file, const LazBlock& block, const std::vector<LasRecord>& vlrs,
                             const std::vector<LasRecord>& evlrs, std::vector<std::string>& warnings);

} // namespace corvane

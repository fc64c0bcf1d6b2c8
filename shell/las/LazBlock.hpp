// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/InputFile.hpp"
#include "las/LasHeader.hpp"
#include "las/LasRecords.hpp"
#include "laz/Chunk.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// A chunk of compressed points in its file.
struct LazChunk {
    std::uint64_t first = 0; ///< point, counted among the sound ones
    std::uint64_t points = 0;
    std::uint64_t offset = 0; ///< in the file
    std::uint64_t bytes = 0;
    std::uint64_t sound = 0; ///< points that are read of it, the first ones: all unless it is damaged
};

/// The compressed points of a file: how they are compressed, and where.
struct LazBlock {
    laz::Layout layout;
    std::uint64_t layoutOffset = 0; ///< of the VLR's payload, in the file
    std::vector<LazChunk> chunks;   ///< one behind the other
    std::uint64_t tableOffset = 0;  ///< in the file; 0: there is none
    std::uint64_t end = 0;          ///< behind the table of the chunks
    bool tablePlaceLast = false;    ///< the last 8 bytes of the file say where the table is

    std::uint64_t soundPoints() const { return chunks.empty() ? 0 : chunks.back().first + chunks.back().sound; }
};

/// Whether it is the VLR that says how the points are compressed.
bool isCompressionRecord(const LasRecord& record);

/// That VLR; null when there is none.
const LasRecord* compressionRecord(const std::vector<LasRecord>& vlrs);

/// Reads how the points of a compressed file are packed, and the table of its chunks. A table that is missing or wrong
/// is made again from the chunks, with a warning. Throws Failure for what cannot be decoded.
LazBlock readLazBlock(const InputFile& file, const LasHeader& header, const LasRecord& compression,
                      std::vector<std::string>& warnings);

/// The same, as much of it as is sound: chunks that are damaged are left out, and of one that the end of the file cuts
/// off the points behind. Decodes all. Adds to `losses` what is missing: sentences without the path.
LazBlock readSoundLazBlock(const InputFile& file, const LasHeader& header, const LasRecord& compression,
                           std::vector<std::string>& warnings, std::vector<std::string>& losses);

/// Reads from `offset` of the file on.
laz::ReadBytes readFrom(const InputFile& file, std::uint64_t offset);

} // namespace corvane

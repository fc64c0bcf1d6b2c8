// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/InputFile.hpp"
#include "las/LasHeader.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// One variable length record, or an extended one: where its payload lies. Payloads are read when asked for. Texts
/// are as they may be shown.
struct LasRecord {
    std::string userId; ///< up to the first null, e.g. "LASF_Projection"
    std::uint16_t recordId = 0;
    std::string description;
    std::uint64_t recordIdOffset = 0; ///< in the file
    std::uint64_t payloadOffset = 0;  ///< in the file
    std::uint64_t payloadLength = 0;  ///< bytes

    std::uint64_t begin() const; ///< of the record with its own header, in the file
    std::uint64_t end() const { return payloadOffset + payloadLength; }
};

/// Whether it describes extra bytes of the points.
bool isExtraBytesRecord(const LasRecord& record);

/// The VLRs between header and points. A record that does not fit throws Failure: what follows it is not known.
std::vector<LasRecord> readVlrs(const InputFile& file, const LasHeader& header);

/// The EVLRs behind the points, which end at `pointsEnd`; none before version 1.4. One that does not fit throws
/// Failure.
std::vector<LasRecord> readEvlrs(const InputFile& file, const LasHeader& header, std::uint64_t pointsEnd,
                                 std::vector<std::string>& warnings);

/// A VLR with its payload, at most 65,535 bytes, as it stands in a file of version 1.`versionMinor`.
std::vector<std::byte> encodeVlr(std::uint8_t versionMinor, std::string_view userId, std::uint16_t recordId,
                                 std::string_view description, std::span<const std::byte> payload);

/// A VLR of a file with another payload, at most 65,535 bytes; all else of it stays.
std::vector<std::byte> replacePayload(const InputFile& file, const LasRecord& vlr, std::span<const std::byte> payload);

/// The payload of a record; at most `limit` bytes of it.
std::vector<std::byte> readPayload(const InputFile& file, const LasRecord& record, std::size_t limit);

} // namespace corvane

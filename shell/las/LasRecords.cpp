// SPDX-License-Identifier: Apache-2.0
#include "las/LasRecords.hpp"

#include "base/Text.hpp"
#include "las/Damage.hpp"
#include "las/HeaderPlaces.hpp"
#include "las/LittleEndian.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstring>
#include <fmt/format.h>
#include <limits>

namespace corvane {
namespace {

/// What tells the two kinds of records apart. Both begin with 2 reserved bytes, the user id and the record id.
struct Kind {
    const char* name;
    std::size_t headerSize;  ///< bytes
    std::size_t lengthBytes; ///< of the payload length
    std::size_t countPlace;  ///< offset of their number in the file's header
};
constexpr Kind Vlr{"VLR", 54, 2, place::VlrCount};
constexpr Kind Evlr{"EVLR", 60, 8, place::EvlrCount};
constexpr std::size_t UserIdPlace = 2;
constexpr std::size_t UserIdLength = 16;
constexpr std::size_t RecordIdPlace = 18;
constexpr std::size_t LengthPlace = 20;
constexpr std::size_t DescriptionLength = 32;

/// Reads the record's own header at `position`, which must lie in the file.
LasRecord readRecord(const InputFile& file, std::uint64_t position, const Kind& kind) {
    std::array<std::byte, std::max(Vlr.headerSize, Evlr.headerSize)> buffer{};
    const auto bytes = std::span(buffer).first(kind.headerSize);
    file.read(position, bytes);
    LasRecord record;
    record.userId = escaped(loadText(bytes, UserIdPlace, UserIdLength));
    record.recordId = load<std::uint16_t>(bytes, RecordIdPlace);
    record.payloadLength =
        kind.lengthBytes == 2 ? load<std::uint16_t>(bytes, LengthPlace) : load<std::uint64_t>(bytes, LengthPlace);
    record.description = escaped(loadText(bytes, LengthPlace + kind.lengthBytes, DescriptionLength));
    record.recordIdOffset = position + RecordIdPlace;
    record.payloadOffset = position + kind.headerSize;
    return record;
}

/// `count` records one behind the other from `position`, none beyond `end`.
std::vector<LasRecord> readChain(const InputFile& file, const Kind& kind, std::uint32_t count, std::uint64_t position,
                                 std::uint64_t end, const char* endName) {
    const auto most = (end - position) / kind.headerSize;
    if (count > most)
        throw damage(file.path(), kind.countPlace, fmt::format("a count of {} {}s", count, kind.name),
                     fmt::format("at most {}, for which there is room between offset {} and {} at {}", most, position,
                                 endName, end));
    std::vector<LasRecord> records; // grows with what is there; the count is only a claim
    for (std::uint32_t i = 0; i < count; ++i) {
        if (end - position < kind.headerSize)
            throw damage(
                file.path(), position, fmt::format("{} bytes before {}", end - position, endName),
                fmt::format("{} {} of {} with a header of {} bytes", kind.name, i + 1, count, kind.headerSize));
        auto record = readRecord(file, position, kind);
        const auto room = end - record.payloadOffset;
        if (record.payloadLength > room)
            throw damage(file.path(), position + LengthPlace,
                         fmt::format("{} {} of {} with {} bytes", kind.name, i + 1, count, record.payloadLength),
                         fmt::format("at most the {} before {} at {}", room, endName, end));
        position = record.payloadOffset + record.payloadLength;
        records.push_back(std::move(record));
    }
    return records;
}

} // namespace

std::uint64_t LasRecord::begin() const { return recordIdOffset - RecordIdPlace; }

bool isExtraBytesRecord(const LasRecord& record) { return record.userId == "LASF_Spec" && record.recordId == 4; }

std::vector<LasRecord> readVlrs(const InputFile& file, const LasHeader& header) {
    return readChain(file, Vlr, header.vlrCount, header.headerSize, header.offsetToPoints, "the points");
}

std::vector<LasRecord> readEvlrs(const InputFile& file, const LasHeader& header, std::uint64_t pointsEnd,
                                 std::vector<std::string>& warnings) {
    if (header.evlrCount == 0) {
        if (header.evlrStart > file.size())
            warnings.push_back(
                fmt::format("The header says at offset {} that EVLRs start at {}, beyond the end of the file "
                            "at {}, but counts none.",
                            place::EvlrStart, header.evlrStart, file.size()));
        return {};
    }
    if (header.evlrStart < pointsEnd || header.evlrStart > file.size())
        throw damage(
            file.path(), place::EvlrStart, fmt::format("EVLRs that start at {}", header.evlrStart),
            fmt::format("a start from {} (end of the points) to {} (end of the file)", pointsEnd, file.size()));
    return readChain(file, Evlr, header.evlrCount, header.evlrStart, file.size(), "the end of the file");
}

std::vector<std::byte> encodeVlr(std::uint8_t versionMinor, std::string_view userId, std::uint16_t recordId,
                                 std::string_view description, std::span<const std::byte> payload) {
    constexpr std::uint16_t signature = 0xAABB; // that records of version 1.0 begin with; reserved later
    assert(userId.size() <= UserIdLength && description.size() <= DescriptionLength);
    assert(payload.size() <= std::numeric_limits<std::uint16_t>::max());
    std::vector<std::byte> record(Vlr.headerSize + payload.size());
    if (versionMinor == 0) store(std::span(record), 0, signature);
    std::memcpy(record.data() + UserIdPlace, userId.data(), userId.size());
    store(std::span(record), RecordIdPlace, recordId);
    store(std::span(record), LengthPlace, static_cast<std::uint16_t>(payload.size()));
    std::memcpy(record.data() + LengthPlace + Vlr.lengthBytes, description.data(), description.size());
    std::ranges::copy(payload, record.begin() + Vlr.headerSize);
    return record;
}

std::vector<std::byte> replacePayload(const InputFile& file, const LasRecord& vlr, std::span<const std::byte> payload) {
    assert(payload.size() <= std::numeric_limits<std::uint16_t>::max());
    std::vector<std::byte> record(Vlr.headerSize);
    file.read(vlr.begin(), record);
    store(std::span(record), LengthPlace, static_cast<std::uint16_t>(payload.size()));
    record.insert(record.end(), payload.begin(), payload.end());
    return record;
}

std::vector<std::byte> readPayload(const InputFile& file, const LasRecord& record, std::size_t limit) {
    std::vector<std::byte> bytes(std::min<std::uint64_t>(record.payloadLength, limit));
    file.read(record.payloadOffset, bytes);
    return bytes;
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "survey/LookupChange.hpp"

#include "base/Failure.hpp"
#include "las/HeaderPlaces.hpp"
#include "las/LittleEndian.hpp"
#include "survey/ClassLookup.hpp"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <string_view>

namespace corvane {
namespace {

constexpr std::size_t VlrHeaderBytes = 54;
constexpr std::size_t EvlrHeaderBytes = 60;
constexpr std::size_t RecordIdPlace = 18; // in the header of a record of either kind
constexpr std::uint16_t Superseded = 7;
constexpr std::size_t WaveformStartPlace = 227;  // in the header of the file
constexpr std::uint16_t ExternalWaveforms = 0x4; // of the global encoding: they lie in a file of their own

template <class T>
FileChange::Patch patch(std::uint64_t offset, T value) {
    FileChange::Patch made{offset, std::vector<std::byte>(sizeof value)};
    store(std::span(made.bytes), 0, value);
    return made;
}

std::vector<std::byte> asVlr(std::span<const std::byte> payload, const LasHeader& header) {
    constexpr std::uint16_t signature = 0xaabb; // that records of version 1.0 begin with; reserved later
    constexpr std::string_view user = "LASF_Spec", description = "Classification Lookup";
    std::vector<std::byte> record(VlrHeaderBytes);
    if (header.versionMinor == 0) store(std::span(record), 0, signature);
    std::memcpy(record.data() + 2, user.data(), user.size());
    store(std::span(record), 20, static_cast<std::uint16_t>(payload.size()));
    std::memcpy(record.data() + 22, description.data(), description.size());
    record.insert(record.end(), payload.begin(), payload.end());
    return record;
}

/// Moves the offsets of the header by what is inserted.
void moveOffsets(FileChange& change, const LasHeader& header) {
    const std::size_t by = change.inserted.size();
    if (header.offsetToPoints > std::numeric_limits<std::uint32_t>::max() - by)
        throw Failure(
            fmt::format("The points begin at offset {}, and with {} bytes more for the labels the header could "
                        "not say so; save without labels. Nothing was written.",
                        header.offsetToPoints, by));
    change.patches.push_back(patch(place::OffsetToPoints, static_cast<std::uint32_t>(header.offsetToPoints + by)));
    change.patches.push_back(patch(place::VlrCount, header.vlrCount + 1));
    if (header.waveformStart >= header.offsetToPoints && (header.globalEncoding & ExternalWaveforms) == 0)
        change.patches.push_back(patch(WaveformStartPlace, header.waveformStart + by));
    if (header.evlrStart >= header.offsetToPoints)
        change.patches.push_back(patch(place::EvlrStart, header.evlrStart + by));
}

} // namespace

void FileChange::apply(std::span<std::byte> bytes, std::uint64_t offset) const {
    for (const Patch& patch : patches) {
        const std::uint64_t begin = std::max(offset, patch.offset);
        const std::uint64_t end = std::min(offset + bytes.size(), patch.offset + patch.bytes.size());
        if (begin < end)
            std::memcpy(bytes.data() + (begin - offset), patch.bytes.data() + (begin - patch.offset), end - begin);
    }
}

FileChange changeClassLookup(const LasFile& las, std::vector<std::byte> payload) {
    FileChange change;
    const auto records = classLookupRecords(las);
    const auto inPlace = std::ranges::find(records, payload.size(), &LasRecord::payloadLength);
    for (auto record = records.begin(); record != records.end(); ++record) {
        if (record == inPlace) continue;
        const bool extended = record->payloadOffset > las.header.offsetToPoints;
        const std::uint64_t start = record->payloadOffset - (extended ? EvlrHeaderBytes : VlrHeaderBytes);
        change.patches.push_back(patch(start + RecordIdPlace, Superseded));
    }
    if (inPlace != records.end()) {
        change.patches.push_back({inPlace->payloadOffset, std::move(payload)});
        return change;
    }
    change.insertAt =
        las.vlrs.empty() ? las.header.headerSize : las.vlrs.back().payloadOffset + las.vlrs.back().payloadLength;
    change.inserted = asVlr(payload, las.header);
    moveOffsets(change, las.header);
    return change;
}

} // namespace corvane

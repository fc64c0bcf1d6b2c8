// SPDX-License-Identifier: Apache-2.0
#include "las/LookupChange.hpp"

#include "base/Failure.hpp"
#include "las/HeaderPlaces.hpp"
#include "las/LittleEndian.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

namespace corvane {
namespace {

constexpr std::uint16_t Superseded = 7;
constexpr std::uint16_t ExternalWaveforms = 0x4; // of the global encoding: they lie in a file of their own

template <class T>
FileChange::Patch patch(std::uint64_t offset, T value) {
    FileChange::Patch made{offset, std::vector<std::byte>(sizeof value)};
    store(std::span(made.bytes), 0, value);
    return made;
}

/// Moves the offsets of the header by what is inserted.
void moveOffsets(FileChange& change, const LasFile& las) {
    const LasHeader& header = las.header;
    const std::size_t by = change.inserted.size();
    if (header.offsetToPoints > std::numeric_limits<std::uint32_t>::max() - by)
        throw Failure(
            fmt::format("{}: the points begin at offset {}, and with {} bytes more for the labels the header could "
                        "not say so; save without labels. Nothing was written.",
                        las.file->path(), header.offsetToPoints, by));
    change.patches.push_back(patch(place::OffsetToPoints, static_cast<std::uint32_t>(header.offsetToPoints + by)));
    change.patches.push_back(patch(place::VlrCount, header.vlrCount + 1));
    if (header.waveformStart >= header.offsetToPoints && (header.globalEncoding & ExternalWaveforms) == 0)
        change.patches.push_back(patch(place::WaveformStart, header.waveformStart + by));
    if (header.evlrStart >= header.offsetToPoints)
        change.patches.push_back(patch(place::EvlrStart, header.evlrStart + by));
}

} // namespace

std::vector<LasRecord> classLookupRecords(const LasFile& las) {
    std::vector<LasRecord> found;
    for (const auto* records : {&las.vlrs, &las.evlrs})
        std::ranges::copy_if(*records, std::back_inserter(found), [](const LasRecord& record) {
            return record.userId == "LASF_Spec" && record.recordId == 0;
        });
    return found;
}

FileChange changeClassLookup(const LasFile& las, std::vector<std::byte> payload) {
    FileChange change;
    const auto records = classLookupRecords(las);
    const auto inPlace = std::ranges::find(records, payload.size(), &LasRecord::payloadLength);
    for (auto record = records.begin(); record != records.end(); ++record) {
        if (record == inPlace) continue;
        change.patches.push_back(patch(record->recordIdOffset, Superseded));
    }
    if (inPlace != records.end()) {
        change.patches.push_back({inPlace->payloadOffset, std::move(payload)});
        return change;
    }
    change.insertAt =
        las.vlrs.empty() ? las.header.headerSize : las.vlrs.back().payloadOffset + las.vlrs.back().payloadLength;
    change.inserted = encodeVlr(las.header.versionMinor, "LASF_Spec", 0, "Classification Lookup", payload);
    moveOffsets(change, las);
    return change;
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "las/LookupChange.hpp"

#include "las/LittleEndian.hpp"

#include <algorithm>

namespace corvane {
namespace {

constexpr std::uint16_t Superseded = 7;

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
    std::vector<std::byte> superseded(sizeof Superseded);
    store(std::span(superseded), 0, Superseded);
    FileChange change;
    const auto records = classLookupRecords(las);
    const auto inPlace = std::ranges::find(records, payload.size(), &LasRecord::payloadLength);
    for (auto record = records.begin(); record != records.end(); ++record) {
        if (record == inPlace) continue;
        change.overwrite(record->recordIdOffset, superseded);
    }
    if (inPlace != records.end()) {
        change.overwrite(inPlace->payloadOffset, std::move(payload));
        return change;
    }
    change.insertVlr(las.vlrsEnd(),
                     encodeVlr(las.header.versionMinor, "LASF_Spec", 0, "Classification Lookup", payload));
    return change;
}

} // namespace corvane

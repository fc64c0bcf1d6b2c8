// SPDX-License-Identifier: Apache-2.0
#include "las/LasFile.hpp"

#include "las/CoordinateSystem.hpp"
#include "las/LasPoints.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace corvane {
namespace {

/// The payloads of all Extra Bytes records, one behind the other: some writers make one record per dimension.
std::vector<std::byte> extraBytesPayload(const LasFile& las) {
    std::vector<std::byte> payload;
    for (const auto* records : {&las.vlrs, &las.evlrs})
        for (const auto& record : *records) {
            if (record.userId != "LASF_Spec" || record.recordId != 4) continue;
            constexpr std::size_t limit = 1 << 24; // a descriptor for each byte of the longest record takes less
            const auto bytes = readPayload(*las.file, record, limit);
            payload.insert(payload.end(), bytes.begin(), bytes.end());
        }
    return payload;
}

void addExtraDimensions(LasFile& las) {
    const auto payload = extraBytesPayload(las);
    auto extra = extraDimensions(payload, recordLengthOf(las.header.pointFormat), las.header.recordLength,
                                 las.dimensions, las.warnings);
    std::ranges::move(extra, std::back_inserter(las.dimensions));
}

/// What lies behind the points should be waveforms or EVLRs; other bytes are left alone.
void warnOfStrayBytes(LasFile& las) {
    const auto size = las.file->size();
    const auto waveforms = las.header.waveformStart == 0 ? size : las.header.waveformStart;
    const auto warn = [&](std::uint64_t from, std::uint64_t to, const char* behind) {
        to = waveforms < from ? to : std::min(to, waveforms);
        if (from < to)
            las.warnings.push_back(
                fmt::format("{} bytes from offset {} on, behind the last {}, belong to nothing that the "
                            "header names.",
                            to - from, from, behind));
    };
    warn(las.header.pointsEnd(), las.evlrs.empty() ? size : las.header.evlrStart, "point");
    if (!las.evlrs.empty()) warn(las.evlrs.back().payloadOffset + las.evlrs.back().payloadLength, size, "EVLR");
}

} // namespace

Dimension LasFile::asRead(std::size_t index) const {
    Dimension dimension = dimensions[index];
    if (index < header.scale.size()) { // X, Y and Z are the first
        dimension.scale = header.scale[index];
        dimension.shift = header.offset[index];
    }
    return dimension;
}

const Dimension* LasFile::find(std::string_view name) const {
    const auto found = std::ranges::find(dimensions, name, &Dimension::name);
    return found == dimensions.end() ? nullptr : &*found;
}

LasFile LasFile::open(const std::string& path) {
    LasFile las;
    las.file = std::make_shared<const InputFile>(path);
    std::vector<std::byte> head(std::min<std::uint64_t>(las.file->size(), LasHeader::LargestSize));
    las.file->read(0, head);
    refuseCompressed(*las.file, head);
    las.header = LasHeader::parse(head, path, las.file->size(), las.warnings);
    las.vlrs = readVlrs(*las.file, las.header);
    las.evlrs = readEvlrs(*las.file, las.header, las.warnings);
    las.dimensions = dimensionsOf(las.header.pointFormat);
    addExtraDimensions(las);
    las.crs = readCoordinateSystem(*las.file, las.vlrs, las.evlrs, las.warnings);
    warnOfStrayBytes(las);
    las.points = std::make_shared<const LasPoints>(las.file, las.header);
    return las;
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "las/LasFile.hpp"

#include "las/CoordinateSystem.hpp"
#include "las/Damage.hpp"
#include "las/HeaderPlaces.hpp"
#include "las/LasPoints.hpp"
#include "las/LazPoints.hpp"

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
    warn(las.pointsEnd, las.evlrs.empty() ? size : las.header.evlrStart, "point");
    if (!las.evlrs.empty()) warn(las.evlrs.back().payloadOffset + las.evlrs.back().payloadLength, size, "EVLR");
}

/// A file is compressed when both the format's byte and a VLR say so. One that was decompressed may have kept the VLR.
void openPoints(LasFile& las) {
    const LasRecord* compression = compressionRecord(las.vlrs);
    if (las.header.compressed && !compression)
        throw damage(las.file->path(), place::PointFormat, "the format of compressed points",
                     "a VLR \"laszip encoded\" 22204 that says how, or a format without bit 7");
    if (!las.header.compressed) {
        las.points = std::make_shared<const LasPoints>(las.file, las.header);
        las.pointsEnd = las.header.offsetToPoints + las.header.pointCount * las.header.recordLength;
        return;
    }
    auto block = readLazBlock(*las.file, las.header, *compression, las.warnings);
    las.pointsEnd = block.end;
    las.points = std::make_shared<const LazPoints>(las.file, las.header, std::move(block));
}

} // namespace

std::uint64_t LasFile::vlrsEnd() const {
    return vlrs.empty() ? header.headerSize : vlrs.back().payloadOffset + vlrs.back().payloadLength;
}

const LazBlock* LasFile::compression() const {
    const auto* compressed = dynamic_cast<const LazPoints*>(points.get());
    return compressed ? &compressed->block() : nullptr;
}

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
    las.header = LasHeader::parse(head, path, las.file->size(), las.warnings);
    las.vlrs = readVlrs(*las.file, las.header);
    openPoints(las);
    las.evlrs = readEvlrs(*las.file, las.header, las.pointsEnd, las.warnings);
    if (const LazBlock* block = las.compression())
        las.copc = readCopc(*las.file, *block, las.vlrs, las.evlrs, las.warnings);
    las.dimensions = dimensionsOf(las.header.pointFormat);
    addExtraDimensions(las);
    las.crs = readCoordinateSystem(*las.file, las.vlrs, las.evlrs, las.warnings);
    warnOfStrayBytes(las);
    return las;
}

} // namespace corvane

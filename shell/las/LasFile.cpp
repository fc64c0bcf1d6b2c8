// SPDX-License-Identifier: Apache-2.0
#include "las/LasFile.hpp"

#include "las/CoordinateSystem.hpp"
#include "las/Damage.hpp"
#include "las/HeaderPlaces.hpp"
#include "las/LasPoints.hpp"
#include "las/LazPoints.hpp"
#include "las/RestoredPoints.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace corvane {
namespace {

/// The payloads of all Extra Bytes records, one behind the other: some writers make one record per dimension.
std::vector<std::byte> extraBytesPayload(const LasFile& las) {
    std::vector<std::byte> payload;
    for (const auto* records : {&las.vlrs, &las.evlrs})
        for (const auto& record : *records) {
            if (!isExtraBytesRecord(record)) continue;
            constexpr std::size_t limit = 1 << 24; // a descriptor for each byte of the longest record takes less
            const auto bytes = readPayload(*las.file, record, limit);
            payload.insert(payload.end(), bytes.begin(), bytes.end());
        }
    return payload;
}

/// Points in the form for older programs are shown as what they stand for.
void restoreForm(LasFile& las, std::span<const std::byte> extraBytes) {
    las.compatibility = CompatibilityForm::find(las.header, las.vlrs, extraBytes, las.warnings);
    if (!las.compatibility) return;
    if (const auto count = las.compatibility->statedCount(*las.file);
        count != las.header.pointCount && las.losses.empty())
        las.warnings.push_back(
            fmt::format("The point count at offset {} is {} and the one in the header {}; the header's "
                        "is used.",
                        las.compatibility->countsOffset(), count, las.header.pointCount));
    las.header = las.compatibility->restored(*las.file, las.header);
    las.points = std::make_shared<const RestoredPoints>(las.stored, las.compatibility);
}

void addDimensions(LasFile& las, std::span<const std::byte> payload) {
    las.dimensions = dimensionsOf(las.header.pointFormat);
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

/// How many records the bytes from the first point to the end of the file hold.
std::uint64_t fittingRecords(const LasFile& las) {
    return (las.file->size() - las.header.offsetToPoints) / las.header.recordLength;
}

/// Whether the points are compressed: the format's byte and a VLR say so. One of them alone is left of a file that was
/// decompressed, or of damage; then what fits decides.
bool isCompressed(const LasFile& las, const LasRecord* compression) {
    if (compression && !las.header.compressed) return las.header.pointCount > fittingRecords(las);
    if (las.header.compressed && !compression)
        throw damage(las.file->path(), place::PointFormat, "the format of compressed points",
                     "a VLR \"laszip encoded\" 22204 that says how, or a format without bit 7");
    return las.header.compressed;
}

void openRecords(LasFile& las, Reading reading) {
    LasHeader& header = las.header;
    const std::uint64_t fitting = fittingRecords(las);
    if (header.pointCount > fitting) {
        if (reading == Reading::Whole)
            throw damage(las.file->path(), header.countPlace,
                         fmt::format("a count of {} points of {} bytes", header.pointCount, header.recordLength),
                         fmt::format("at most {}, which the {} bytes from offset {} to the end of the file hold",
                                     fitting, las.file->size() - header.offsetToPoints, header.offsetToPoints));
        las.losses.push_back(
            fmt::format("Of {} points the file holds {}: those behind are missing.", header.pointCount, fitting));
        header.pointCount = fitting;
    }
    las.stored = std::make_shared<const LasPoints>(las.file, header);
    las.pointsEnd = header.offsetToPoints + header.pointCount * header.recordLength;
}

void openPoints(LasFile& las, Reading reading) {
    const LasRecord* compression = compressionRecord(las.vlrs);
    if (!isCompressed(las, compression)) return openRecords(las, reading);
    las.header.compressed = true;
    auto block = reading == Reading::Whole
                     ? readLazBlock(*las.file, las.header, *compression, las.warnings)
                     : readSoundLazBlock(*las.file, las.header, *compression, las.warnings, las.losses);
    if (!las.losses.empty()) las.header.pointCount = block.soundPoints();
    las.pointsEnd = block.end;
    las.stored = std::make_shared<const LazPoints>(las.file, las.header, std::move(block));
}

/// Behind points that are not whole nothing may be left.
void openEvlrs(LasFile& las) {
    try {
        las.evlrs = readEvlrs(*las.file, las.header, las.pointsEnd, las.warnings);
    } catch (const Failure& failure) {
        if (las.losses.empty()) throw;
        las.losses.push_back(fmt::format("The {} EVLRs cannot be read.", las.header.evlrCount));
        las.header.evlrCount = 0;
        las.header.evlrStart = 0;
    }
    if (!las.losses.empty() && las.evlrs.empty()) las.pointsEnd = las.file->size(); // what is left belongs to nothing
}

} // namespace

bool LasFile::holdsWkt() const {
    const auto isWkt = [](const LasRecord& record) {
        return record.userId == "LASF_Projection" && record.recordId == 2112 && record.payloadLength > 0;
    };
    return std::ranges::any_of(vlrs, isWkt) || std::ranges::any_of(evlrs, isWkt);
}

std::uint64_t LasFile::vlrsEnd() const {
    return vlrs.empty() ? header.headerSize : vlrs.back().payloadOffset + vlrs.back().payloadLength;
}

std::uint8_t LasFile::storedFormat() const {
    return compatibility ? compatibility->storedFormat() : header.pointFormat;
}

LasHeader LasFile::storedHeader() const {
    LasHeader as = header;
    as.pointFormat = storedFormat();
    as.recordLength = static_cast<std::uint16_t>(stored->recordLength());
    return as;
}

const LazBlock* LasFile::compression() const {
    const auto* compressed = dynamic_cast<const LazPoints*>(stored.get());
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

LasFile LasFile::open(std::shared_ptr<const InputFile> file, Reading reading) {
    LasFile las;
    las.file = std::move(file);
    const std::string& path = las.file->path();
    std::vector<std::byte> head(std::min<std::uint64_t>(las.file->size(), LasHeader::LargestSize));
    las.file->read(0, head);
    las.header = LasHeader::parse(head, path, las.file->size(), las.warnings);
    las.vlrs = readVlrs(*las.file, las.header);
    openPoints(las, reading);
    las.points = las.stored;
    openEvlrs(las);
    if (const LazBlock* block = las.compression(); block && las.losses.empty())
        las.copc = readCopc(*las.file, *block, las.vlrs, las.evlrs, las.warnings);
    auto extraBytes = extraBytesPayload(las);
    restoreForm(las, extraBytes);
    if (las.compatibility) extraBytes = las.compatibility->withoutOwn(extraBytes);
    addDimensions(las, extraBytes);
    las.crs = readCoordinateSystem(*las.file, las.vlrs, las.evlrs, las.warnings);
    if (las.losses.empty()) warnOfStrayBytes(las);
    std::ranges::copy(las.losses, std::back_inserter(las.warnings));
    return las;
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "las/PointWriter.hpp"

#include "base/InOrder.hpp"
#include "las/ChunkPacker.hpp"
#include "las/HeaderPlaces.hpp"
#include "las/LittleEndian.hpp"
#include "laz/ChunkTable.hpp"

#include <cctype>
#include <filesystem>
#include <fmt/format.h>
#include <limits>

namespace corvane {
namespace {

constexpr std::uint16_t ExternalWaveforms = 0x4;   // of the global encoding: they lie in a file of their own
constexpr std::size_t VlrHead = 54, EvlrHead = 60; // bytes in front of the payload
constexpr std::uint8_t CompressedBit = 0x80;

std::vector<std::byte> compressionVlr(const LasHeader& header, const laz::Layout& layout) {
    return encodeVlr(header.versionMinor, "laszip encoded", 22204, "compression of the points", layout.encode());
}

std::uint64_t begin(const LasRecord& record, std::size_t head) { return record.payloadOffset - head; }
std::uint64_t end(const LasRecord& record) { return record.payloadOffset + record.payloadLength; }

bool endsIn(const std::string& path, std::string_view extension) {
    const std::string own = std::filesystem::path(path).extension();
    return std::ranges::equal(own, extension, {}, [](unsigned char c) { return std::tolower(c); });
}

} // namespace

bool Packing::namesCompressed(const std::string& path) { return endsIn(path, ".laz"); }

Packing Packing::forName(const std::string& path, const LasFile& las) {
    if (endsIn(path, ".las")) return {false};
    return {namesCompressed(path) || las.compression() != nullptr};
}

PointWriter::PointWriter(const LasFile& las, OutputFile& output, const Watch& watch)
    : las_(las), output_(output), watch_(watch), work_("Saving " + output.path()) {}

void PointWriter::write(const PointEdits& edits, FileChange change, const Packing& packing) {
    const PointEdits inStored = edits.storedIn(las_.compatibility);
    changePacking(change, packing);
    copy(change, 0, las_.header.offsetToPoints);
    const EditedPoints edited(packing.records ? packing.records : las_.stored, inStored);
    if (keepsChunks(packing))
        rewriteChunks(inStored);
    else if (packing.compressed)
        compress(edited);
    else if (las_.compression() || packing.records)
        expand(edited);
    else
        writeRecords(inStored);
    copy(change, las_.pointsEnd, las_.file->size());
    settlePlaces(change, packing);
    las_.file->checkUnchanged();
}

/// Whether the chunks of the file are those of the new one, but for what is edited.
bool PointWriter::keepsChunks(const Packing& packing) const {
    return las_.compression() && packing.compressed && !packing.chunkPoints && !packing.records;
}

/// The records that say how the points are packed come or go with it, and those of an octree stay only where its nodes
/// stay chunks.
void PointWriter::changePacking(FileChange& change, const Packing& packing) {
    const LazBlock* block = las_.compression();
    const bool keepsTree = keepsChunks(packing) && las_.copc;
    if (keepsChunks(packing))
        layout_ = block->layout;
    else if (packing.compressed) {
        layout_ = laz::Layout::standard(packing.records ? packing.pointFormat : las_.storedFormat(),
                                        (packing.records ? packing.records : las_.stored)->recordLength(),
                                        packing.chunkPoints.value_or(laz::Layout::UsualChunk));
        const bool keepsForm = las_.compatibility && (!packing.records || packing.records == las_.stored);
        if (keepsForm) layout_.options |= CompatibilityForm::CompressionOption;
        change.insertVlr(las_.vlrsEnd(), compressionVlr(las_.header, layout_));
    }
    for (const LasRecord& vlr : las_.vlrs) {
        const bool goes = (block && &vlr == compressionRecord(las_.vlrs) && !keepsChunks(packing)) ||
                          (block && isCopcRecord(vlr) && !keepsTree);
        if (goes) change.removeVlr(begin(vlr, VlrHead), end(vlr));
    }
    for (const LasRecord& evlr : las_.evlrs)
        if (block && isCopcRecord(evlr) && !keepsTree) change.removeEvlr(begin(evlr, EvlrHead), end(evlr));
}

/// The bytes of the file from `begin` to `end`, with what changes among them.
void PointWriter::copy(const FileChange& change, std::uint64_t begin, std::uint64_t end) {
    for (; spliced_ < change.splices().size() && change.splices()[spliced_].end <= end; ++spliced_) {
        const FileChange::Splice& splice = change.splices()[spliced_];
        copyBytes(begin, splice.begin);
        output_.write(splice.bytes);
        begin = splice.end;
    }
    copyBytes(begin, end);
}

void PointWriter::copyBytes(std::uint64_t begin, std::uint64_t end) {
    constexpr std::uint64_t piece = std::uint64_t{8} << 20; // so that the watch is told some times a second
    while (begin < end) {
        const std::uint64_t next = begin + std::min(piece, end - begin);
        output_.copy(*las_.file, begin, next);
        begin = next;
        tell(begin, las_.file->size());
    }
}

void PointWriter::writeRecords(const PointEdits& edits) {
    const LasHeader& header = las_.header;
    const auto place = [&](std::uint64_t point) { return header.offsetToPoints + point * las_.stored->recordLength(); };
    const EditedPoints edited(las_.stored, edits);
    std::uint64_t next = 0; // point
    for (const PointRange& stretch : edits.stretches()) {
        copyBytes(place(next), place(stretch.first));
        writeStretch(edited, stretch);
        next = stretch.first + stretch.count;
    }
    copyBytes(place(next), las_.pointsEnd);
}

void PointWriter::writeStretch(const PointReader& edited, const PointRange& range) {
    edited.forPieces(range, {}, [&](std::span<const std::byte> records, std::size_t first, std::size_t count) {
        output_.write(records);
        tell(range.first + first + count, las_.header.pointCount);
    });
}

void PointWriter::expand(const PointReader& edited) {
    const auto ranges = edited.ranges(laz::Layout::UsualChunk);
    inOrder(
        ranges.size(),
        [&](std::size_t i) {
            std::vector<std::byte> records(ranges[i].count * edited.recordLength());
            edited.read(ranges[i].first, records);
            return records;
        },
        [&](std::size_t i, std::span<const std::byte> records) {
            output_.write(records);
            tell(ranges[i].first + ranges[i].count, las_.header.pointCount);
        });
}

void PointWriter::compress(const PointReader& edited) {
    const ChunkPacker packer(layout_);
    const auto ranges = edited.evenRanges(layout_.chunkPoints);
    const std::uint64_t placeOffset = output_.size();
    output_.write(std::array<std::byte, sizeof(std::int64_t)>{});
    inOrder(
        ranges.size(),
        [&](std::size_t i) {
            std::vector<std::byte> records(ranges[i].count * edited.recordLength());
            edited.read(ranges[i].first, records);
            return packer.pack(records);
        },
        [&](std::size_t i, std::span<const std::byte> chunk) {
            chunks_.push_back({ranges[i].first, ranges[i].count, output_.size(), chunk.size()});
            output_.write(chunk);
            tell(ranges[i].first + ranges[i].count, las_.header.pointCount);
        });
    writeTable(placeOffset);
}

std::optional<std::vector<std::byte>> PointWriter::repacked(const ChunkPacker& packer, const LazChunk& chunk,
                                                            const PointEdits& edits) const {
    try {
        return packer.repack(*las_.file, chunk, edits);
    } catch (const laz::Error& error) {
        throw Failure(
            fmt::format("{}: in the chunk of {} points from {} on at offset {}, {}; the file is damaged, so save "
                        "what is sound of it with corvane convert. Nothing was written.",
                        las_.file->path(), chunk.points, chunk.first, chunk.offset, error.what()));
    }
}

void PointWriter::rewriteChunks(const PointEdits& edits) {
    const LazBlock& block = *las_.compression();
    const bool tableMissing = layout_.chunked() && block.tableOffset == 0 && !block.chunks.empty();
    if (edits.stretches().empty() && !tableMissing) return copyChunks(block);
    const ChunkPacker packer(layout_);
    const std::uint64_t placeOffset = output_.size();
    if (layout_.chunked()) output_.write(std::array<std::byte, sizeof(std::int64_t)>{});
    inOrder(
        block.chunks.size(), [&](std::size_t i) { return repacked(packer, block.chunks[i], edits); },
        [&](std::size_t i, const std::optional<std::vector<std::byte>>& repacked) {
            LazChunk chunk = block.chunks[i];
            const std::uint64_t offset = output_.size();
            if (repacked)
                output_.write(*repacked);
            else
                copyBytes(chunk.offset, chunk.offset + chunk.bytes);
            chunks_.push_back({chunk.first, chunk.points, offset, output_.size() - offset});
            tell(chunk.first + chunk.points, las_.header.pointCount);
        });
    if (layout_.chunked()) writeTable(placeOffset);
}

/// Everything as its writer made it; but the table may have moved.
void PointWriter::copyChunks(const LazBlock& block) {
    const std::uint64_t begin = output_.size(), shift = begin - las_.header.offsetToPoints;
    copyBytes(las_.header.offsetToPoints, las_.pointsEnd);
    chunks_ = block.chunks;
    for (LazChunk& chunk : chunks_) chunk.offset += shift;
    if (shift != 0 && block.tableOffset > 0) put(begin, static_cast<std::int64_t>(block.tableOffset + shift));
}

/// The table of the chunks, and where it is in front of the first one.
void PointWriter::writeTable(std::uint64_t placeOffset) {
    std::vector<laz::ChunkSize> sizes;
    for (const LazChunk& chunk : chunks_) sizes.push_back({chunk.points, chunk.bytes});
    put(placeOffset, static_cast<std::int64_t>(output_.size()));
    output_.write(laz::table::encode(layout_, sizes));
}

template <class T>
void PointWriter::put(std::uint64_t offset, T value) {
    std::array<std::byte, sizeof value> bytes;
    store(std::span<std::byte>(bytes), 0, value);
    output_.writeAt(offset, bytes);
}

/// Everything in the file that says where something is.
void PointWriter::settlePlaces(const FileChange& change, const Packing& packing) {
    const LasHeader& header = las_.header;
    const std::uint64_t points = change.moved(header.offsetToPoints);
    if (points > std::numeric_limits<std::uint32_t>::max())
        throw Failure(
            fmt::format("{}: the points would begin at offset {}, beyond what the header can say; save without "
                        "labels. Nothing was written.",
                        las_.file->path(), points));
    // What lies behind the points moves by what they take more, besides.
    const auto shift = static_cast<std::int64_t>(output_.size() - change.moved(las_.file->size()));
    const Moved moved = [&](std::uint64_t offset) {
        return change.moved(offset) + (offset >= las_.pointsEnd ? static_cast<std::uint64_t>(shift) : 0);
    };
    const std::uint8_t format = packing.records ? packing.pointFormat : las_.storedFormat();
    put(place::PointFormat, static_cast<std::uint8_t>(format | (packing.compressed ? CompressedBit : 0)));
    put(place::OffsetToPoints, static_cast<std::uint32_t>(points));
    put(place::VlrCount, header.vlrCount + static_cast<std::uint32_t>(change.moreVlrs()));
    const bool waveforms =
        header.waveformStart >= header.offsetToPoints && (header.globalEncoding & ExternalWaveforms) == 0;
    if (waveforms) put(place::WaveformStart, moved(header.waveformStart));
    if (header.evlrStart >= header.offsetToPoints) put(place::EvlrStart, moved(header.evlrStart));
    if (change.moreEvlrs() != 0)
        put(place::EvlrCount, header.evlrCount + static_cast<std::uint32_t>(change.moreEvlrs()));
    const LazBlock* block = las_.compression();
    if (!keepsChunks(packing)) return;
    if (layout_.specialOffset >= static_cast<std::int64_t>(header.offsetToPoints))
        put(change.moved(block->layoutOffset) + laz::Layout::SpecialOffsetPlace,
            static_cast<std::int64_t>(moved(static_cast<std::uint64_t>(layout_.specialOffset))));
    if (las_.copc) settleCopc(moved);
}

void PointWriter::settleCopc(const Moved& moved) {
    const Copc& copc = *las_.copc;
    put(moved(copc.info.payloadOffset) + Copc::RootOffsetPlace, moved(copc.rootOffset));
    for (const CopcEntry& entry : copc.entries)
        if (entry.page()) put(moved(entry.place) + CopcEntry::OffsetPlace, moved(entry.offset));
    for (std::size_t i = 0; i < chunks_.size(); ++i) {
        const std::uint64_t place = moved(copc.entries[copc.nodeOfChunk[i]].place) + CopcEntry::OffsetPlace;
        put(place, chunks_[i].offset);
        put(place + sizeof(std::uint64_t), static_cast<std::int32_t>(chunks_[i].bytes));
    }
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "las/PointWriter.hpp"

namespace corvane {

PointWriter::PointWriter(const LasFile& las, OutputFile& output, const Watch& watch)
    : las_(las), output_(output), watch_(watch), work_("Saving " + output.path()) {}

void PointWriter::write(const PointEdits& edits, const FileChange& change) {
    const LasHeader& header = las_.header;
    copyBytes(0, change.insertAt);
    output_.write(change.inserted);
    copyBytes(change.insertAt, header.offsetToPoints);
    const EditedPoints edited(las_.points, edits);
    std::uint64_t next = 0; // point
    for (const PointRange& stretch : edits.stretches()) {
        copyPoints(next, stretch.first);
        writePoints(edited, stretch);
        next = stretch.first + stretch.count;
    }
    copyPoints(next, header.pointCount);
    copyBytes(header.pointsEnd(), las_.file->size());
    for (const FileChange::Patch& patch : change.patches)
        output_.writeAt(patch.offset + (patch.offset < change.insertAt ? 0 : change.inserted.size()), patch.bytes);
    las_.file->checkUnchanged();
}

void PointWriter::copyBytes(std::uint64_t begin, std::uint64_t end) {
    constexpr std::uint64_t piece = std::uint64_t{8} << 20; // so that the watch is told some times a second
    while (begin < end) {
        const std::uint64_t next = begin + std::min(piece, end - begin);
        output_.copy(*las_.file, begin, next);
        begin = next;
        tell(begin);
    }
}

void PointWriter::copyPoints(std::uint64_t first, std::uint64_t end) {
    const LasHeader& header = las_.header;
    copyBytes(header.offsetToPoints + first * header.recordLength, header.offsetToPoints + end * header.recordLength);
}

void PointWriter::writePoints(const PointReader& edited, const PointRange& range) {
    edited.forPieces(range, [&](std::span<const std::byte> records, std::size_t first, std::size_t count) {
        output_.write(records);
        tell(las_.header.offsetToPoints + (range.first + first + count) * las_.header.recordLength);
    });
}

} // namespace corvane

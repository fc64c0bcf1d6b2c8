// SPDX-License-Identifier: Apache-2.0
#include "las/LazBlock.hpp"

#include "las/Damage.hpp"
#include "las/LittleEndian.hpp"
#include "laz/ChunkTable.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace corvane {
namespace {

constexpr std::size_t PlaceBytes = sizeof(std::int64_t); // of the table's place, in front of the first chunk

std::int64_t readPlace(const InputFile& file, std::uint64_t offset) {
    std::array<std::byte, PlaceBytes> bytes;
    file.read(offset, bytes);
    return load<std::int64_t>(bytes, 0);
}

class BlockReader {
public:
    BlockReader(const InputFile& file, const LasHeader& header, LazBlock& block)
        : file_(file), header_(header), block_(block), firstChunk_(header.offsetToPoints + PlaceBytes) {}

    /// Everything by the table. Throws laz::Error.
    void byTable() {
        const std::uint64_t place = tablePlace();
        const auto table = laz::table::decode(block_.layout, readFrom(file_, place), file_.size() - place,
                                              header_.pointCount, place - firstChunk_);
        for (const laz::ChunkSize& size : table.chunks) add(size);
        block_.tableOffset = place;
        block_.end = place + table.bytes + (block_.tablePlaceLast ? PlaceBytes : 0);
    }

    /// Everything from the chunks themselves. Throws laz::Error.
    void byChunks() {
        block_.chunks.clear();
        block_.tablePlaceLast = false;
        if (!block_.layout.layered() && block_.layout.variable())
            throw laz::Error(
                "found no table of the chunks, expected one, since only it says how many points they have");
        const std::uint64_t end = evlrsOrEnd();
        while (pointsSoFar() < header_.pointCount) {
            const std::uint64_t offset = chunksEnd(), left = header_.pointCount - pointsSoFar();
            const std::uint64_t most =
                block_.layout.variable() ? left : std::min<std::uint64_t>(left, block_.layout.chunkPoints);
            add(laz::measureChunk(block_.layout, readFrom(file_, offset), {most, end - std::min(end, offset)}));
        }
        block_.end = end;
    }

    /// All points in one stream, up to what follows.
    void oneStream() {
        const std::uint64_t begin = header_.offsetToPoints;
        block_.end = evlrsOrEnd();
        block_.chunks.push_back({0, header_.pointCount, begin, block_.end - begin});
    }

private:
    std::uint64_t tablePlace() {
        if (file_.size() < firstChunk_ + laz::table::HeadBytes)
            throw laz::Error("found the end of the file, expected the place of the table of the chunks");
        std::int64_t place = readPlace(file_, header_.offsetToPoints);
        // Who could not go back to write it leaves it at the end of the file.
        block_.tablePlaceLast = place <= static_cast<std::int64_t>(header_.offsetToPoints) && place != 0;
        if (block_.tablePlaceLast) place = readPlace(file_, file_.size() - PlaceBytes);
        const std::uint64_t last = file_.size() - laz::table::HeadBytes;
        if (place < 0 || static_cast<std::uint64_t>(place) < firstChunk_ || static_cast<std::uint64_t>(place) > last)
            throw laz::Error(
                fmt::format("found a table of the chunks at {}, expected it from {} to {}", place, firstChunk_, last));
        return static_cast<std::uint64_t>(place);
    }

    std::uint64_t evlrsOrEnd() const {
        const bool evlrs = header_.evlrCount > 0 && header_.evlrStart >= firstChunk_;
        return evlrs ? std::min(header_.evlrStart, file_.size()) : file_.size();
    }

    void add(const laz::ChunkSize& size) {
        block_.chunks.push_back({pointsSoFar(), size.points, chunksEnd(), size.bytes});
    }
    std::uint64_t pointsSoFar() const {
        return block_.chunks.empty() ? 0 : block_.chunks.back().first + block_.chunks.back().points;
    }
    std::uint64_t chunksEnd() const {
        return block_.chunks.empty() ? firstChunk_ : block_.chunks.back().offset + block_.chunks.back().bytes;
    }

    const InputFile& file_;
    const LasHeader& header_;
    LazBlock& block_;
    std::uint64_t firstChunk_; // in the file
};

/// Without points the table is what its writer thinks that it should be.
std::uint64_t endWithoutPoints(const InputFile& file, const LasHeader& header) {
    return header.evlrCount > 0 ? header.evlrStart : file.size();
}

} // namespace

const LasRecord* compressionRecord(const std::vector<LasRecord>& vlrs) {
    const auto found = std::ranges::find_if(
        vlrs, [](const LasRecord& record) { return record.userId == "laszip encoded" && record.recordId == 22204; });
    return found == vlrs.end() ? nullptr : &*found;
}

laz::ReadBytes readFrom(const InputFile& file, std::uint64_t offset) {
    return [&file, offset](std::uint64_t from, std::span<std::byte> bytes) { file.read(offset + from, bytes); };
}

LazBlock readLazBlock(const InputFile& file, const LasHeader& header, const LasRecord& compression,
                      std::vector<std::string>& warnings) {
    constexpr std::size_t largestPayload = 1 << 16;
    LazBlock block;
    block.layoutOffset = compression.payloadOffset;
    try {
        block.layout =
            laz::Layout::parse(readPayload(file, compression, largestPayload), header.pointFormat, header.recordLength);
    } catch (const laz::Error& error) {
        throw Failure(fmt::format("{}: at offset {}, in the record of the compression, {}; the file is damaged, or "
                                  "compressed in a way that no program writes.",
                                  file.path(), compression.payloadOffset, error.what()));
    }
    if (header.pointCount == 0) {
        block.end = endWithoutPoints(file, header);
        return block;
    }
    BlockReader reader(file, header, block);
    if (!block.layout.chunked()) {
        reader.oneStream();
        return block;
    }
    try {
        reader.byTable();
    } catch (const laz::Error& ofTable) {
        try {
            reader.byChunks();
        } catch (const laz::Error& ofChunks) {
            const std::size_t whole = block.chunks.size();
            throw Failure(fmt::format("{}: at offset {} {}, and in chunk {} of the points {}; the file is damaged or "
                                      "not whole, so get it again from where it came.",
                                      file.path(), header.offsetToPoints, ofTable.what(), whole, ofChunks.what()));
        }
        warnings.push_back(fmt::format("The table of the chunks is missing or wrong (at offset {} {}); it was made "
                                       "again from the {} chunks.",
                                       header.offsetToPoints, ofTable.what(), block.chunks.size()));
    }
    return block;
}

} // namespace corvane

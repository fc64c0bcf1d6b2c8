// SPDX-License-Identifier: Apache-2.0
#include "las/LazBlock.hpp"

#include "base/InOrder.hpp"
#include "las/Damage.hpp"
#include "las/LittleEndian.hpp"
#include "laz/ChunkTable.hpp"
#include "laz/MostPoints.hpp"

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

    /// The chunk behind the last one that was found, as far as the file has it. Nobody knows how many points one of
    /// variable size has.
    void addCutChunk() {
        const std::uint64_t offset = chunksEnd(), end = evlrsOrEnd(), left = header_.pointCount - pointsSoFar();
        block_.end = std::max(offset, end);
        if (block_.layout.variable() || left == 0 || end <= offset) return;
        add({std::min<std::uint64_t>(left, block_.layout.chunkPoints), end - offset});
    }

    /// All points in one stream, up to what follows.
    void oneStream() {
        const std::uint64_t begin = header_.offsetToPoints;
        block_.end = evlrsOrEnd();
        block_.chunks.push_back({0, header_.pointCount, begin, block_.end - begin, header_.pointCount});
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
        block_.chunks.push_back({pointsSoFar(), size.points, chunksEnd(), size.bytes, size.points});
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

bool isCompressionRecord(const LasRecord& record) {
    return record.userId == "laszip encoded" && record.recordId == 22204;
}

const LasRecord* compressionRecord(const std::vector<LasRecord>& vlrs) {
    const auto found = std::ranges::find_if(vlrs, isCompressionRecord);
    return found == vlrs.end() ? nullptr : &*found;
}

laz::ReadBytes readFrom(const InputFile& file, std::uint64_t offset) {
    return [&file, offset](std::uint64_t from, std::span<std::byte> bytes) { file.read(offset + from, bytes); };
}

namespace {

LazBlock readLayout(const InputFile& file, const LasHeader& header, const LasRecord& compression) {
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
    return block;
}

/// What is odd, and what keeps the rest of the chunks from being found; empty for nothing.
struct Remarks {
    std::string warning, problem;
};

/// Finds the chunks by their table, or one from the other.
Remarks findChunks(const InputFile& file, const LasHeader& header, LazBlock& block) {
    if (header.pointCount == 0) {
        block.end = endWithoutPoints(file, header);
        return {};
    }
    BlockReader reader(file, header, block);
    if (!block.layout.chunked()) {
        reader.oneStream();
        return {};
    }
    try {
        reader.byTable();
        return {};
    } catch (const laz::Error& ofTable) {
        const auto place = fmt::format("at offset {} {}", header.offsetToPoints, ofTable.what());
        try {
            reader.byChunks();
        } catch (const laz::Error& ofChunk) {
            return {"", fmt::format("{}, and in chunk {} {}", place, block.chunks.size(), ofChunk.what())};
        }
        return {fmt::format("The table of the chunks is missing or wrong ({}); it was made again from the {} chunks.",
                            place, block.chunks.size()),
                ""};
    }
}

/// How many points of a chunk can be trusted. A damaged one says nothing of where the damage begins; one that the file
/// cuts off is sound up to there.
std::uint64_t soundPointsOf(const InputFile& file, const LazBlock& block, const LazChunk& chunk) {
    constexpr std::size_t pieceBytes = std::size_t{1} << 20;
    const std::size_t stride = block.layout.recordLength(), piecePoints = std::max<std::size_t>(pieceBytes / stride, 1);
    const bool cut = chunk.offset + chunk.bytes >= file.size();
    try {
        const auto decoder =
            laz::decodeChunk(block.layout, readFrom(file, chunk.offset), chunk.bytes, chunk.points, {});
        std::vector<std::byte> records(piecePoints * stride);
        for (std::uint64_t done = 0; done < chunk.points; done += piecePoints) {
            const std::size_t count = std::min<std::uint64_t>(piecePoints, chunk.points - done);
            const std::size_t sound = decoder->decode(std::span(records).first(count * stride));
            if (sound < count) return cut ? done + sound : 0;
        }
        return decoder->usedUp() || !block.layout.chunked() ? chunk.points : 0;
    } catch (const laz::Error&) {
        return 0;
    }
}

/// Leaves the sound points, counted anew.
void keepSound(LazBlock& block) {
    std::uint64_t first = 0;
    for (LazChunk& chunk : block.chunks) {
        chunk.first = first;
        first += chunk.sound;
    }
    std::erase_if(block.chunks, [](const LazChunk& chunk) { return chunk.sound == 0; });
}

} // namespace

LazBlock readLazBlock(const InputFile& file, const LasHeader& header, const LasRecord& compression,
                      std::vector<std::string>& warnings) {
    LazBlock block = readLayout(file, header, compression);
    const Remarks remarks = findChunks(file, header, block);
    if (!remarks.problem.empty())
        throw Failure(fmt::format("{}: {}; the file is damaged or not whole, so get it again from where it came, or "
                                  "save what is sound of it with corvane convert.",
                                  file.path(), remarks.problem));
    for (const LazChunk& chunk : block.chunks)
        if (chunk.points > laz::mostPoints(chunk.bytes))
            throw damage(file.path(), chunk.offset, fmt::format("{} bytes for {} points", chunk.bytes, chunk.points),
                         fmt::format("at most {} points", laz::mostPoints(chunk.bytes)));
    if (!remarks.warning.empty()) warnings.push_back(remarks.warning);
    return block;
}

LazBlock readSoundLazBlock(const InputFile& file, const LasHeader& header, const LasRecord& compression,
                           std::vector<std::string>& warnings, std::vector<std::string>& losses) {
    LazBlock block = readLayout(file, header, compression);
    const Remarks remarks = findChunks(file, header, block);
    if (!remarks.warning.empty()) warnings.push_back(remarks.warning);
    if (!remarks.problem.empty()) {
        BlockReader(file, header, block).addCutChunk();
        losses.push_back(fmt::format("The points are not whole: {}.", remarks.problem));
    }
    inOrder(
        block.chunks.size(), [&](std::size_t i) { return soundPointsOf(file, block, block.chunks[i]); },
        [&](std::size_t i, std::uint64_t sound) {
            LazChunk& chunk = block.chunks[i];
            chunk.sound = sound;
            if (sound < chunk.points)
                losses.push_back(
                    fmt::format("Of chunk {}, at offset {}, {} of {} points can be read, from point {} on.", i,
                                chunk.offset, sound, chunk.points, chunk.first));
        });
    keepSound(block);
    if (!losses.empty())
        losses.push_back(fmt::format("{} of {} points are read.", block.soundPoints(), header.pointCount));
    return block;
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
// The records of a COPC in a file that is otherwise sound.
//
// Input: what to do, the payload of the record copc/1 as far as it is free (40 bytes), then entries of the hierarchy.
// An entry without bytes takes offset and size of what its offset counts: a chunk, or a page of the entries from there
// on.
#include "Saving.hpp"
#include "base/Failure.hpp"
#include "las/LittleEndian.hpp"
#include "laz/ChunkTable.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

using namespace corvane;
using fuzz::require;
using Bytes = std::vector<std::byte>;

constexpr std::size_t HeaderBytes = 375, InfoBytes = 160, FreeBytes = 40, RecordBytes = 30;
constexpr std::size_t RootSizePlace = 48; // in the payload of copc/1
constexpr std::uint64_t Chunks = 5;       // of 1, 2, 3 ... points

class File {
public:
    File(std::uint8_t flags, std::span<const std::byte> info, std::span<const std::byte> entries)
        : flags_(flags), entries_(entries.begin(), entries.end()) {
        header_.versionMajor = 1;
        header_.versionMinor = 4;
        header_.headerSize = HeaderBytes;
        header_.pointFormat = 6;
        header_.recordLength = RecordBytes;
        header_.pointCount = Chunks * (Chunks + 1) / 2;
        header_.scale = {0.01, 0.01, 0.01};
        bytes_.resize(HeaderBytes);
        Bytes payload(InfoBytes);
        std::ranges::copy(info, payload.begin());
        infoPlace_ = append(encodeVlr(4, "copc", 1, "", payload)) - InfoBytes;
        append(encodeVlr(4, "laszip encoded", 22204, "", layout_.encode()));
        header_.vlrCount = 2;
        header_.offsetToPoints = static_cast<std::uint32_t>(bytes_.size());
        addChunks();
        addHierarchy();
        const Bytes header = header_.encode();
        std::ranges::copy(header, bytes_.begin());
        constexpr std::size_t formatPlace = 104;
        bytes_[formatPlace] |= std::byte{0x80};
    }

    const Bytes& bytes() const { return bytes_; }

private:
    enum Flag : std::uint8_t { RootElsewhere = 1 };

    /// Returns where the file ends then.
    std::uint64_t append(std::span<const std::byte> bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return bytes_.size();
    }

    void addChunks() {
        append(Bytes(sizeof(std::int64_t)));
        for (std::size_t points = 1; points <= Chunks; ++points) {
            const auto encoder = laz::encodeChunk(layout_);
            encoder->encode(Bytes(points * RecordBytes, std::byte(points)));
            const Bytes chunk = encoder->finish();
            chunkPlaces_.push_back(bytes_.size());
            sizes_.push_back({points, chunk.size()});
            append(chunk);
        }
        store(std::span(bytes_), header_.offsetToPoints, static_cast<std::int64_t>(bytes_.size()));
        append(laz::table::encode(layout_, sizes_));
    }

    void addHierarchy() {
        header_.evlrCount = 1;
        header_.evlrStart = bytes_.size();
        constexpr std::size_t headBytes = 60;
        Bytes head(headBytes);
        store(std::span(head), 2, std::array{'c', 'o', 'p', 'c'});
        store(std::span(head), 18, std::uint16_t{1000});
        store(std::span(head), 20, std::uint64_t{entries_.size()});
        const std::uint64_t place = append(head);
        for (std::size_t at = 0; at + CopcEntry::Size <= entries_.size(); at += CopcEntry::Size) settle(at, place);
        append(entries_);
        if (flags_ & RootElsewhere) return;
        const auto info = std::span(bytes_).subspan(infoPlace_, InfoBytes);
        store(info, Copc::RootOffsetPlace, place);
        const auto rootEntries = std::min<std::uint64_t>(entries_.size() / CopcEntry::Size, 1 + (flags_ >> 1));
        store(info, RootSizePlace, rootEntries * CopcEntry::Size);
    }

    /// Gives an entry that counts what it means the place of that.
    void settle(std::size_t at, std::uint64_t place) {
        const auto entry = std::span(entries_).subspan(at, CopcEntry::Size);
        const auto offset = load<std::uint64_t>(entry, CopcEntry::OffsetPlace);
        const auto bytes = load<std::int32_t>(entry, 24), points = load<std::int32_t>(entry, 28);
        const std::uint64_t count = entries_.size() / CopcEntry::Size;
        if (bytes == 0 && points > 0 && offset < Chunks) {
            store(entry, CopcEntry::OffsetPlace, chunkPlaces_[offset]);
            store(entry, 24, static_cast<std::int32_t>(sizes_[offset].bytes));
            store(entry, 28, static_cast<std::int32_t>(sizes_[offset].points));
        } else if (bytes == 0 && points < 0 && offset < count) {
            const std::uint64_t entries = std::min<std::uint64_t>(count - offset, -std::int64_t{points});
            store(entry, CopcEntry::OffsetPlace, place + offset * CopcEntry::Size);
            store(entry, 24, static_cast<std::int32_t>(entries * CopcEntry::Size));
        }
    }

    std::uint8_t flags_;
    Bytes entries_, bytes_;
    laz::Layout layout_ = laz::Layout::standard(6, RecordBytes, laz::Layout::Variable);
    LasHeader header_;
    std::uint64_t infoPlace_ = 0;
    std::vector<std::uint64_t> chunkPlaces_;
    std::vector<laz::ChunkSize> sizes_;
};

/// What a COPC that was read promises.
void checkNodes(const LasFile& las, const Copc& copc) {
    require(copc.entries.size() <= copc.hierarchy.payloadLength / CopcEntry::Size);
    require(copc.nodeOfChunk.size() == las.compression()->chunks.size());
    for (std::size_t i = 0; i < copc.nodeOfChunk.size(); ++i) {
        const CopcEntry& node = copc.entries[copc.nodeOfChunk[i]];
        const LazChunk& chunk = las.compression()->chunks[i];
        require(node.offset == chunk.offset && std::uint64_t(node.points) == chunk.points);
        const Copc::Box box = copc.boxOf(node);
        for (std::size_t axis = 0; axis < 3; ++axis)
            require(std::isfinite(box.low[axis]) && box.low[axis] <= box.high[axis]);
    }
}

/// After an edit it is still one, of the same nodes.
void saveEdited(const LasFile& las, const Copc& copc) {
    static const fuzz::SavedFile packed(".copc.laz");
    const Dimension& dimension = *las.find("Classification");
    const Bytes values(4, std::byte{7});
    const PointEdits edits({{dimension, 4, values}}, nullptr);
    const LasFile saved = packed.save(las, edits);
    require(saved.copc && saved.copc->nodeOfChunk == copc.nodeOfChunk);
    Bytes records = fuzz::allRecords(las);
    edits.apply(records, RecordBytes, 0);
    require(fuzz::allRecords(saved) == records);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1 + FreeBytes) return 0;
    const auto input = std::as_bytes(std::span(data, size)).subspan(1);
    static const fuzz::MemoryFile file;
    file.hold(File(data[0], input.first(FreeBytes), input.subspan(FreeBytes)).bytes());
    const auto las =
        LasFile::open(file.path); // fails for none: points are sound, and the records do not matter to them
    require(las.points->count() == las.header.pointCount && (las.copc || !las.warnings.empty()));
    if (!las.copc) return 0;
    checkNodes(las, *las.copc);
    saveEdited(las, *las.copc);
    return 0;
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/Layout.hpp"

#include <functional>
#include <memory>
#include <span>
#include <vector>

// LAZ: the records of a LAS file, compressed without loss.
//
// The points are split into chunks, each of which can be decoded alone. A chunk begins with its first record as it is;
// every other field of every other record is predicted from what came before, and what differs is entropy coded
// (EntropyCoder.hpp, IntegerCoder.hpp) by models that start anew in each chunk. The record consists of items, a file
// each: the point itself (Point10.hpp, Point14.hpp), time, colour, near infrared, wave packet, extra bytes.
//
// - Point formats 0 to 5 are coded pointwise: one stream, in which the items of the second point follow each other,
// then
//   those of the third. Whoever wants one field decodes all.
// - Point formats 6 to 10 are layered: X, Y and the returns make one stream, and every other field a stream of its own,
//   whose length stands at the head of the chunk. A field takes the first layer and its own; a layer in which nothing
//   changes is left out. All state exists once for each channel of the scanner.
//
// How many points and bytes the chunks have stands in a table behind the last one (ChunkTable.hpp); what kinds of items
// there are, and how many points a chunk has, in a VLR (Layout.hpp). Early files have one stream without chunks.

namespace laz {

/// Fills `bytes` with those from `offset` on, counted from where the chunk begins. Throws what its maker wants.
using ReadBytes = std::function<void(std::uint64_t offset, std::span<std::byte> bytes)>;

/// Which layers of a chunk to decode, parallel to Layout::layers(). The first one is decoded with any other.
using LayerSet = std::vector<bool>;

/// Decodes a chunk from its first point to its last, a piece at a time, without holding all of it.
class ChunkDecoder {
public:
    virtual ~ChunkDecoder() = default;

    /// Decodes the next points into whole records, which must not be more than are left. Of a layered chunk only the
    /// bytes of the wanted layers, and of those that they need, are written. Returns how many records are sound; fewer
    /// than asked for when the chunk is damaged there, and none from then on. Damage may show only later, or not at
    /// all.
    virtual std::size_t decode(std::span<std::byte> records) = 0;

    /// Whether the last point has used up what there was, as it does in a sound chunk.
    virtual bool usedUp() const = 0;
};

/// `bytes` is the length of the chunk, `points` their number. Throws Error when the head of a layered chunk makes no
/// sense.
std::unique_ptr<ChunkDecoder> decodeChunk(const Layout& layout, ReadBytes read, std::uint64_t bytes,
                                          std::uint64_t points, const LayerSet& wanted = {});

struct ChunkSize {
    std::uint64_t points = 0;
    std::uint64_t bytes = 0;

    bool operator==(const ChunkSize&) const = default;
};

/// The size of a chunk of which it is known where it begins, and that it has at most so many points and bytes: for
/// files whose table is gone. Of a layered chunk its head tells, any other one is decoded, so that the number of points
/// must be right. Throws Error for a chunk that is not whole.
ChunkSize measureChunk(const Layout& layout, const ReadBytes& read, const ChunkSize& most);

/// Encodes a chunk, a piece at a time.
class ChunkEncoder {
public:
    virtual ~ChunkEncoder() = default;

    /// Whole records, those behind the last ones.
    virtual void encode(std::span<const std::byte> records) = 0;

    /// The chunk; of at least one point. Nothing may be encoded afterwards.
    virtual std::vector<std::byte> finish() = 0;
};

std::unique_ptr<ChunkEncoder> encodeChunk(const Layout& layout);

/// The layers that hold any of these bytes; empty for what is not layered.
LayerSet layersOf(const Layout& layout, std::span<const RecordBytes> bytes);

} // namespace laz

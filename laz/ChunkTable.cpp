// SPDX-License-Identifier: Apache-2.0
#include "laz/ChunkTable.hpp"

#include "laz/DecoderStream.hpp"
#include "laz/IntegerCoder.hpp"
#include "laz/MostPoints.hpp"
#include "laz/Record.hpp"

#include <fmt/format.h>

namespace laz::table {
namespace {

constexpr std::uint32_t PointsContext = 0, BytesContext = 1;

/// One size after the other, each predicted by the one before.
template <class Coder>
class Sizes {
public:
    explicit Sizes(bool variable) : variable_(variable) {}

    ChunkSize code(Coder& coder, const ChunkSize& real) {
        if (variable_) points_ = next(coder, points_, PointsContext, real.points);
        bytes_ = next(coder, bytes_, BytesContext, real.bytes);
        return {static_cast<std::uint32_t>(points_), static_cast<std::uint32_t>(bytes_)};
    }

private:
    std::int32_t next(Coder& coder, std::int32_t last, std::uint32_t context, std::uint64_t real) {
        return sizes_.code(coder, last, context, static_cast<std::int32_t>(static_cast<std::uint32_t>(real)));
    }

    bool variable_;
    std::int32_t points_ = 0, bytes_ = 0;
    IntegerCoder<Coder, 32, 2> sizes_;
};

std::uint64_t pointsOfFixed(const Layout& layout, std::uint64_t points, std::uint64_t index) {
    const std::uint64_t before = index * layout.chunkPoints;
    return std::min<std::uint64_t>(layout.chunkPoints, points - std::min(points, before));
}

std::uint32_t readCount(const Layout& layout, const ReadBytes& read, std::uint64_t bytes, std::uint64_t points,
                        std::uint64_t chunkBytes) {
    if (bytes < HeadBytes) throw Error(fmt::format("found {} bytes, expected at least {}", bytes, HeadBytes));
    std::array<std::byte, HeadBytes> head;
    read(0, head);
    const auto version = get<std::uint32_t>(head.data()), count = get<std::uint32_t>(head.data() + 4);
    if (version != 0) throw Error(fmt::format("found version {}, expected 0", version));
    const std::uint64_t most = std::min(points, chunkBytes / layout.smallestChunk());
    if (count > most) throw Error(fmt::format("found {} chunks, expected at most {}", count, most));
    const std::uint64_t fixed = points / layout.chunkPoints + (points % layout.chunkPoints > 0);
    if (!layout.variable() && count != fixed)
        throw Error(fmt::format("found {} chunks of {} points, expected {} for {} points", count, layout.chunkPoints,
                                fixed, points));
    return count;
}

} // namespace

Decoded decode(const Layout& layout, const ReadBytes& read, std::uint64_t bytes, std::uint64_t points,
               std::uint64_t chunkBytes) {
    std::vector<ChunkSize> chunks(readCount(layout, read, bytes, points, chunkBytes));
    if (chunks.empty() && points == 0) return {{}, HeadBytes};
    DecoderStream stream(read, HeadBytes, bytes);
    Sizes<Decoder> sizes(layout.variable());
    ChunkSize sum;
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        constexpr std::size_t mostBytesOfChunk = 16;
        chunks[i] = sizes.code(stream.withBytes(mostBytesOfChunk), {});
        if (!layout.variable()) chunks[i].points = pointsOfFixed(layout, points, i);
        sum.points += chunks[i].points;
        sum.bytes += chunks[i].bytes;
        const std::uint64_t least = layout.smallestChunk();
        const std::uint64_t most = mostPoints(chunks[i].bytes);
        if (stream.decoder().damaged() || chunks[i].bytes < least || chunks[i].points == 0 || chunks[i].points > most ||
            sum.bytes > chunkBytes)
            throw Error(fmt::format(
                "found chunk {} with {} points and {} bytes, expected 1 to {} points and at least {} bytes, "
                "at most {} in all chunks",
                i, chunks[i].points, chunks[i].bytes, most, least, chunkBytes));
    }
    if (sum.points != points || sum.bytes != chunkBytes)
        throw Error(fmt::format("found chunks with {} points and {} bytes in all, expected {} and {}", sum.points,
                                sum.bytes, points, chunkBytes));
    return {std::move(chunks), stream.position()};
}

std::vector<std::byte> encode(const Layout& layout, std::span<const ChunkSize> chunks) {
    std::vector<std::byte> bytes(HeadBytes);
    put(bytes.data() + 4, static_cast<std::uint32_t>(chunks.size()));
    if (chunks.empty()) return bytes;
    Encoder encoder(bytes);
    Sizes<Encoder> sizes(layout.variable());
    for (const ChunkSize& chunk : chunks) sizes.code(encoder, chunk);
    encoder.finish();
    return bytes;
}

} // namespace laz::table

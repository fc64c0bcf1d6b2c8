// SPDX-License-Identifier: Apache-2.0
#include "laz/Chunk.hpp"

#include "laz/LayeredChunk.hpp"
#include "laz/MostPoints.hpp"
#include "laz/PointwiseChunk.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace laz {

std::unique_ptr<ChunkDecoder> decodeChunk(const Layout& layout, ReadBytes read, std::uint64_t bytes,
                                          std::uint64_t points, const LayerSet& wanted) {
    if (bytes < layout.smallestChunk())
        throw Error(fmt::format("found a chunk of {} bytes, expected at least {}", bytes, layout.smallestChunk()));
    if (layout.layered()) return decodeLayered(layout, std::move(read), bytes, points, wanted);
    return decodePointwise(layout, std::move(read), bytes);
}

std::unique_ptr<ChunkEncoder> encodeChunk(const Layout& layout) {
    return layout.layered() ? encodeLayered(layout) : encodePointwise(layout);
}

ChunkSize measureChunk(const Layout& layout, const ReadBytes& read, const ChunkSize& most) {
    if (most.bytes < layout.smallestChunk())
        throw Error(fmt::format("found {} bytes, expected a chunk of at least {}", most.bytes, layout.smallestChunk()));
    const ChunkSize size = layout.layered() ? measureLayered(layout, read, most) : measurePointwise(layout, read, most);
    const std::uint64_t points = std::min(most.points, mostPoints(size.bytes));
    if (size.points == 0 || size.points > points || size.bytes > most.bytes)
        throw Error(fmt::format("found a chunk of {} points and {} bytes, expected at most {} and {}", size.points,
                                size.bytes, points, most.bytes));
    return size;
}

LayerSet layersOf(const Layout& layout, std::span<const RecordBytes> bytes) {
    LayerSet wanted;
    for (const Layer& layer : layout.layers()) {
        bool holds = false;
        for (const RecordBytes& range : bytes)
            for (std::size_t byte = range.begin; byte < range.end; ++byte)
                holds = holds || layer.holds(byte, range.bits);
        wanted.push_back(holds);
    }
    return wanted;
}

} // namespace laz

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/Chunk.hpp"

#include <optional>

namespace laz {

/// A chunk of point formats 6 to 10: first record, number of points, lengths of the layers, the layers.
std::unique_ptr<ChunkDecoder> decodeLayered(const Layout& layout, ReadBytes read, std::uint64_t bytes,
                                            std::uint64_t points, const LayerSet& wanted);
ChunkSize measureLayered(const Layout& layout, const ReadBytes& read, const ChunkSize& most);
std::unique_ptr<ChunkEncoder> encodeLayered(const Layout& layout);

/// A layered chunk as it lies in a file: everything but the layers' bytes.
struct LayeredHead {
    std::vector<std::byte> firstRecord;
    std::uint32_t points = 0;
    std::vector<std::uint32_t> layerBytes; ///< parallel to Layout::layers(); 0: left out

    std::uint64_t begin(std::size_t layer) const; ///< of the layer, in the chunk
    std::uint64_t size() const;                   ///< of the chunk

    /// The head of a chunk that has at least so many bytes; whether layers and points fit is for the caller to see.
    static LayeredHead read(const Layout& layout, const ReadBytes& read);

    /// Bytes of a head.
    static std::size_t sizeOf(const Layout& layout);
};

/// The chunk with other values in some of its layers: `records` are those of all its points, sound in the bytes of the
/// changed layers and the whole first record; when the first layer is changed, in its bytes and those of the angle, the
/// source and the time, too. Layers of changed times depend on each other: such a chunk is encoded anew. All other
/// layers are copied as they are.
std::vector<std::byte> replaceLayers(const Layout& layout, std::span<const std::byte> chunk,
                                     std::span<const std::byte> records, const LayerSet& changed);

/// The same in the room of the old chunk: each layer keeps its length, and one that needs fewer bytes ends with zeros.
/// None when a layer needs more, or was left out and is needed now.
std::optional<std::vector<std::byte>> replaceLayersInPlace(const Layout& layout, std::span<const std::byte> chunk,
                                                           std::span<const std::byte> records, const LayerSet& changed);

} // namespace laz

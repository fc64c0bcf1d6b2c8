// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LazBlock.hpp"
#include "las/PointEdits.hpp"

namespace corvane {

/// Makes chunks out of records. What was encoded is decoded again and compared: a chunk that does not give back its
/// records throws std::logic_error instead of reaching a file. Several threads may use one at once.
class ChunkPacker {
public:
    explicit ChunkPacker(laz::Layout layout) : layout_(std::move(layout)) {}

    /// A chunk of these records, at least one.
    std::vector<std::byte> pack(std::span<const std::byte> records) const;

    /// The chunk of a file with its edits; none when they change nothing. Of a layered one only the layers that change
    /// are encoded, and all others are the bytes that they were. Throws laz::Error for a chunk that is damaged.
    std::optional<std::vector<std::byte>> repack(const InputFile& file, const LazChunk& chunk,
                                                 const PointEdits& edits) const;

private:
    laz::LayerSet layersToDecode(const laz::LayerSet& changed) const;
    std::vector<std::byte> decoded(std::span<const std::byte> chunk, std::uint64_t points,
                                   const laz::LayerSet& layers) const;
    void check(std::span<const std::byte> chunk, std::span<const std::byte> records, const laz::LayerSet& layers) const;

    laz::Layout layout_;
};

} // namespace corvane

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

    /// What becomes of the bytes of a layered chunk when nothing behind it may move.
    struct InPlace {
        bool fits = true;
        std::vector<std::byte> before, after; ///< as many; empty when the edits change nothing, or do not fit
    };
    /// Layers that need fewer bytes end with zeros. Does not fit when one needs more, or when the edits change what
    /// other layers are predicted from. Throws laz::Error for a chunk that is damaged.
    InPlace repackInPlace(const InputFile& file, const LazChunk& chunk, const PointEdits& edits) const;

private:
    /// A chunk of a file, and its records before and after edits.
    struct Edited {
        WantedBytes places; ///< that differ; none: nothing does
        std::vector<std::byte> bytes, before, after;
        laz::LayerSet read; ///< layers that are sound in the records
    };
    Edited edit(const InputFile& file, const LazChunk& chunk, const PointEdits& edits) const;
    bool mustBePacked(const laz::LayerSet& changed) const;
    laz::LayerSet layersToReplace(const WantedBytes& places) const;
    laz::LayerSet layersToDecode(const laz::LayerSet& changed) const;
    std::vector<std::byte> decoded(std::span<const std::byte> chunk, std::uint64_t points,
                                   const laz::LayerSet& layers) const;
    void check(std::span<const std::byte> chunk, std::span<const std::byte> records, const laz::LayerSet& layers) const;

    laz::Layout layout_;
};

} // namespace corvane

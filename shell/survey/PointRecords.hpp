// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Chunk.hpp"
#include "las/LasFile.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace corvane {

/// Consecutive records of a survey, such as the vertices of one fragment.
struct RecordRange {
    std::uint64_t first = 0;
    std::size_t count = 0;
};

/// Reads the records of the range a piece at a time and calls `use(records, first, count)` with each: the bytes, which
/// are valid during the call, and which of the range they are, `first` counted from its start.
template <class Use>
void forRecords(const LasFile& las, const RecordRange& range, Use use) {
    constexpr std::size_t pieceBytes = std::size_t{1} << 20; // stays in the processor's cache while it is decoded
    const std::size_t stride = las.header.recordLength;
    const std::size_t piece = std::max<std::size_t>(pieceBytes / stride, 1);
    Holdfast::Chunk<std::byte> buffer(std::min(piece, range.count) * stride);
    for (std::size_t first = 0; first < range.count; first += piece) {
        const std::size_t count = std::min(piece, range.count - first);
        const std::span<std::byte> records(buffer.values.data(), count * stride);
        las.file->read(las.header.offsetToPoints + (range.first + first) * stride, records);
        use(std::span<const std::byte>(records), first, count);
    }
}

} // namespace corvane

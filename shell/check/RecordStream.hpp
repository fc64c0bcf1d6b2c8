// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Chunk.hpp"
#include "base/Watch.hpp"
#include "las/LasFile.hpp"

#include <cstddef>
#include <cstdint>
#include <span>

namespace corvane {

/// Records of two surveys that belong together: the n-th of the one and the n-th of the other.
struct RecordPairs {
    std::span<const std::byte> before, after;
    std::size_t strideBefore = 0, strideAfter = 0; ///< bytes of a record
    std::size_t count = 0;
    std::uint64_t first = 0; ///< index of the first pair, counted in the survey that has fewer points
};

/// The records of a survey from the first to the last, a piece at a time.
class RecordStream {
public:
    /// The survey must outlive the stream.
    RecordStream(const LasFile& las, std::size_t pieceRecords);

    /// Reads the next piece; false at the end.
    bool next();

    /// The piece at hand, valid until the next one.
    std::span<const std::byte> records() const { return std::span(buffer_.values).first(count_ * stride()); }
    std::size_t count() const { return count_; }
    std::uint64_t first() const { return first_; } ///< index of its first record
    std::uint64_t total() const { return points_.count(); }
    std::size_t stride() const { return points_.recordLength(); }

private:
    const PointReader& points_;
    std::unique_ptr<PointCursor> cursor_;
    std::size_t pieceRecords_;
    Holdfast::Chunk<std::byte> buffer_;
    std::size_t count_ = 0;
    std::uint64_t first_ = 0;
};

/// How many records of either survey make a piece that stays in the processor's cache.
std::size_t pieceRecordsFor(const LasFile& before, const LasFile& after);

/// What those who watch a comparison are told.
inline const std::string ComparingWork = "Comparing";

} // namespace corvane

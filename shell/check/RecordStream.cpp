// SPDX-License-Identifier: Apache-2.0
#include "check/RecordStream.hpp"

#include <algorithm>

namespace corvane {

RecordStream::RecordStream(const LasFile& las, std::size_t pieceRecords)
    : las_(las),
      pieceRecords_(std::min<std::uint64_t>(pieceRecords, las.header.pointCount)),
      buffer_(pieceRecords_ * las.header.recordLength) {}

bool RecordStream::next() {
    first_ += count_;
    count_ = std::min<std::uint64_t>(pieceRecords_, total() - first_);
    las_.file->read(las_.header.offsetToPoints + first_ * stride(), std::span(buffer_.values).first(count_ * stride()));
    return count_ > 0;
}

std::size_t pieceRecordsFor(const LasFile& before, const LasFile& after) {
    constexpr std::size_t pieceBytes = std::size_t{1} << 19; // of each survey, so that both fit
    return pieceBytes / std::max(before.header.recordLength, after.header.recordLength);
}

} // namespace corvane

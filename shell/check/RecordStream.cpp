// SPDX-License-Identifier: Apache-2.0
#include "check/RecordStream.hpp"

#include <algorithm>

namespace corvane {

RecordStream::RecordStream(const LasFile& las, std::size_t pieceRecords)
    : points_(*las.points),
      cursor_(points_.ahead({0, static_cast<std::size_t>(points_.count())})),
      pieceRecords_(std::min<std::uint64_t>(pieceRecords, points_.count())),
      buffer_(pieceRecords_ * points_.recordLength()) {}

bool RecordStream::next() {
    first_ += count_;
    count_ = std::min<std::uint64_t>(pieceRecords_, total() - first_);
    cursor_->next(std::span(buffer_.values).first(count_ * stride()));
    return count_ > 0;
}

std::size_t pieceRecordsFor(const LasFile& before, const LasFile& after) {
    constexpr std::size_t pieceBytes = PointReader::CachedBytes / 2; // of each survey, so that both fit
    return std::min(before.points->recordsIn(pieceBytes), after.points->recordsIn(pieceBytes));
}

} // namespace corvane

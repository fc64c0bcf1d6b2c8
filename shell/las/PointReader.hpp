// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/Layout.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace corvane {

/// Consecutive points, such as the vertices of one fragment.
struct PointRange {
    std::uint64_t first = 0;
    std::size_t count = 0;
};

/// Which bytes of each record are to be sound; none named: all. What else is filled in is not said.
using WantedBytes = std::vector<laz::RecordBytes>;

/// A way through the points, from one to the next. One thread at a time may use it.
class PointCursor {
public:
    virtual ~PointCursor() = default;

    /// Fills `records`, whole ones, with those of the next points, of which there must be as many. Throws Failure when
    /// they cannot be read.
    virtual void next(std::span<std::byte> records) = 0;
};

/// The way from points to records: every reader of points goes through it, wherever they come from. Records are those
/// of the uncompressed point format. Several threads may read at once.
class PointReader {
public:
    virtual ~PointReader() = default;
    PointReader(const PointReader&) = delete;
    PointReader& operator=(const PointReader&) = delete;

    std::uint64_t count() const { return count_; }
    std::size_t recordLength() const { return recordLength_; } ///< bytes; never 0

    /// A cursor before the point `first`, which this must outlive.
    virtual std::unique_ptr<PointCursor> from(std::uint64_t first, const WantedBytes& wanted = {}) const = 0;

    /// The same for whoever will read all of a range: what takes time is done ahead of the cursor, on all threads.
    virtual std::unique_ptr<PointCursor> ahead(const PointRange& range, const WantedBytes& wanted = {}) const {
        return from(range.first, wanted);
    }

    /// Whether ranges join what is stored apart.
    enum class Joining { Small, None };

    /// Splits the points into ranges that are best read as a whole, of at most so many points.
    virtual std::vector<PointRange> ranges(std::size_t points, Joining = Joining::Small) const {
        return evenRanges(points);
    }

    /// Ranges of so many points each, but for the last one.
    std::vector<PointRange> evenRanges(std::size_t points) const {
        std::vector<PointRange> ranges;
        for (std::uint64_t first = 0; first < count_; first += ranges.back().count)
            ranges.push_back({first, static_cast<std::size_t>(std::min<std::uint64_t>(count_ - first, points))});
        return ranges;
    }

    /// Fills `records`, whole ones, with those of the points from `first` on, which must exist. Throws Failure when
    /// they cannot be read.
    void read(std::uint64_t first, std::span<std::byte> records, const WantedBytes& wanted = {}) const {
        from(first, wanted)->next(records);
    }

    /// Reads the points of the range a piece at a time and calls `use(records, first, count)` with each: the bytes,
    /// which are valid during the call, and which of the range they are, `first` counted from its start.
    template <class Use>
    void forPieces(const PointRange& range, const WantedBytes& wanted, Use use) const {
        const std::size_t piece = std::min(recordsIn(CachedBytes), range.count);
        const auto buffer = std::make_unique_for_overwrite<std::byte[]>(piece * recordLength_);
        const auto cursor = ahead(range, wanted);
        for (std::size_t first = 0; first < range.count; first += piece) {
            const std::size_t count = std::min(piece, range.count - first);
            const std::span records(buffer.get(), count * recordLength_);
            cursor->next(records);
            use(std::span<const std::byte>(records), first, count);
        }
    }

    /// How many records a piece of so many bytes has; at least one.
    std::size_t recordsIn(std::size_t bytes) const { return std::max<std::size_t>(bytes / recordLength_, 1); }

    /// What stays in the processor's cache while it is decoded.
    static constexpr std::size_t CachedBytes = std::size_t{1} << 18;

protected:
    PointReader(std::uint64_t count, std::size_t recordLength) : count_(count), recordLength_(recordLength) {}

private:
    std::uint64_t count_;
    std::size_t recordLength_;
};

} // namespace corvane

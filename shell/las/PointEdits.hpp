// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/CompatibilityForm.hpp"
#include "las/LasDimensions.hpp"
#include "las/PointReader.hpp"

#include <memory>
#include <span>
#include <vector>

namespace corvane {

/// New values of one dimension for consecutive points. They must fit it.
struct PointEdit {
    Dimension dimension;
    std::uint64_t first = 0;
    std::span<const std::byte> values; ///< as the dimension stores them, a byte each of a packed one

    std::uint64_t end() const { return first + values.size() / sizeOf(dimension.storage); }
};

/// What differs from the points as they were opened. Edits of different dimensions cover the same points, or none that
/// the other covers: those of one fragment.
class PointEdits {
public:
    PointEdits() = default;

    /// `owner` keeps the values alive.
    PointEdits(std::vector<PointEdit> edits, std::shared_ptr<const void> owner);

    /// The same, to be written into the records that a file stores in this form; null: those that are edited.
    PointEdits storedIn(std::shared_ptr<const CompatibilityForm> form) const;

    /// Writes the values into the records from the point `first` on, as far as there are any: the bits of the edited
    /// dimensions and no others.
    void apply(std::span<std::byte> records, std::size_t stride, std::uint64_t first) const;

    /// The bits that edits may change in the records of these points; none named: none.
    WantedBytes places(const PointRange& range) const;

    /// The stretches of points that are edited, in order, with gaps between them.
    std::vector<PointRange> stretches() const;

private:
    void write(std::span<std::byte> records, std::size_t stride, std::uint64_t first) const;

    /// Those that have any of the points from `first` to before `last`.
    std::span<const PointEdit> within(std::uint64_t first, std::uint64_t last) const;

    std::vector<PointEdit> edits_; // ordered by first point, and so by last one
    std::shared_ptr<const void> owner_;
    std::shared_ptr<const CompatibilityForm> form_; // of the records that they are written into
};

/// The points with their edits.
class EditedPoints : public PointReader {
public:
    EditedPoints(std::shared_ptr<const PointReader> points, PointEdits edits)
        : PointReader(points->count(), points->recordLength()), points_(std::move(points)), edits_(std::move(edits)) {}

    std::unique_ptr<PointCursor> from(std::uint64_t first, const WantedBytes& wanted) const override {
        return std::make_unique<Cursor>(*this, points_->from(first, wanted), first);
    }
    std::unique_ptr<PointCursor> ahead(const PointRange& range, const WantedBytes& wanted) const override {
        return std::make_unique<Cursor>(*this, points_->ahead(range, wanted), range.first);
    }
    std::vector<PointRange> ranges(std::size_t points, Joining joining) const override {
        return points_->ranges(points, joining);
    }

private:
    class Cursor : public PointCursor {
    public:
        Cursor(const EditedPoints& points, std::unique_ptr<PointCursor> original, std::uint64_t first)
            : points_(points), original_(std::move(original)), next_(first) {}

        void next(std::span<std::byte> records) override {
            original_->next(records);
            points_.edits_.apply(records, points_.recordLength(), next_);
            next_ += records.size() / points_.recordLength();
        }

    private:
        const EditedPoints& points_;
        std::unique_ptr<PointCursor> original_;
        std::uint64_t next_;
    };

    std::shared_ptr<const PointReader> points_;
    PointEdits edits_;
};

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

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

    /// Writes the values into the records from the point `first` on, as far as there are any: the bits of the edited
    /// dimensions and no others.
    void apply(std::span<std::byte> records, std::size_t stride, std::uint64_t first) const;

    /// The stretches of points that are edited, in order, with gaps between them.
    std::vector<PointRange> stretches() const;

private:
    std::vector<PointEdit> edits_; // ordered by first point, and so by last one
    std::shared_ptr<const void> owner_;
};

/// The points with their edits.
class EditedPoints : public PointReader {
public:
    EditedPoints(std::shared_ptr<const PointReader> points, PointEdits edits)
        : PointReader(points->count(), points->recordLength()), points_(std::move(points)), edits_(std::move(edits)) {}

    void read(std::uint64_t first, std::span<std::byte> records) const override {
        points_->read(first, records);
        edits_.apply(records, recordLength(), first);
    }

private:
    std::shared_ptr<const PointReader> points_;
    PointEdits edits_;
};

} // namespace corvane

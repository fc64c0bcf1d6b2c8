// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/CompatibilityForm.hpp"
#include "las/PointReader.hpp"

#include <memory>

namespace corvane {

/// Points that are stored in the form for older programs, as what they stand for.
class RestoredPoints : public PointReader {
public:
    RestoredPoints(std::shared_ptr<const PointReader> stored, std::shared_ptr<const CompatibilityForm> form)
        : PointReader(stored->count(), form->recordLength()), stored_(std::move(stored)), form_(std::move(form)) {}

    /// All bytes: formats up to 5 are not compressed in layers, of which some could be left out.
    std::unique_ptr<PointCursor> from(std::uint64_t first, const WantedBytes&) const override {
        return std::make_unique<Cursor>(*this, stored_->from(first));
    }
    std::unique_ptr<PointCursor> ahead(const PointRange& range, const WantedBytes&) const override {
        return std::make_unique<Cursor>(*this, stored_->ahead(range));
    }
    std::vector<PointRange> ranges(std::size_t points, Joining joining) const override {
        return stored_->ranges(points, joining);
    }

private:
    class Cursor : public PointCursor {
    public:
        Cursor(const RestoredPoints& points, std::unique_ptr<PointCursor> stored)
            : points_(points), stored_(std::move(stored)) {}

        void next(std::span<std::byte> records) override {
            const std::size_t stride = points_.recordLength();
            while (!records.empty()) {
                const auto piece = records.first(std::min(PieceRecords * stride, records.size()));
                buffer_.resize(piece.size() / stride * points_.stored_->recordLength());
                stored_->next(buffer_);
                points_.form_->restore(buffer_, piece);
                records = records.subspan(piece.size());
            }
        }

    private:
        static constexpr std::size_t PieceRecords = 4096;

        const RestoredPoints& points_;
        std::unique_ptr<PointCursor> stored_;
        std::vector<std::byte> buffer_;
    };

    std::shared_ptr<const PointReader> stored_;
    std::shared_ptr<const CompatibilityForm> form_;
};

} // namespace corvane

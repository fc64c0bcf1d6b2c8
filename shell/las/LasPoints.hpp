// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/InputFile.hpp"
#include "las/LasHeader.hpp"
#include "las/PointReader.hpp"

#include <memory>

namespace corvane {

/// The points of an uncompressed file, one record behind the other.
class LasPoints : public PointReader {
public:
    /// The header must be checked: its points lie in the file.
    LasPoints(std::shared_ptr<const InputFile> file, const LasHeader& header)
        : PointReader(header.pointCount, header.recordLength), file_(std::move(file)), start_(header.offsetToPoints) {}

    std::unique_ptr<PointCursor> from(std::uint64_t first, const WantedBytes&) const override {
        return std::make_unique<Cursor>(*file_, start_ + first * recordLength());
    }

private:
    class Cursor : public PointCursor {
    public:
        Cursor(const InputFile& file, std::uint64_t offset) : file_(file), offset_(offset) {}

        void next(std::span<std::byte> records) override {
            file_.read(offset_, records);
            offset_ += records.size();
        }

    private:
        const InputFile& file_;
        std::uint64_t offset_;
    };

    std::shared_ptr<const InputFile> file_;
    std::uint64_t start_; // of the first record, in the file
};

} // namespace corvane

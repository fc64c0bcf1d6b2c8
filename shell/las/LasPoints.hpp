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

    void read(std::uint64_t first, std::span<std::byte> records) const override {
        file_->read(start_ + first * recordLength(), records);
    }

private:
    std::shared_ptr<const InputFile> file_;
    std::uint64_t start_; // of the first record, in the file
};

} // namespace corvane

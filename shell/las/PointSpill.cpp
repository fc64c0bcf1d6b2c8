// SPDX-License-Identifier: Apache-2.0
#include "las/PointSpill.hpp"

#include <algorithm>

namespace corvane {

PointSpill::PointSpill(const std::string& folder, std::size_t recordLength)
    : file_(folder),
      recordLength_(recordLength),
      blockBytes_(std::max<std::size_t>(BlockBytes / recordLength, 1) * recordLength) {}

void PointSpill::settle(Bin& bin) {
    if (!bin.last_.empty()) flush(bin);
    bin.last_ = {};
}

void PointSpill::read(const Bin& bin, std::uint64_t first, std::span<std::byte> records) const {
    for (std::uint64_t at = first * recordLength_; !records.empty();) {
        const std::uint64_t inBlock = at % blockBytes_;
        const auto piece = records.first(std::min<std::uint64_t>(blockBytes_ - inBlock, records.size()));
        file_.read(bin.blocks_.at(at / blockBytes_) * blockBytes_ + inBlock, piece);
        records = records.subspan(piece.size());
        at += piece.size();
    }
}

void PointSpill::empty(Bin& bin) {
    free_.insert(free_.end(), bin.blocks_.begin(), bin.blocks_.end());
    bin = {};
}

void PointSpill::flush(Bin& bin) {
    std::uint64_t block = blocks_;
    if (free_.empty()) {
        ++blocks_;
    } else {
        block = free_.back();
        free_.pop_back();
    }
    file_.write(block * blockBytes_, bin.last_);
    bin.blocks_.push_back(block);
    bin.last_.clear();
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/ScratchFile.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace corvane {

/// Records on disc, sorted into bins as they come. Places in the file are used again when a bin is emptied.
class PointSpill {
public:
    /// Records in the order in which they were added.
    class Bin {
    public:
        std::uint64_t count() const { return count_; }

    private:
        friend PointSpill;
        std::uint64_t count_ = 0;
        std::vector<std::uint64_t> blocks_; // numbers, in the file
        std::vector<std::byte> last_;       // records that make no block yet
    };

    PointSpill(const std::string& folder, std::size_t recordLength);

    void add(Bin& bin, const std::byte* record) {
        if (bin.last_.empty()) bin.last_.reserve(blockBytes_);
        bin.last_.insert(bin.last_.end(), record, record + recordLength_);
        ++bin.count_;
        if (bin.last_.size() == blockBytes_) flush(bin);
    }

    /// No records will be added for now: gives the bin's memory back.
    void settle(Bin& bin);

    /// Fills `records` with those from number `first` on; of a bin that was settled. Several threads may read at once.
    void read(const Bin& bin, std::uint64_t first, std::span<std::byte> records) const;

    /// Leaves the bin without records.
    void empty(Bin& bin);

    /// Memory that a bin takes while records are added; a record that is longer takes more.
    static constexpr std::size_t BlockBytes = std::size_t{32} << 10;

private:
    void flush(Bin& bin);

    ScratchFile file_;
    std::size_t recordLength_, blockBytes_;
    std::uint64_t blocks_ = 0; // in the file
    std::vector<std::uint64_t> free_;
};

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace corvane {

/// How a file changes outside its points. Places are those of the file as it was; those in the header that say where
/// things are, and how many VLRs and EVLRs there are, follow by themselves.
class FileChange {
public:
    /// Bytes that take the place of others, fewer or more.
    struct Splice {
        std::uint64_t begin, end;
        std::vector<std::byte> bytes;
    };

    void overwrite(std::uint64_t offset, std::vector<std::byte> bytes) {
        add({offset, offset + bytes.size(), std::move(bytes)});
    }
    /// Another header in the place of the old one, of so many bytes.
    void replaceHeader(std::uint64_t oldSize, std::vector<std::byte> header) { add({0, oldSize, std::move(header)}); }
    void insertVlr(std::uint64_t offset, std::vector<std::byte> record) {
        add({offset, offset, std::move(record)});
        ++vlrs_;
    }
    void removeVlr(std::uint64_t begin, std::uint64_t end) {
        add({begin, end, {}});
        --vlrs_;
    }
    void removeEvlr(std::uint64_t begin, std::uint64_t end) {
        add({begin, end, {}});
        --evlrs_;
    }

    /// In order; they do not overlap.
    const std::vector<Splice>& splices() const { return splices_; }
    int moreVlrs() const { return vlrs_; }
    int moreEvlrs() const { return evlrs_; }

    /// Where the byte at `offset` will be, unless the points in front of it change their length.
    std::uint64_t moved(std::uint64_t offset) const {
        std::uint64_t place = offset;
        for (const Splice& splice : splices_)
            if (splice.end <= offset) place += splice.bytes.size() - (splice.end - splice.begin);
        return place;
    }

private:
    void add(Splice splice) {
        const auto behind = std::ranges::upper_bound(splices_, splice.begin, {}, &Splice::begin);
        splices_.insert(behind, std::move(splice));
    }

    std::vector<Splice> splices_;
    int vlrs_ = 0, evlrs_ = 0; // more or fewer than there were
};

} // namespace corvane

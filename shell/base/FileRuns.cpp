// SPDX-License-Identifier: Apache-2.0
#include "base/FileRuns.hpp"

#include <algorithm>

namespace corvane {
namespace {

constexpr std::size_t MarkedBytes = 4096; // of the runs between two marks

} // namespace

FileRuns::Iterator& FileRuns::Iterator::operator++() {
    run_ = {run_.end(), {}};
    if (rest_.left() == 0) return *this;
    run_.offset += rest_.number();
    run_.bytes = rest_.bytes(rest_.number());
    return *this;
}

FileRuns::Iterator FileRuns::Iterator::operator++(int) {
    const Iterator before = *this;
    ++*this;
    return before;
}

void FileRuns::add(std::uint64_t offset, std::span<const std::byte> bytes) {
    if (bytes.empty()) return;
    if (!empty() && offset == end_) return continueLast(bytes);
    if (empty() || encoded_.size() - marks_.back().next >= MarkedBytes) marks_.push_back({end_, encoded_.size()});
    putNumber(encoded_, offset - end_);
    lengthAt_ = encoded_.size();
    length_ = bytes.size();
    putNumber(encoded_, length_);
    putBytes(encoded_, bytes);
    ++count_;
    bytes_ += bytes.size();
    end_ = offset + bytes.size();
}

void FileRuns::continueLast(std::span<const std::byte> bytes) {
    const std::size_t before = lengthOfNumber(length_);
    length_ += bytes.size();
    encoded_.insert(encoded_.begin() + static_cast<std::ptrdiff_t>(lengthAt_), lengthOfNumber(length_) - before, {});
    writeNumber(&encoded_[lengthAt_], length_);
    putBytes(encoded_, bytes);
    bytes_ += bytes.size();
    end_ += bytes.size();
}

void FileRuns::addDifferences(std::uint64_t offset, std::span<const std::byte> before,
                              std::span<const std::byte> after) {
    for (std::size_t at = alikeUntil(0, before, after); at < before.size();) {
        std::size_t end = at + 1;
        while (end < before.size() && before[end] != after[end]) ++end;
        add(offset + at, after.subspan(at, end - at));
        at = alikeUntil(end, before, after);
    }
}

void FileRuns::add(const FileRuns& more) {
    if (more.empty()) return;
    const Run first = *more.begin(); // whose distance is another here
    add(first.offset, first.bytes);
    if (more.count() == 1) return;
    const auto second = static_cast<std::size_t>(first.bytes.data() + first.bytes.size() - more.encoded_.data());
    const std::size_t shift = encoded_.size() - second; // modulo: it may be less
    for (const Mark& mark : more.marks_)
        if (mark.next >= second) marks_.push_back({mark.end, mark.next + shift});
    putBytes(encoded_, std::span(more.encoded_).subspan(second));
    lengthAt_ = more.lengthAt_ + shift;
    length_ = more.length_;
    count_ += more.count_ - 1;
    bytes_ += more.bytes_ - first.bytes.size();
    end_ = more.end_;
}

void FileRuns::applyTo(std::uint64_t offset, std::span<std::byte> bytes) const {
    const std::uint64_t last = offset + bytes.size();
    const auto behind = std::ranges::upper_bound(marks_, offset, {}, &Mark::end);
    if (behind == marks_.begin()) return; // there are no runs
    const Mark& mark = *std::prev(behind);
    for (Iterator run(mark.end, std::span(encoded_).subspan(mark.next)); run != end() && run->offset < last; ++run) {
        const std::uint64_t from = std::max(run->offset, offset), to = std::min(run->end(), last);
        if (from < to)
            std::ranges::copy(run->bytes.subspan(from - run->offset, to - from), bytes.subspan(from - offset).begin());
    }
}

FileRuns FileRuns::decode(std::span<const std::byte> encoded, std::uint64_t fileSize) {
    FileRuns runs;
    for (ByteReader reader(encoded); reader.left() > 0;) {
        const std::uint64_t offset = runs.end_ + reader.number(fileSize - runs.end_);
        const std::uint64_t length = reader.number(fileSize - offset);
        if (length == 0) throw BadBytes("a run of no bytes was found");
        runs.add(offset, reader.bytes(length));
    }
    return runs;
}

} // namespace corvane

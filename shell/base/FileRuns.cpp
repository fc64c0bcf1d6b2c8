// SPDX-License-Identifier: Apache-2.0
#include "base/FileRuns.hpp"

#include <algorithm>
#include <cstring>

namespace corvane {
namespace {

void putNumber(std::vector<std::byte>& bytes, std::uint64_t number) {
    for (; number >= 0x80; number >>= 7) bytes.push_back(static_cast<std::byte>(number | 0x80));
    bytes.push_back(static_cast<std::byte>(number));
}

/// Takes a number off the front; none where there is none.
std::optional<std::uint64_t> takeNumber(std::span<const std::byte>& rest) {
    std::uint64_t number = 0;
    for (unsigned shift = 0; shift < 63 && !rest.empty(); shift += 7) {
        const auto next = std::to_integer<std::uint64_t>(rest.front());
        rest = rest.subspan(1);
        number |= (next & 0x7F) << shift;
        if (next < 0x80) return number;
    }
    return std::nullopt;
}

/// How many bytes from the front on are the same in both.
std::size_t alike(std::span<const std::byte> a, std::span<const std::byte> b) {
    std::size_t at = 0;
    for (std::uint64_t left, right; at + sizeof left <= a.size(); at += sizeof left) {
        std::memcpy(&left, &a[at], sizeof left);
        std::memcpy(&right, &b[at], sizeof right);
        if (left != right) break;
    }
    while (at < a.size() && a[at] == b[at]) ++at;
    return at;
}

} // namespace

std::uint64_t FileRuns::end() const { return empty() ? 0 : (*this)[count() - 1].end(); }

FileRuns::Run FileRuns::operator[](std::size_t number) const {
    const std::size_t first = places_[number].first;
    const std::size_t last = number + 1 < places_.size() ? places_[number + 1].first : bytes_.size();
    return {places_[number].offset, std::span(bytes_).subspan(first, last - first)};
}

void FileRuns::add(std::uint64_t offset, std::span<const std::byte> bytes) {
    if (bytes.empty()) return;
    if (empty() || offset != end()) places_.push_back({offset, bytes_.size()});
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

void FileRuns::addDifferences(std::uint64_t offset, std::span<const std::byte> before,
                              std::span<const std::byte> after) {
    for (std::size_t at = alike(before, after); at < before.size();) {
        std::size_t end = at + 1;
        while (end < before.size() && before[end] != after[end]) ++end;
        add(offset + at, after.subspan(at, end - at));
        at = end + alike(before.subspan(end), after.subspan(end));
    }
}

void FileRuns::add(const FileRuns& more) {
    for (std::size_t i = 0; i < more.count(); ++i) add(more[i].offset, more[i].bytes);
}

void FileRuns::applyTo(std::uint64_t offset, std::span<std::byte> bytes) const {
    const std::uint64_t last = offset + bytes.size();
    const auto next = std::ranges::upper_bound(places_, offset, {}, &Place::offset);
    std::size_t number = static_cast<std::size_t>(next - places_.begin());
    if (number > 0) --number; // which may reach in
    for (; number < count() && places_[number].offset < last; ++number) {
        const Run run = (*this)[number];
        const std::uint64_t from = std::max(run.offset, offset), to = std::min(run.end(), last);
        if (from < to)
            std::ranges::copy(run.bytes.subspan(from - run.offset, to - from), bytes.subspan(from - offset).begin());
    }
}

std::vector<std::byte> FileRuns::encode() const {
    std::vector<std::byte> encoded;
    encoded.reserve(bytes_.size() + 3 * places_.size());
    std::uint64_t end = 0; // of the run before
    for (std::size_t i = 0; i < count(); ++i) {
        const Run run = (*this)[i];
        putNumber(encoded, run.offset - end);
        putNumber(encoded, run.bytes.size());
        encoded.insert(encoded.end(), run.bytes.begin(), run.bytes.end());
        end = run.end();
    }
    return encoded;
}

std::optional<FileRuns> FileRuns::decode(std::span<const std::byte> encoded, std::uint64_t fileSize) {
    FileRuns runs;
    for (std::uint64_t end = 0; !encoded.empty();) {
        const auto distance = takeNumber(encoded);
        const auto length = distance ? takeNumber(encoded) : std::nullopt;
        if (!length || *length == 0 || *length > encoded.size()) return std::nullopt;
        if (*distance > fileSize - end || *length > fileSize - end - *distance) return std::nullopt;
        runs.add(end + *distance, encoded.first(*length));
        encoded = encoded.subspan(*length);
        end = runs.end();
    }
    return runs;
}

} // namespace corvane

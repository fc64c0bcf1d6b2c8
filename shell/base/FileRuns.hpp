// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace corvane {

/// What some bytes of a file become: runs of bytes in the order of their places, which do not overlap.
class FileRuns {
public:
    struct Run {
        std::uint64_t offset; ///< in the file
        std::span<const std::byte> bytes;

        std::uint64_t end() const { return offset + bytes.size(); }
    };

    bool empty() const { return places_.empty(); }
    std::size_t count() const { return places_.size(); }
    std::uint64_t bytes() const { return bytes_.size(); } ///< of all runs
    std::uint64_t end() const;                            ///< of the last one, in the file; 0: there is none

    /// The run in this place of their order.
    Run operator[](std::size_t number) const;

    /// Adds a run behind the last one. One that touches it continues it.
    void add(std::uint64_t offset, std::span<const std::byte> bytes);

    /// Adds where two pieces of equal length differ: of the file from `offset` on, and of what it becomes.
    void addDifferences(std::uint64_t offset, std::span<const std::byte> before, std::span<const std::byte> after);

    /// Adds those of another, which lie behind.
    void add(const FileRuns& more);

    /// Lays the runs over bytes that were read from `offset` on.
    void applyTo(std::uint64_t offset, std::span<std::byte> bytes) const;

    /// As bytes: of each run the distance from the end of the one before and its length, as numbers of seven bits a
    /// byte, the lowest first; then its bytes.
    std::vector<std::byte> encode() const;

    /// None for bytes that are not such runs, or reach beyond the end of a file of this size.
    static std::optional<FileRuns> decode(std::span<const std::byte> encoded, std::uint64_t fileSize);

private:
    struct Place {
        std::uint64_t offset;
        std::size_t first; // of its bytes among those of all runs
    };

    std::vector<Place> places_;
    std::vector<std::byte> bytes_;
};

} // namespace corvane

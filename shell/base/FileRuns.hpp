// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/ByteCode.hpp"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <vector>

namespace corvane {

/// What some bytes of a file become: runs of bytes in the order of their places, which do not overlap and do not touch.
///
/// They are kept as a journal stores them, since a run often has one byte only and there are half a million: of each
/// run the distance from the end of the one before and its length, as numbers of variable length; then its bytes.
class FileRuns {
public:
    struct Run {
        std::uint64_t offset = 0; ///< in the file
        std::span<const std::byte> bytes{};

        std::uint64_t end() const { return offset + bytes.size(); }
    };

    /// Goes over the runs in their order.
    class Iterator {
    public:
        using value_type = Run;
        using difference_type = std::ptrdiff_t;

        Iterator() = default;
        const Run& operator*() const { return run_; }
        const Run* operator->() const { return &run_; }
        Iterator& operator++();
        Iterator operator++(int);
        bool operator==(const Iterator& other) const { return run_.bytes.data() == other.run_.bytes.data(); }
        bool operator==(std::default_sentinel_t) const { return run_.bytes.empty(); }

    private:
        friend class FileRuns;
        Iterator(std::uint64_t end, std::span<const std::byte> rest) : run_{end}, rest_(rest) { ++*this; }

        Run run_;
        ByteReader rest_{{}};
    };

    bool empty() const { return count_ == 0; }
    std::size_t count() const { return count_; }
    std::uint64_t bytes() const { return bytes_; }    ///< of all runs
    std::uint64_t endInFile() const { return end_; }  ///< of the last one; 0: there is none
    const Bytes& encoded() const { return encoded_; } ///< all of them, as a journal stores them

    Iterator begin() const { return {0, encoded_}; }
    std::default_sentinel_t end() const { return {}; }

    /// Adds a run behind the last one. One that touches it continues it.
    void add(std::uint64_t offset, std::span<const std::byte> bytes);

    /// Adds where two pieces of equal length differ: of the file from `offset` on, and of what it becomes.
    void addDifferences(std::uint64_t offset, std::span<const std::byte> before, std::span<const std::byte> after);

    /// Adds those of another, which lie behind.
    void add(const FileRuns& more);

    /// Lays the runs over bytes that were read from `offset` on.
    void applyTo(std::uint64_t offset, std::span<std::byte> bytes) const;

    /// Throws BadBytes for bytes that are not such runs, or reach beyond the end of a file of this size.
    static FileRuns decode(std::span<const std::byte> encoded, std::uint64_t fileSize);

private:
    /// From where the runs can be gone over.
    struct Mark {
        std::uint64_t end; ///< in the file, of the run before
        std::size_t next;  ///< where the run stands in `encoded_`
    };

    void continueLast(std::span<const std::byte> bytes);

    Bytes encoded_;
    std::vector<Mark> marks_; // the first run, and one of each so many bytes
    std::size_t count_ = 0;
    std::uint64_t bytes_ = 0, end_ = 0;
    std::size_t lengthAt_ = 0, length_ = 0; // of the last run: where it stands, what it is
};

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace corvane {

/// Numbers of fragments, kept as runs, since edits meet neighbours.
class FragmentSet {
public:
    FragmentSet() = default;

    /// Of numbers in any order.
    explicit FragmentSet(std::vector<std::uint32_t> numbers);

    /// All that are in any of these.
    static FragmentSet united(const std::vector<const FragmentSet*>& sets);

    /// Throws BadBytes unless the bytes are a set of at most so many, and nothing else.
    static FragmentSet decode(std::span<const std::byte> bytes, std::uint64_t most);

    /// Number of runs, and of each the distance from the end of the one before and its length.
    std::vector<std::byte> encode() const;

    bool contains(std::uint32_t fragment) const;
    bool empty() const { return runs_.empty(); }
    std::size_t size() const;
    std::vector<std::uint32_t> numbers() const; ///< ascending

private:
    struct Run {
        std::uint32_t first, last; // both belong to it
    };

    void add(Run run);

    std::vector<Run> runs_; // ascending, and none touches the next
};

} // namespace corvane

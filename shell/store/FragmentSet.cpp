// SPDX-License-Identifier: Apache-2.0
#include "store/FragmentSet.hpp"

#include "base/ByteCode.hpp"

#include <algorithm>
#include <limits>

namespace corvane {

FragmentSet::FragmentSet(std::vector<std::uint32_t> numbers) {
    std::ranges::sort(numbers);
    for (const std::uint32_t number : numbers) add({number, number});
}

/// One that begins no earlier than the last one.
void FragmentSet::add(Run run) {
    if (!runs_.empty() && (run.first <= runs_.back().last || run.first - runs_.back().last == 1))
        runs_.back().last = std::max(runs_.back().last, run.last);
    else
        runs_.push_back(run);
}

FragmentSet FragmentSet::united(const std::vector<const FragmentSet*>& sets) {
    std::vector<Run> runs;
    for (const FragmentSet* set : sets) runs.insert(runs.end(), set->runs_.begin(), set->runs_.end());
    std::ranges::sort(runs, {}, &Run::first);
    FragmentSet all;
    for (const Run& run : runs) all.add(run);
    return all;
}

FragmentSet FragmentSet::decode(std::span<const std::byte> bytes, std::uint64_t most) {
    ByteReader reader(bytes);
    FragmentSet set;
    std::uint64_t end = 0, size = 0; // `end` is one behind the last run
    for (std::uint64_t left = reader.number(reader.left() / 2); left > 0; --left) {
        const std::uint64_t first = end + reader.number(std::numeric_limits<std::uint32_t>::max());
        const std::uint64_t count = reader.number(most);
        end = first + count;
        size += count;
        if (count == 0 || size > most || end > std::numeric_limits<std::uint32_t>::max())
            throw BadBytes("a list of fragments has a run that cannot be");
        set.add({static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(end - 1)});
    }
    if (reader.left() > 0) throw BadBytes("bytes were found behind a list of fragments");
    return set;
}

std::vector<std::byte> FragmentSet::encode() const {
    Bytes bytes;
    putNumber(bytes, runs_.size());
    std::uint64_t end = 0;
    for (const Run& run : runs_) {
        putNumber(bytes, run.first - end);
        putNumber(bytes, std::uint64_t{run.last} - run.first + 1);
        end = std::uint64_t{run.last} + 1;
    }
    return bytes;
}

bool FragmentSet::contains(std::uint32_t fragment) const {
    const auto run = std::ranges::lower_bound(runs_, fragment, {}, &Run::last);
    return run != runs_.end() && run->first <= fragment;
}

std::size_t FragmentSet::size() const {
    std::size_t size = 0;
    for (const Run& run : runs_) size += std::size_t{run.last} - run.first + 1;
    return size;
}

std::vector<std::uint32_t> FragmentSet::numbers() const {
    std::vector<std::uint32_t> numbers;
    for (const Run& run : runs_)
        for (std::uint64_t number = run.first; number <= run.last; ++number)
            numbers.push_back(static_cast<std::uint32_t>(number));
    return numbers;
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
// Counting is bound by additions that wait for each other: incrementing a counter that was just incremented takes
// several times as long as any other. So neighbours go into counters of their own, and where neighbours are all equal,
// as they are in most surveys, one addition counts them all.
#include "histogram/CountValues.hpp"

#include "histogram/Team.hpp"

#include <array>
#include <bit>
#include <cstring>
#include <vector>

namespace Fiber {
namespace {

using Counts = std::span<std::uint64_t>;
using Word = std::uint64_t;

/// Elements after which counters of 32 bits are emptied, long before they could overflow.
constexpr std::size_t FlushAfter = std::size_t{1} << 30;

template <class T>
constexpr std::size_t PerWord = sizeof(Word) / sizeof(T);

template <class T>
Word wordAt(const T* values) {
    Word word;
    std::memcpy(&word, values, sizeof word);
    return word;
}

/// Whether all elements of the word are equal.
template <class T>
bool uniform(Word word) {
    return word == std::rotl(word, 8 * sizeof(T));
}

/// Words that are looked at together.
constexpr std::size_t Group = 4;

template <class T>
bool uniformGroup(const T* values) {
    const Word first = wordAt(values);
    bool equal = uniform<T>(first);
    for (std::size_t i = 1; i < Group; ++i) equal = equal && wordAt(values + i * PerWord<T>) == first;
    return equal;
}

/// Calls `countEqual(value, n)` for stretches of equal values, and `countWord(values)` for words of different ones.
template <class T, class CountEqual, class CountWord>
void forStretches(std::span<const T> values, CountEqual countEqual, CountWord countWord) {
    const T* next = values.data();
    const T* const end = next + values.size();
    for (; end - next >= std::ptrdiff_t(Group * PerWord<T>); next += Group * PerWord<T>) {
        if (uniformGroup(next)) {
            countEqual(*next, Group * PerWord<T>);
            continue;
        }
        for (const T* word = next; word != next + Group * PerWord<T>; word += PerWord<T>)
            uniform<T>(wordAt(word)) ? countEqual(*word, PerWord<T>) : countWord(word);
    }
    for (; next != end; ++next) countEqual(*next, 1);
}

/// Counters of bytes, one table for each byte of a word. The padding keeps counters of one value in different tables
/// from lying a power of two apart, which the processor takes for the same place.
class ByteTables {
public:
    void count(std::span<const unsigned char> values) {
        forStretches(
            values, [this](unsigned char value, std::uint32_t n) { tables_[0][value] += n; },
            [this](const unsigned char* word) {
                for (std::size_t i = 0; i < tables_.size(); ++i) ++tables_[i][word[i]];
            });
    }

    void flushTo(Counts counts) {
        for (Table& table : tables_)
            for (std::size_t value = 0; value < counts.size(); ++value) counts[value] += table[value];
        tables_ = {};
    }

private:
    static constexpr std::size_t Padding = 16;
    using Table = std::array<std::uint32_t, BinsOf<unsigned char> + Padding>;
    std::array<Table, PerWord<unsigned char>> tables_{};
};

/// Counters of words of 16 bits among which one is frequent: four side by side for each value.
class SharedWordTable {
public:
    void count(std::span<const unsigned short> values) {
        std::uint32_t* const table = table_.data();
        forStretches(
            values, [table](unsigned short value, std::uint32_t n) { table[value * Lanes] += n; },
            [table](const unsigned short* word) {
                for (std::size_t i = 0; i < Lanes; ++i) ++table[word[i] * Lanes + i];
            });
    }

    void flushTo(Counts counts) {
        for (std::size_t i = 0; i < table_.size(); ++i) counts[i / Lanes] += table_[i];
        table_.assign(table_.size(), 0);
    }

private:
    static constexpr std::size_t Lanes = PerWord<unsigned short>;
    std::vector<std::uint32_t> table_ = std::vector<std::uint32_t>(BinsOf<unsigned short> * Lanes);
};

/// Counters of words of 16 bits that rarely repeat: one for each value, as small as can be, for the cache.
class WordTable {
public:
    void count(std::span<const unsigned short> values) {
        std::uint32_t* const table = table_.data();
        for (const unsigned short value : values) ++table[value];
    }

    void flushTo(Counts counts) {
        for (std::size_t i = 0; i < table_.size(); ++i) counts[i] += table_[i];
        table_.assign(table_.size(), 0);
    }

private:
    std::vector<std::uint32_t> table_ = std::vector<std::uint32_t>(BinsOf<unsigned short>);
};

template <class Tables, class T>
void countWith(std::span<const T> values, Counts counts) {
    Tables tables;
    for (; !values.empty(); values = values.subspan(std::min(FlushAfter, values.size()))) {
        tables.count(values.first(std::min(FlushAfter, values.size())));
        tables.flushTo(counts);
    }
}

/// Whether one value is so frequent that its counter would be waited for: more than an eighth of a sample.
bool hasDominantValue(std::span<const unsigned short> values) {
    constexpr std::size_t sampled = 64;
    std::array<unsigned short, sampled> sample;
    for (std::size_t i = 0; i < sampled; ++i) sample[i] = values[values.size() / sampled * i];
    std::ranges::sort(sample);
    std::size_t run = 0, longest = 0;
    for (std::size_t i = 0; i < sampled; ++i) {
        run = i > 0 && sample[i] == sample[i - 1] ? run + 1 : 1;
        longest = std::max(longest, run);
    }
    return longest > sampled / 8;
}

} // namespace

void countValues(std::span<const unsigned char> values, Counts counts) {
    constexpr std::size_t worthTables = 1024; // making and emptying them takes as long as counting so many
    if (values.size() >= worthTables) return countWith<ByteTables>(values, counts);
    for (const unsigned char value : values) ++counts[value];
}

void countValues(std::span<const unsigned short> values, Counts counts) {
    constexpr std::size_t worthTables = 2 * BinsOf<unsigned short>;
    if (values.size() < worthTables) {
        for (const unsigned short value : values) ++counts[value];
    } else if (hasDominantValue(values)) {
        countWith<SharedWordTable>(values, counts);
    } else {
        countWith<WordTable>(values, counts);
    }
}

} // namespace Fiber

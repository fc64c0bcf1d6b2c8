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

/// Calls `count(words)` for groups of four words, and `countOne` for each of the elements that are left.
template <class T, class CountGroup, class CountOne>
void forGroups(std::span<const T> values, CountGroup countGroup, CountOne countOne) {
    constexpr std::size_t group = 4 * PerWord<T>;
    const T* next = values.data();
    const T* const end = next + values.size();
    for (; static_cast<std::size_t>(end - next) >= group; next += group)
        countGroup(std::array{wordAt(next), wordAt(next + PerWord<T>), wordAt(next + 2 * PerWord<T>),
                              wordAt(next + 3 * PerWord<T>)});
    for (; next != end; ++next) countOne(*next);
}

template <class T>
bool allUniform(const std::array<Word, 4>& words) {
    return uniform<T>(words[0]) && words[0] == words[1] && words[0] == words[2] && words[0] == words[3];
}

/// Counters of bytes, one table for each byte of a word. The padding keeps counters of one value in different tables
/// from lying a power of two apart, which the processor takes for the same place.
class ByteTables {
public:
    void count(std::span<const unsigned char> values) {
        forGroups(
            values,
            [this](const std::array<Word, 4>& words) {
                if (allUniform<unsigned char>(words)) {
                    tables_[0][words[0] & 0xff] += 32;
                    return;
                }
                for (const Word word : words) countWord(word);
            },
            [this](unsigned char value) { ++tables_[0][value]; });
    }

    void flushTo(Counts counts) {
        for (Table& table : tables_)
            for (std::size_t value = 0; value < counts.size(); ++value) counts[value] += table[value];
        tables_ = {};
    }

private:
    void countWord(Word word) {
        if (uniform<unsigned char>(word)) {
            tables_[0][word & 0xff] += 8;
            return;
        }
        for (std::size_t i = 0; i < tables_.size(); ++i) ++tables_[i][word >> (8 * i) & 0xff];
    }

    static constexpr std::size_t Padding = 16;
    using Table = std::array<std::uint32_t, BinsOf<unsigned char> + Padding>;
    std::array<Table, PerWord<unsigned char>> tables_{};
};

/// Counters of words of 16 bits, `Lanes` side by side for each value.
template <std::size_t Lanes>
class WordTable {
public:
    void count(std::span<const unsigned short> values) {
        forGroups(
            values,
            [this](const std::array<Word, 4>& words) {
                if (allUniform<unsigned short>(words)) {
                    counter(words[0], 0) += 16;
                    return;
                }
                for (const Word word : words) countWord(word);
            },
            [this](unsigned short value) { ++counter(value, 0); });
    }

    void flushTo(Counts counts) {
        for (std::size_t i = 0; i < table_.size(); ++i) counts[i / Lanes] += table_[i];
        table_.assign(table_.size(), 0);
    }

private:
    std::uint32_t& counter(Word value, std::size_t lane) { return table_[(value & 0xffff) * Lanes + lane]; }

    void countWord(Word word) {
        if (uniform<unsigned short>(word)) {
            counter(word, 0) += 4;
            return;
        }
        for (std::size_t i = 0; i < 4; ++i) ++counter(word >> (16 * i), i % Lanes);
    }

    std::vector<std::uint32_t> table_ = std::vector<std::uint32_t>(BinsOf<unsigned short> * Lanes);
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
        countWith<WordTable<4>>(values, counts);
    } else {
        countWith<WordTable<1>>(values, counts);
    }
}

} // namespace Fiber

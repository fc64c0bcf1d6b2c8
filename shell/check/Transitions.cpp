// SPDX-License-Identifier: Apache-2.0
#include "check/Transitions.hpp"

#include "las/PointCodec.hpp"

namespace corvane {
namespace {

constexpr std::size_t Values = std::size_t{1} << 16;
constexpr std::size_t MostKinds = std::size_t{1} << 20; // bounds the memory

Holdfast::Chunk<std::uint16_t>::Values decoded(std::span<const std::byte> records, std::size_t stride,
                                               std::size_t count, const Dimension& dimension) {
    Holdfast::Chunk<std::uint16_t>::Values values(count);
    const std::span<std::uint16_t> all(values);
    if (dimension.packed())
        decodeBits(records, stride, dimension, all);
    else if (dimension.storage == Storage::UInt8)
        decodeValues<std::uint8_t>(records, stride, dimension, all);
    else
        decodeValues<std::uint16_t>(records, stride, dimension, all);
    return values;
}

} // namespace

std::uint64_t Transitions::unchanged() const {
    std::uint64_t sum = 0;
    for (const auto& [values, count] : counts)
        if (values.first == values.second) sum += count;
    return sum;
}

std::uint64_t Transitions::points() const {
    std::uint64_t sum = uncounted;
    for (const auto& [values, count] : counts) sum += count;
    return sum;
}

TransitionCounter::TransitionCounter(Dimension before, Dimension after)
    : before_(std::move(before)), after_(std::move(after)), unchanged_(Values) {}

void TransitionCounter::add(const RecordPairs& pairs) {
    const auto before = decoded(pairs.before, pairs.strideBefore, pairs.count, before_);
    const auto after = decoded(pairs.after, pairs.strideAfter, pairs.count, after_);
    for (std::size_t i = 0; i < pairs.count; ++i)
        if (before[i] == after[i])
            ++unchanged_[before[i]];
        else
            change(before[i], after[i]);
}

void TransitionCounter::addUnchanged(const RecordPairs& pairs) {
    for (const std::uint16_t value : decoded(pairs.before, pairs.strideBefore, pairs.count, before_))
        ++unchanged_[value];
}

void TransitionCounter::change(std::uint16_t before, std::uint16_t after) {
    const std::uint32_t kind = std::uint32_t{before} << 16 | after;
    const auto known = changed_.find(kind);
    if (known != changed_.end())
        ++known->second;
    else if (changed_.size() < MostKinds)
        changed_[kind] = 1;
    else
        ++uncounted_;
}

Transitions TransitionCounter::transitions() const {
    Transitions result{{}, uncounted_};
    for (std::size_t value = 0; value < Values; ++value) {
        const auto same = static_cast<std::uint16_t>(value);
        if (unchanged_[value] > 0) result.counts[{same, same}] = unchanged_[value];
    }
    for (const auto& [kind, count] : changed_)
        result.counts[{static_cast<std::uint16_t>(kind >> 16), static_cast<std::uint16_t>(kind)}] = count;
    return result;
}

} // namespace corvane

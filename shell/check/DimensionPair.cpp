// SPDX-License-Identifier: Apache-2.0
#include "check/DimensionPair.hpp"

#include "las/LittleEndian.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>

namespace corvane {
namespace {

std::string textOf(std::span<const std::byte> record, const Dimension& dimension) {
    if (dimension.packed() || dimension.scaled()) {
        double number = 0;
        decodeNumbers(record, record.size(), dimension, std::span(&number, 1));
        return fmt::format("{}", number);
    }
    return withStored(dimension.storage,
                      [&](auto stored) { return fmt::format("{}", load<decltype(stored)>(record, dimension.offset)); });
}

/// The n-th record.
std::span<const std::byte> recordAt(std::span<const std::byte> records, std::size_t stride, std::size_t n) {
    return records.subspan(n * stride, stride);
}

} // namespace

DimensionPair::DimensionPair(Dimension before, Dimension after)
    : before_(std::move(before)),
      after_(std::move(after)),
      storedAlike_(before_.storage == after_.storage && before_.bits == after_.bits && before_.scale == after_.scale &&
                   before_.shift == after_.shift),
      scaled_(before_.scaled() || after_.scaled()) {
    difference_.name = before_.name;
}

bool DimensionPair::touches(std::span<const std::byte> mask) const {
    const auto place = mask.subspan(before_.offset, sizeOf(before_.storage));
    if (before_.packed())
        return (std::to_integer<unsigned>(place[0]) >> before_.firstBit & before_.largestValue()) != 0;
    return std::ranges::any_of(place, [](std::byte byte) { return byte != std::byte{0}; });
}

void DimensionPair::compare(const RecordPairs& pairs) {
    if (!storedAlike_) return compareNumbers(pairs);
    switch (sizeOf(before_.storage)) {
    case 1:
        return compareStored<std::uint8_t>(pairs);
    case 2:
        return compareStored<std::uint16_t>(pairs);
    case 4:
        return compareStored<std::uint32_t>(pairs);
    default:
        return compareStored<std::uint64_t>(pairs);
    }
}

/// The bits as an integer, so that a NaN equals itself.
template <class Unsigned>
void DimensionPair::compareStored(const RecordPairs& pairs) {
    const auto bits = [&](std::span<const std::byte> records, std::size_t stride, const Dimension& dimension) {
        typename Holdfast::Chunk<Unsigned>::Values values(pairs.count);
        if (dimension.packed())
            decodeBits(records, stride, dimension, std::span(values));
        else
            decodeValues<Unsigned>(records, stride, dimension, std::span(values));
        return values;
    };
    const auto before = bits(pairs.before, pairs.strideBefore, before_);
    const auto after = bits(pairs.after, pairs.strideAfter, after_);
    for (std::size_t i = 0; i < pairs.count; ++i)
        if (before[i] != after[i]) note(pairs, i);
}

void DimensionPair::compareNumbers(const RecordPairs& pairs) {
    Holdfast::Chunk<double> before(pairs.count), after(pairs.count);
    decodeNumbers(pairs.before, pairs.strideBefore, before_, std::span(before.values));
    decodeNumbers(pairs.after, pairs.strideAfter, after_, std::span(after.values));
    for (std::size_t i = 0; i < pairs.count; ++i) {
        if (sameNumber(before.values[i], after.values[i])) continue;
        difference_.largestMove = std::max(difference_.largestMove, std::abs(before.values[i] - after.values[i]));
        note(pairs, i);
    }
}

bool DimensionPair::sameNumber(double before, double after) const {
    if (before == after || (std::isnan(before) && std::isnan(after))) return true;
    if (!scaled_ || !std::isfinite(before) || !std::isfinite(after)) return false;
    // The scale, the product and the sum are each rounded once.
    const double magnitude = std::abs(before) + std::abs(after) + std::abs(before_.shift) + std::abs(after_.shift);
    return std::abs(before - after) <= 2 * std::numeric_limits<double>::epsilon() * magnitude;
}

void DimensionPair::note(const RecordPairs& pairs, std::size_t pair) {
    if (difference_.points++ > 0) return;
    difference_.first = pairs.first + pair;
    difference_.before = textOf(recordAt(pairs.before, pairs.strideBefore, pair), before_);
    difference_.after = textOf(recordAt(pairs.after, pairs.strideAfter, pair), after_);
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "check/PointTally.hpp"

#include "check/PointFacts.hpp"
#include "check/RecordColumns.hpp"
#include "las/PointCodec.hpp"
#include "las/StandardClasses.hpp"

#include <algorithm>
#include <cassert>
#include <cctype>
#include <cstring>

namespace corvane {
namespace {

/// What one byte of a record says, for each value that it can have: nothing is shifted or masked point by point.
class ByteMeaning {
public:
    struct Part {
        const char* dimension;
        unsigned weight; ///< of its value in the sum
    };

    /// The parts must lie in the same byte.
    ByteMeaning(const LasFile& las, std::initializer_list<Part> parts) {
        for (const Part& part : parts) {
            const Dimension* found = las.find(part.dimension);
            assert(found && (offset_ == 0 || offset_ == found->offset));
            offset_ = found->offset;
            for (unsigned byte = 0; byte < meanings_.size(); ++byte)
                meanings_[byte] += (byte >> found->firstBit & found->largestValue()) * part.weight;
        }
    }

    unsigned of(const std::byte* record) const { return meanings_[std::to_integer<unsigned>(record[offset_])]; }

private:
    std::size_t offset_ = 0;
    std::array<unsigned, 256> meanings_{};
};

std::int32_t storedAt(const std::byte* record, std::size_t axis) {
    std::int32_t stored;
    std::memcpy(&stored, record + axis * sizeof stored, sizeof stored);
    return stored;
}

/// Calls `use(record, index)` for each point that meets the limit, and `after(records, index of the first, count)`
/// behind each stretch of them.
template <class Use, class After>
void forPoints(const LasFile& las, const Kesh::LimitPtr& limit, const Watch& watch, Use use, After after) {
    const std::uint64_t total = las.points->count();
    const std::size_t stride = las.points->recordLength();
    const std::string work = "Checking " + las.file->path();
    RecordColumns columns(las, limit, {});
    const auto go = [&](std::span<const std::byte> records, std::uint64_t first, std::size_t count) {
        const std::byte* record = records.data();
        for (std::size_t i = 0; i < count; ++i, record += stride) use(record, first + i);
        after(records, first, count);
    };
    las.points->forPieces({0, total}, {},
                          [&](std::span<const std::byte> records, std::size_t first, std::size_t count) {
                              if (!limit) {
                                  go(records, first, count);
                              } else {
                                  columns.take(records);
                                  columns.forRuns([&](std::size_t begin, std::size_t length) {
                                      go(records.subspan(begin * stride, length * stride), first + begin, length);
                                  });
                              }
                              watch(first + count, total, work);
                          });
}

class Tallier {
public:
    explicit Tallier(const LasFile& las)
        : header_(las.header),
          class_(las, {{ClassificationName, 1}}),
          flags_(las, {{"Synthetic", PointTally::Synthetic * PointTally::Classes},
                       {"KeyPoint", PointTally::KeyPoint * PointTally::Classes},
                       {"Withheld", PointTally::Withheld * PointTally::Classes}}),
          return_(las, {{"ReturnNumber", 1}}) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto [low, high] = storedBounds(header_, axis);
            bounds_[axis] = {low - BoundsTolerance, high + BoundsTolerance};
        }
        if (isLegacyFormat(header_.pointFormat)) findWideClasses(las);
    }

    void add(const std::byte* record, std::uint64_t index) {
        const unsigned value = class_.of(record);
        tally_.kinds[value + flags_.of(record)].add(index);
        tally_.byReturn[return_.of(record)].add(index);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::int32_t stored = storedAt(record, axis);
            piece_.low[axis] = std::min(piece_.low[axis], stored);
            piece_.high[axis] = std::max(piece_.high[axis], stored);
        }
        if (value == GroundClass) tally_.ground.add(storedAt(record, 2));
    }

    void endPiece(std::span<const std::byte> records, std::uint64_t first, std::size_t count) {
        if (!inside(piece_.low) || !inside(piece_.high)) countOutside(records, first, count);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            tally_.box.low[axis] = std::min(tally_.box.low[axis], piece_.low[axis]);
            tally_.box.high[axis] = std::max(tally_.box.high[axis], piece_.high[axis]);
        }
        piece_ = {};
        for (WideClasses& wide : tally_.wideClasses) compare(wide, records, first, count);
    }

    PointTally take() { return std::move(tally_); }

private:
    void findWideClasses(const LasFile& las) {
        const std::size_t standard = dimensionsOf(header_.pointFormat).size();
        for (std::size_t i = standard; i < las.dimensions.size(); ++i) {
            std::string name = las.dimensions[i].name;
            std::ranges::transform(name, name.begin(),
                                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            const bool plain = las.dimensions[i].largestValue() > 0 && !las.dimensions[i].scaled();
            if (plain && name.find("class") != std::string::npos) tally_.wideClasses.push_back({las.dimensions[i], {}});
        }
    }

    bool inside(const std::array<std::int32_t, 3>& position) const {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto [low, high] = bounds_[axis];
            const bool between = position[axis] >= low && position[axis] <= high;
            if (!between) return false; // so is any position when the bounds are no numbers
        }
        return true;
    }

    void countOutside(std::span<const std::byte> records, std::uint64_t first, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const std::byte* record = records.data() + i * header_.recordLength;
            if (!inside({storedAt(record, 0), storedAt(record, 1), storedAt(record, 2)})) tally_.outside.add(first + i);
        }
    }

    void compare(WideClasses& wide, std::span<const std::byte> records, std::uint64_t first, std::size_t count) {
        std::vector<std::uint16_t> values(count);
        if (wide.dimension.storage == Storage::UInt8)
            decodeValues<std::uint8_t, std::uint16_t>(records, header_.recordLength, wide.dimension, values);
        else
            decodeValues<std::uint16_t, std::uint16_t>(records, header_.recordLength, wide.dimension, values);
        for (std::size_t i = 0; i < count; ++i) {
            if (values[i] <= LargestLegacyClass) continue;
            const unsigned kept = values[i] & LargestLegacyClass;
            if (kept == class_.of(records.data() + i * header_.recordLength))
                wide.squeezed.add(first + i);
            else
                ++wide.other;
        }
    }

    const LasHeader& header_;
    ByteMeaning class_, flags_, return_;
    std::array<std::array<double, 2>, 3> bounds_{}; // with the tolerance
    StoredBox piece_;
    PointTally tally_;
};

} // namespace

Occurrence& Occurrence::operator+=(const Occurrence& other) {
    if (other.count > 0) first = count > 0 ? std::min(first, other.first) : other.first;
    count += other.count;
    return *this;
}

void HeightSample::keep(std::int32_t height) {
    heights_.push_back(height);
    if (heights_.size() < Most) return;
    for (std::size_t i = 0; i < Most / 2; ++i) heights_[i] = heights_[2 * i];
    heights_.resize(Most / 2);
    every_ *= 2;
}

std::optional<HeightRange> HeightSample::middle() const {
    if (heights_.empty()) return std::nullopt;
    std::vector<std::int32_t> sorted = heights_;
    std::ranges::sort(sorted);
    const std::size_t cut = sorted.size() / 100;
    return HeightRange{sorted[cut], sorted[sorted.size() - 1 - cut]};
}

Occurrence PointTally::of(int value, unsigned flags) const {
    Occurrence sum;
    for (unsigned set = 0; set < FlagSets; ++set)
        if ((set & flags) == flags) sum += exactly(value, set);
    return sum;
}

std::array<double, 2> storedBounds(const LasHeader& header, std::size_t axis) {
    const auto stored = [&](double value) { return (value - header.offset[axis]) / header.scale[axis]; };
    const double low = stored(header.minimum[axis]), high = stored(header.maximum[axis]);
    if (header.scale[axis] < 0) return {high, low};
    return {low, high};
}

PointTally tallyPoints(const LasFile& las, const Watch& watch, const Kesh::LimitPtr& limit) {
    Tallier tallier(las);
    forPoints(
        las, limit, watch, [&](const std::byte* record, std::uint64_t index) { tallier.add(record, index); },
        [&](auto records, std::uint64_t first, std::size_t count) { tallier.endPiece(records, first, count); });
    return tallier.take();
}

Occurrence countInRange(const LasFile& las, const std::vector<int>& classes, const HeightRange& range,
                        const Watch& watch, const Kesh::LimitPtr& limit) {
    std::array<bool, PointTally::Classes> wanted{};
    for (const int value : classes) wanted[static_cast<std::size_t>(value)] = true;
    const ByteMeaning classOf(las, {{ClassificationName, 1}});
    Occurrence found;
    forPoints(
        las, limit, watch,
        [&](const std::byte* record, std::uint64_t index) {
            const std::int32_t height = storedAt(record, 2);
            if (wanted[classOf.of(record)] && height >= range.low && height <= range.high) found.add(index);
        },
        [](auto&&...) {});
    return found;
}

Occurrence countOutsideNodes(const LasFile& las, const Watch& watch, const Kesh::LimitPtr& limit) {
    Occurrence outside;
    const PointTest isOutside = outsideItsNode(las);
    visitPoints(las, limit, watch, [&](const PointFacts& point) {
        if (isOutside(point)) outside.add(point.index);
    });
    return outside;
}

} // namespace corvane

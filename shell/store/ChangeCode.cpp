// SPDX-License-Identifier: Apache-2.0
// A change as bytes:
//   1 (of this description), width, points,
//   which points, the values before, the values after.
// Which points: 0, number of runs, of each the distance from the end of the one before and its length; or 1, a bit for
// each point, the lowest first. Values, of the changed points one after the other: 0, runs of a length and a value, up
// to the last; 1, as they are; 2, number of different values and those, then for each its place there in 1, 2 or 4
// bits, the lowest first. Width and forms are bytes, numbers are of variable length, values have the width.
#include "store/ByteCode.hpp"
#include "store/FragmentChange.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/format.h>

namespace corvane {
namespace {

constexpr std::uint8_t Description = 1;
enum PointForm : std::uint8_t { Runs = 0, Bits = 1 };
enum ValueForm : std::uint8_t { ValueRuns = 0, Plain = 1, Palette = 2 };
constexpr std::size_t MostInPalette = 16;

std::size_t bytesForBits(std::size_t bits) { return (bits + 7) / 8; }

/// How many bits tell so many values apart: 1, 2 or 4.
std::size_t bitsFor(std::size_t values) { return values <= 2 ? 1 : values <= 4 ? 2 : 4; }

void putForm(Bytes& bytes, std::uint8_t form) { bytes.push_back(static_cast<std::byte>(form)); }

void putRuns(Bytes& bytes, const std::vector<FragmentChange::Run>& runs) {
    std::uint32_t end = 0;
    putNumber(bytes, runs.size());
    for (const auto& run : runs) {
        putNumber(bytes, run.first - end);
        putNumber(bytes, run.count);
        end = run.end();
    }
}

void putBits(Bytes& bytes, const std::vector<FragmentChange::Run>& runs, std::uint32_t points) {
    const std::size_t begin = bytes.size();
    bytes.resize(begin + bytesForBits(points));
    for (const auto& run : runs)
        for (std::uint32_t i = run.first; i < run.end(); ++i) bytes[begin + i / 8] |= std::byte(1u << i % 8);
}

void putPoints(Bytes& bytes, const FragmentChange& change) {
    std::size_t runs = lengthOfNumber(change.runs().size()); // bytes that they take
    std::uint32_t end = 0;
    for (const auto& run : change.runs()) {
        runs += lengthOfNumber(run.first - end) + lengthOfNumber(run.count);
        end = run.end();
    }
    const bool asRuns = runs <= bytesForBits(change.points());
    putForm(bytes, asRuns ? Runs : Bits);
    asRuns ? putRuns(bytes, change.runs()) : putBits(bytes, change.runs(), change.points());
}

std::vector<FragmentChange::Run> readRuns(ByteReader& reader, std::uint32_t points) {
    const std::uint64_t count = reader.number(reader.left() / 2); // a run has two bytes at least
    std::vector<FragmentChange::Run> runs;
    runs.reserve(static_cast<std::size_t>(count));
    std::uint32_t end = 0;
    while (runs.size() < count) {
        const std::uint64_t gap = reader.number(points - end);
        const std::uint64_t length = reader.number(points - end - gap);
        if (length == 0 || (gap == 0 && !runs.empty())) throw ChangeError("two runs of points touch or one is empty");
        runs.push_back({end + static_cast<std::uint32_t>(gap), static_cast<std::uint32_t>(length)});
        end = runs.back().end();
    }
    return runs;
}

std::vector<FragmentChange::Run> readBits(ByteReader& reader, std::uint32_t points) {
    const auto bits = reader.bytes(bytesForBits(points));
    const auto isSet = [&](std::size_t i) { return (bits[i / 8] >> i % 8 & std::byte{1}) != std::byte{0}; };
    for (std::size_t i = points; i < 8 * bits.size(); ++i)
        if (isSet(i)) throw ChangeError("bits are set behind the last point");
    std::vector<FragmentChange::Run> runs;
    for (std::uint32_t i = 0; i < points; ++i) {
        if (!isSet(i)) continue;
        if (runs.empty() || runs.back().end() != i) runs.push_back({i, 0});
        ++runs.back().count;
    }
    return runs;
}

std::vector<FragmentChange::Run> readPoints(ByteReader& reader, std::uint32_t points) {
    const std::uint8_t form = reader.byte();
    if (form == Runs) return readRuns(reader, points);
    if (form == Bits) return readBits(reader, points);
    throw ChangeError(fmt::format("an unknown form {} of points was found", form));
}

/// Values of one width, as they are put and read.
template <class Value>
struct Values {
    static std::vector<Value> copied(std::span<const std::byte> bytes) {
        std::vector<Value> values(bytes.size() / sizeof(Value));
        if (!values.empty()) std::memcpy(values.data(), bytes.data(), bytes.size());
        return values;
    }

    /// Calls `use(value, length)` for each run of equal values.
    template <class Use>
    static void forRuns(const std::vector<Value>& values, Use use) {
        for (std::size_t i = 0; i < values.size();) {
            const std::size_t first = i;
            while (i < values.size() && values[i] == values[first]) ++i;
            use(values[first], i - first);
        }
    }

    /// The values that occur, ascending; one more than a palette may have when there are too many.
    static std::vector<Value> palette(const std::vector<Value>& values) {
        std::vector<Value> different;
        for (std::size_t i = 0; i < values.size() && different.size() <= MostInPalette; ++i) {
            if (i > 0 && values[i] == values[i - 1]) continue;
            const auto place = std::ranges::lower_bound(different, values[i]);
            if (place == different.end() || *place != values[i]) different.insert(place, values[i]);
        }
        return different;
    }

    static void put(Bytes& bytes, std::span<const std::byte> plain) {
        const auto values = copied(plain);
        std::size_t runs = 0; // bytes that they take
        forRuns(values, [&](Value, std::size_t length) { runs += lengthOfNumber(length) + sizeof(Value); });
        const auto different = palette(values);
        const std::size_t bits = bitsFor(different.size());
        const std::size_t packed = different.size() > MostInPalette
                                       ? plain.size()
                                       : 1 + different.size() * sizeof(Value) + bytesForBits(values.size() * bits);
        if (runs <= packed && runs <= plain.size()) {
            putForm(bytes, ValueRuns);
            forRuns(values, [&](Value value, std::size_t length) {
                putNumber(bytes, length);
                putFixed(bytes, value);
            });
        } else if (packed < plain.size()) {
            putForm(bytes, Palette);
            putPacked(bytes, values, different, bits);
        } else {
            putForm(bytes, Plain);
            putBytes(bytes, plain);
        }
    }

    static void putPacked(Bytes& bytes, const std::vector<Value>& values, const std::vector<Value>& different,
                          std::size_t bits) {
        putNumber(bytes, different.size());
        for (const Value value : different) putFixed(bytes, value);
        const std::size_t begin = bytes.size();
        bytes.resize(begin + bytesForBits(values.size() * bits));
        std::size_t place = 0; // of the value before
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (different[place] != values[i])
                place = static_cast<std::size_t>(std::ranges::lower_bound(different, values[i]) - different.begin());
            bytes[begin + i * bits / 8] |= static_cast<std::byte>(place << i * bits % 8);
        }
    }

    static Bytes read(ByteReader& reader, std::size_t count) {
        const std::uint8_t form = reader.byte();
        if (form == Plain) {
            const auto bytes = reader.bytes(count * sizeof(Value));
            return {bytes.begin(), bytes.end()};
        }
        if (form == ValueRuns) return readRuns(reader, count);
        if (form == Palette) return readPacked(reader, count);
        throw ChangeError(fmt::format("an unknown form {} of values was found", form));
    }

    static Bytes readRuns(ByteReader& reader, std::size_t count) {
        Bytes bytes;
        bytes.reserve(count * sizeof(Value));
        while (bytes.size() < count * sizeof(Value)) {
            const std::uint64_t length = reader.number(count - bytes.size() / sizeof(Value));
            const Value value = reader.fixed<Value>();
            if (length == 0) throw ChangeError("a run of values is empty");
            if constexpr (sizeof(Value) == 1)
                bytes.insert(bytes.end(), static_cast<std::size_t>(length), static_cast<std::byte>(value));
            else
                for (std::uint64_t i = 0; i < length; ++i) putFixed(bytes, value);
        }
        return bytes;
    }

    static Bytes readPacked(ByteReader& reader, std::size_t count) {
        std::array<Value, MostInPalette> different{};
        const auto size = static_cast<std::size_t>(reader.number(MostInPalette));
        for (std::size_t i = 0; i < size; ++i) different[i] = reader.fixed<Value>();
        const std::size_t bits = bitsFor(size);
        const auto packed = reader.bytes(bytesForBits(count * bits));
        Bytes bytes;
        bytes.reserve(count * sizeof(Value));
        for (std::size_t i = 0; i < count; ++i) {
            const auto byte = std::to_integer<std::size_t>(packed[i * bits / 8]);
            const std::size_t place = byte >> i * bits % 8 & ((std::size_t{1} << bits) - 1);
            if (place >= size) throw ChangeError(fmt::format("value {} of {} was found", place, size));
            putFixed(bytes, different[place]);
        }
        return bytes;
    }
};

} // namespace

std::vector<std::byte> FragmentChange::encode() const {
    Bytes bytes;
    putForm(bytes, Description);
    putForm(bytes, static_cast<std::uint8_t>(width_));
    putNumber(bytes, points_);
    putPoints(bytes, *this);
    for (const auto& values : {before(), after()})
        width_ == 1 ? Values<std::uint8_t>::put(bytes, values) : Values<std::uint16_t>::put(bytes, values);
    return bytes;
}

FragmentChange FragmentChange::decode(std::span<const std::byte> bytes) {
    ByteReader reader(bytes);
    if (const std::uint8_t description = reader.byte(); description != Description)
        throw ChangeError(
            fmt::format("a change of the kind {} was found where {} is expected", description, Description));
    const int width = reader.byte();
    if (width != 1 && width != 2)
        throw ChangeError(fmt::format("values of {} bytes were found where 1 or 2 are expected", width));
    FragmentChange change(width, static_cast<std::uint32_t>(reader.number(MostPoints)));
    change.runs_ = readPoints(reader, change.points_);
    std::size_t changed = 0;
    for (const Run& run : change.runs_) changed += run.count;
    for (auto* values : {&change.before_, &change.after_})
        *values =
            width == 1 ? Values<std::uint8_t>::read(reader, changed) : Values<std::uint16_t>::read(reader, changed);
    if (reader.left() > 0) throw ChangeError(fmt::format("{} bytes were found behind the end", reader.left()));
    change.requireDifferences();
    return change;
}

FragmentChange FragmentChange::decode(std::span<const std::byte> bytes, int width, std::uint32_t points) {
    ByteReader reader(bytes);
    reader.byte();
    const int foundWidth = reader.byte();
    const std::uint64_t found = reader.number();
    if (foundWidth != width || found != points)
        throw ChangeError(fmt::format("{} values of {} bytes were found where {} of {} are expected", found, foundWidth,
                                      points, width));
    return decode(bytes);
}

void FragmentChange::requireDifferences() const {
    const auto same = [&](std::size_t i) {
        return std::memcmp(&before_[i], &after_[i], static_cast<std::size_t>(width_)) == 0;
    };
    for (std::size_t i = 0; i < before_.size(); i += static_cast<std::size_t>(width_))
        if (same(i)) throw ChangeError("a point is listed that did not change");
}

} // namespace corvane

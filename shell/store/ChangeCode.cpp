// SPDX-License-Identifier: Apache-2.0
// A change as bytes:
//   1 (of this description), width, points,
//   which points, the values before, the values after.
// Which points: 0, number of runs, of each the distance from the end of the one before and its length; or 1, a bit for
// each point, the lowest first. Values, of the changed points one after the other: 0, runs of a length and a value, up
// to the last; 1, as they are; 2, number of different values and those, then for each its place there in 1, 2 or 4
// bits, the lowest first. Width and forms are bytes, numbers are of variable length, values have the width.
#include "base/ByteCode.hpp"
#include "store/FieldValues.hpp"
#include "store/FragmentChange.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <utility>

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

/// False, and nothing is put, when they take more bytes than that.
bool putRuns(Bytes& bytes, const std::vector<FragmentChange::Run>& runs, std::size_t most) {
    constexpr std::size_t TwoNumbers = 10; // bytes at most
    if (lengthOfNumber(runs.size()) + 2 * runs.size() > most) return false;
    const std::size_t begin = bytes.size();
    bytes.resize(begin + std::min(most, TwoNumbers * (runs.size() + 1)) + TwoNumbers);
    std::byte *const first = bytes.data() + begin, *next = first;
    const auto put = [&next](std::uint32_t number) {
        for (; number >= 0x80; number >>= 7) *next++ = static_cast<std::byte>(number | 0x80);
        *next++ = static_cast<std::byte>(number);
    };
    std::uint32_t end = 0;
    put(static_cast<std::uint32_t>(runs.size()));
    for (const auto& run : runs) {
        put(run.first - end);
        put(run.count);
        end = run.end();
        if (static_cast<std::size_t>(next - first) > most) break;
    }
    const auto length = static_cast<std::size_t>(next - first);
    bytes.resize(begin + (length <= most ? length : 0));
    return length <= most;
}

void putBits(Bytes& bytes, const std::vector<FragmentChange::Run>& runs, std::uint32_t points) {
    const std::size_t begin = bytes.size();
    bytes.resize(begin + bytesForBits(points));
    std::byte* const bits = bytes.data() + begin;
    for (const auto& run : runs)
        for (std::uint32_t i = run.first, end = run.end(); i < end; ++i) bits[i / 8] |= std::byte(1u << i % 8);
}

void putPoints(Bytes& bytes, const FragmentChange& change) {
    putForm(bytes, Runs);
    if (putRuns(bytes, change.runs(), bytesForBits(change.points()))) return;
    bytes.back() = static_cast<std::byte>(Bits);
    putBits(bytes, change.runs(), change.points());
}

std::vector<FragmentChange::Run> readRuns(ByteReader& reader, std::uint32_t points) {
    const std::uint64_t count = reader.number(reader.left() / 2); // a run has two bytes at least
    std::vector<FragmentChange::Run> runs;
    runs.reserve(static_cast<std::size_t>(count));
    std::uint32_t end = 0;
    while (runs.size() < count) {
        const std::uint64_t gap = reader.number(points - end);
        const std::uint64_t length = reader.number(points - end - gap);
        if (length == 0 || (gap == 0 && !runs.empty())) throw BadBytes("two runs of points touch or one is empty");
        runs.push_back({end + static_cast<std::uint32_t>(gap), static_cast<std::uint32_t>(length)});
        end = runs.back().end();
    }
    return runs;
}

/// The first bit from `begin` on that is set, or is not, below `end`; `end` when there is none.
std::uint32_t findBit(std::span<const std::byte> bits, std::uint32_t begin, std::uint32_t end, bool set) {
    for (std::uint32_t i = begin; i < end; i = (i / 8 + 8) * 8) {
        std::uint64_t word = 0;
        if (bits.size() - i / 8 >= sizeof word)
            std::memcpy(&word, bits.data() + i / 8, sizeof word);
        else
            std::memcpy(&word, bits.data() + i / 8, bits.size() - i / 8);
        word = (set ? word : ~word) >> i % 8;
        if (word != 0) return std::min(end, i + static_cast<std::uint32_t>(std::countr_zero(word)));
    }
    return end;
}

std::vector<FragmentChange::Run> readBits(ByteReader& reader, std::uint32_t points) {
    const auto bits = reader.bytes(bytesForBits(points));
    if (points % 8 != 0 && (bits.back() >> points % 8) != std::byte{0})
        throw BadBytes("bits are set behind the last point");
    std::vector<FragmentChange::Run> runs;
    for (std::uint32_t end = 0;;) {
        const std::uint32_t first = findBit(bits, end, points, true);
        if (first == points) return runs;
        end = findBit(bits, first, points, false);
        runs.push_back({first, end - first});
    }
}

std::vector<FragmentChange::Run> readPoints(ByteReader& reader, std::uint32_t points) {
    const std::uint8_t form = reader.byte();
    if (form == Runs) return readRuns(reader, points);
    if (form == Bits) return readBits(reader, points);
    throw BadBytes(fmt::format("an unknown form {} of points was found", form));
}

/// Values of one width, as they are put and read.
template <class Value>
class Values {
public:
    static void put(Bytes& bytes, std::span<const std::byte> plain) {
        const Values values(plain);
        const std::size_t runs = values.lengthOfRuns(plain.size() + 1);
        // With fewer bytes than any palette takes there is no need to look for one.
        const bool few = runs <= 1 + sizeof(Value) + bytesForBits(values.count_);
        const auto palette = few ? std::vector<Value>() : values.findPalette();
        const std::size_t bits = bitsFor(palette.size());
        const std::size_t packed =
            few || palette.size() > MostInPalette
                ? plain.size()
                : std::min(plain.size(), 1 + palette.size() * sizeof(Value) + bytesForBits(values.count_ * bits));
        if (runs <= packed) {
            putForm(bytes, ValueRuns);
            values.forRuns([&](Value value, std::size_t length) {
                putNumber(bytes, length);
                putFixed(bytes, value);
            });
        } else if (packed < plain.size()) {
            putForm(bytes, Palette);
            values.putPacked(bytes, palette, bits);
        } else {
            putForm(bytes, Plain);
            putBytes(bytes, plain);
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
        throw BadBytes(fmt::format("an unknown form {} of values was found", form));
    }

private:
    explicit Values(std::span<const std::byte> plain) : data_(plain.data()), count_(plain.size() / sizeof(Value)) {}

    Value at(std::size_t i) const { return loadValue<Value>(data_, i); }

    /// Calls `use(value, length)` for each run of equal values.
    template <class Use>
    void forRuns(Use use) const {
        for (std::size_t first = 0, end = 0; first < count_; first = end) {
            end = endOfRun(first);
            use(at(first), end - first);
        }
    }

    /// Where the run ends that begins there; looks at eight bytes at once.
    std::size_t endOfRun(std::size_t first) const {
        constexpr std::size_t Step = sizeof(std::uint64_t) / sizeof(Value);
        constexpr std::uint64_t Ones = ~std::uint64_t{0} / std::numeric_limits<Value>::max(); // one in each value
        const Value value = at(first);
        std::size_t end = first + 1;
        while (end + Step <= count_ && loadValue<std::uint64_t>(data_ + end * sizeof(Value), 0) == value * Ones)
            end += Step;
        while (end < count_ && at(end) == value) ++end;
        return end;
    }

    /// How many bytes runs take; or at least too many.
    std::size_t lengthOfRuns(std::size_t tooMany) const {
        constexpr std::size_t Block = 4096; // values, after which it may be known
        std::size_t runs = count_ > 0;
        for (std::size_t first = 1; first < count_; first += Block) {
            const std::size_t count = std::min(Block, count_ - first);
            runs += countDifferences<Value>(data_ + first * sizeof(Value), data_ + (first - 1) * sizeof(Value), count);
            if (runs * (1 + sizeof(Value)) >= tooMany) return tooMany;
        }
        std::size_t length = 0;
        forRuns([&](Value, std::size_t equal) { length += lengthOfNumber(equal) + sizeof(Value); });
        return length;
    }

    /// The values that occur, ascending; more than a palette may have when there are too many. Passes over eight bytes
    /// at once that are the same as those before.
    std::vector<Value> findPalette() const {
        constexpr std::size_t Step = sizeof(std::uint64_t) / sizeof(Value);
        std::vector<char> occurs(std::size_t{1} << 8 * sizeof(Value));
        std::vector<Value> palette;
        std::uint64_t before = 0;
        for (std::size_t first = 0; first < count_ && palette.size() <= MostInPalette; first += Step) {
            const std::size_t end = std::min(first + Step, count_);
            if (end == first + Step) {
                const auto word = loadValue<std::uint64_t>(data_ + first * sizeof(Value), 0);
                if (word == std::exchange(before, word) && first > 0) continue;
            }
            for (std::size_t i = first; i < end; ++i) {
                const Value value = at(i);
                if (occurs[value] == 0) palette.push_back(value);
                occurs[value] = 1;
            }
        }
        std::ranges::sort(palette);
        return palette;
    }

    void putPacked(Bytes& bytes, const std::vector<Value>& palette, std::size_t bits) const {
        putNumber(bytes, palette.size());
        std::vector<std::uint8_t> places(std::size_t{1} << 8 * sizeof(Value)); // by value
        for (std::size_t i = 0; i < palette.size(); ++i) {
            putFixed(bytes, palette[i]);
            places[palette[i]] = static_cast<std::uint8_t>(i);
        }
        const std::size_t begin = bytes.size();
        bytes.resize(begin + bytesForBits(count_ * bits));
        const std::byte* value = data_; // these stay in registers
        std::byte* const packed = bytes.data() + begin;
        for (std::size_t i = 0, count = count_; i < count; ++i)
            packed[i * bits / 8] |= static_cast<std::byte>(places[loadValue<Value>(value, i)] << i * bits % 8);
    }

    static Bytes readRuns(ByteReader& reader, std::size_t count) {
        Bytes bytes(count * sizeof(Value));
        for (std::size_t i = 0; i < count;) {
            const std::uint64_t length = reader.number(count - i);
            const Value value = reader.fixed<Value>();
            if (length == 0) throw BadBytes("a run of values is empty");
            std::byte* const first = bytes.data() + i * sizeof(Value);
            for (std::size_t equal = 0; equal < length; ++equal) storeValue(first, equal, value);
            i += static_cast<std::size_t>(length);
        }
        return bytes;
    }

    static Bytes readPacked(ByteReader& reader, std::size_t count) {
        std::array<Value, MostInPalette> palette{};
        const auto size = static_cast<std::size_t>(reader.number(MostInPalette));
        for (std::size_t i = 0; i < size; ++i) palette[i] = reader.fixed<Value>();
        const std::size_t bits = bitsFor(size);
        const auto packed = reader.bytes(bytesForBits(count * bits));
        Bytes bytes(count * sizeof(Value));
        std::byte* const values = bytes.data();
        std::size_t largest = 0; // place in the palette
        for (std::size_t i = 0; i < count; ++i) {
            const auto byte = std::to_integer<std::size_t>(packed[i * bits / 8]);
            const std::size_t place = byte >> i * bits % 8 & ((std::size_t{1} << bits) - 1);
            largest = std::max(largest, place);
            storeValue(values, i, palette[place]);
        }
        if (count > 0 && largest >= size) throw BadBytes(fmt::format("value {} of {} was found", largest, size));
        return bytes;
    }

    const std::byte* data_;
    std::size_t count_;
};

/// Whether any value is the same on both sides.
template <class Value>
bool hasSame(std::span<const std::byte> a, std::span<const std::byte> b) {
    std::size_t same = 0;
    for (std::size_t i = 0; i < a.size() / sizeof(Value); ++i)
        same += loadValue<Value>(a.data(), i) == loadValue<Value>(b.data(), i);
    return same > 0;
}

} // namespace

std::vector<std::byte> FragmentChange::encode() const {
    Bytes bytes;
    putForm(bytes, Description);
    putForm(bytes, static_cast<std::uint8_t>(width_));
    putNumber(bytes, points_);
    putPoints(bytes, *this);
    for (const auto& values : {before(), after()})
        withWidth(width_, [&](auto value) { Values<decltype(value)>::put(bytes, values); });
    return bytes;
}

FragmentChange FragmentChange::decode(std::span<const std::byte> bytes) {
    ByteReader reader(bytes);
    if (const std::uint8_t description = reader.byte(); description != Description)
        throw BadBytes(fmt::format("a change of the kind {} was found where {} is expected", description, Description));
    const int width = reader.byte();
    if (width != 1 && width != 2)
        throw BadBytes(fmt::format("values of {} bytes were found where 1 or 2 are expected", width));
    FragmentChange change(width, static_cast<std::uint32_t>(reader.number(MostPoints)));
    change.runs_ = readPoints(reader, change.points_);
    std::size_t changed = 0;
    for (const Run& run : change.runs_) changed += run.count;
    for (auto* values : {&change.before_, &change.after_})
        *values = withWidth(width, [&](auto value) { return Values<decltype(value)>::read(reader, changed); });
    if (reader.left() > 0) throw BadBytes(fmt::format("{} bytes were found behind the end", reader.left()));
    if (withWidth(width, [&](auto value) { return hasSame<decltype(value)>(change.before_, change.after_); }))
        throw BadBytes("a point is listed that did not change");
    return change;
}

FragmentChange FragmentChange::decode(std::span<const std::byte> bytes, int width, std::uint32_t points) {
    ByteReader reader(bytes);
    reader.byte();
    const int foundWidth = reader.byte();
    const std::uint64_t found = reader.number();
    if (foundWidth != width || found != points)
        throw BadBytes(fmt::format("{} values of {} bytes were found where {} of {} are expected", found, foundWidth,
                                   points, width));
    return decode(bytes);
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/FragmentChange.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

// All numbers in stored bytes are little endian, and values are copied as they stand.
static_assert(std::endian::native == std::endian::little);

using Bytes = std::vector<std::byte>;

/// Appends whole numbers of variable length: seven bits a byte, the lowest first, the highest bit says that more
/// follow.
inline void putNumber(Bytes& bytes, std::uint64_t number) {
    for (; number >= 0x80; number >>= 7) bytes.push_back(static_cast<std::byte>(number | 0x80));
    bytes.push_back(static_cast<std::byte>(number));
}

/// How many bytes that takes.
inline std::size_t lengthOfNumber(std::uint64_t number) {
    return std::max<std::size_t>(1, (static_cast<std::size_t>(std::bit_width(number)) + 6) / 7);
}

inline void putBytes(Bytes& bytes, std::span<const std::byte> more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

inline std::span<const std::byte> bytesOf(std::string_view text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}

/// A number of fixed length.
template <class T>
void putFixed(Bytes& bytes, T number) {
    putBytes(bytes, std::as_bytes(std::span(&number, 1)));
}

/// The values of a field as they lie in memory, wherever that is.
template <class Value>
Value loadValue(const std::byte* values, std::size_t i) {
    Value value;
    std::memcpy(&value, values + i * sizeof(Value), sizeof(Value));
    return value;
}
template <class Value>
void storeValue(std::byte* values, std::size_t i, Value value) {
    std::memcpy(values + i * sizeof(Value), &value, sizeof(Value));
}

/// How many of the values differ. Counted in numbers as wide as the values, so that the compiler makes vectors of them.
template <class Value>
std::size_t countDifferences(const std::byte* a, const std::byte* b, std::size_t count) {
    constexpr std::size_t Block = 128; // which a byte can count
    std::size_t differences = 0, i = 0;
    for (; i + Block <= count; i += Block) {
        Value some = 0;
        for (std::size_t j = i; j < i + Block; ++j) some += loadValue<Value>(a, j) != loadValue<Value>(b, j);
        differences += some;
    }
    for (; i < count; ++i) differences += loadValue<Value>(a, i) != loadValue<Value>(b, i);
    return differences;
}

/// Calls `use` with a value of this width in bytes, so that what it does is compiled for each.
template <class Use>
auto withWidth(int width, Use use) {
    return width == 1 ? use(std::uint8_t{}) : use(std::uint16_t{});
}

/// Reads what those wrote, from bytes that nobody vouches for. Everything throws ChangeError when they end too early.
class ByteReader {
public:
    explicit ByteReader(std::span<const std::byte> bytes) : rest_(bytes) {}

    std::size_t left() const { return rest_.size(); }

    std::span<const std::byte> bytes(std::uint64_t count) {
        if (count > rest_.size()) throw ChangeError("the bytes end too early");
        const auto taken = rest_.first(static_cast<std::size_t>(count));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }

    std::uint8_t byte() { return std::to_integer<std::uint8_t>(bytes(1)[0]); }

    /// A number of variable length, up to `most`.
    std::uint64_t number(std::uint64_t most = std::numeric_limits<std::uint64_t>::max()) {
        std::uint64_t number = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const std::uint64_t next = byte();
            number |= (next & 0x7F) << shift;
            if (shift == 63 && next > 1) break;
            if (next < 0x80) {
                if (number <= most) return number;
                break;
            }
        }
        throw ChangeError("a number is too large");
    }

    template <class T>
    T fixed() {
        T value;
        const auto from = bytes(sizeof(T));
        std::ranges::copy(from, std::as_writable_bytes(std::span(&value, 1)).begin());
        return value;
    }

private:
    std::span<const std::byte> rest_;
};

} // namespace corvane

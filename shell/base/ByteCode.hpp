// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace corvane {

// All numbers in stored bytes are little endian, and values are copied as they stand.
static_assert(std::endian::native == std::endian::little);

using Bytes = std::vector<std::byte>;

/// Stored bytes that are not what they should be: what is wrong with them; no finished sentence, without a full stop,
/// so that whoever knows the place can put it in front.
struct BadBytes : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// How many bytes a whole number of variable length takes.
inline std::size_t lengthOfNumber(std::uint64_t number) {
    return std::max<std::size_t>(1, (static_cast<std::size_t>(std::bit_width(number)) + 6) / 7);
}

/// Writes such a number: seven bits a byte, the lowest first, the highest bit says that more follow.
inline void writeNumber(std::byte* to, std::uint64_t number) {
    for (; number >= 0x80; number >>= 7) *to++ = static_cast<std::byte>(number | 0x80);
    *to = static_cast<std::byte>(number);
}

inline void putBytes(Bytes& bytes, std::span<const std::byte> more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

inline void putNumber(Bytes& bytes, std::uint64_t number) {
    const std::size_t at = bytes.size();
    bytes.resize(at + lengthOfNumber(number));
    writeNumber(&bytes[at], number);
}

inline std::span<const std::byte> bytesOf(std::string_view text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}

/// A number of fixed length.
template <class T>
void putFixed(Bytes& bytes, T number) {
    putBytes(bytes, std::as_bytes(std::span(&number, 1)));
}

/// The first place from `at` on where two pieces of equal length differ; their length: nowhere.
inline std::size_t alikeUntil(std::size_t at, std::span<const std::byte> a, std::span<const std::byte> b) {
    for (std::uint64_t left, right; at + sizeof left <= a.size(); at += sizeof left) {
        std::memcpy(&left, &a[at], sizeof left);
        std::memcpy(&right, &b[at], sizeof right);
        if (left != right) break;
    }
    while (at < a.size() && a[at] == b[at]) ++at;
    return at;
}

/// Reads what those wrote, from bytes that nobody vouches for. Everything throws BadBytes when they end too early.
class ByteReader {
public:
    explicit ByteReader(std::span<const std::byte> bytes) : rest_(bytes) {}

    std::size_t left() const { return rest_.size(); }

    std::span<const std::byte> bytes(std::uint64_t count) {
        if (count > rest_.size()) throw BadBytes("the bytes end too early");
        const auto taken = rest_.first(static_cast<std::size_t>(count));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }

    std::uint8_t byte() { return std::to_integer<std::uint8_t>(bytes(1)[0]); }

    /// A number of variable length, up to `most`.
    std::uint64_t number(std::uint64_t most = std::numeric_limits<std::uint64_t>::max()) {
        if (!rest_.empty() && rest_[0] < std::byte{0x80} && std::to_integer<std::uint64_t>(rest_[0]) <= most)
            return byte(); // as most are
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
        throw BadBytes("a number is too large");
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

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace laz {

// Records are little endian; values are copied as they stand.
static_assert(std::endian::native == std::endian::little);

template <class T>
T get(const std::byte* place) {
    T value;
    std::memcpy(&value, place, sizeof value);
    return value;
}

template <class T>
void put(std::byte* place, const T& value) {
    std::memcpy(place, &value, sizeof value);
}

/// Sums and products of 32 bits that wrap, as the format's do.
constexpr std::int32_t plus(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
constexpr std::int32_t minus(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
constexpr std::int32_t times(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

/// A table of one hexadecimal digit per place, as it is written down.
template <std::size_t Rows, std::size_t Columns>
constexpr std::array<std::array<std::uint8_t, Columns>, Rows> digits(const char (&text)[Rows * Columns + 1]) {
    std::array<std::array<std::uint8_t, Columns>, Rows> table{};
    for (std::size_t i = 0; i < Rows * Columns; ++i)
        table[i / Columns][i % Columns] =
            static_cast<std::uint8_t>(text[i] <= '9' ? text[i] - '0' : text[i] - 'A' + 10);
    return table;
}

} // namespace laz

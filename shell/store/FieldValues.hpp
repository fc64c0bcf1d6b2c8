// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace corvane {

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

} // namespace corvane

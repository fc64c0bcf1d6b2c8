// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cassert>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

namespace corvane {

// The format is little endian; values are copied as they stand.
static_assert(std::endian::native == std::endian::little);

/// The value at `offset`; `bytes` must reach that far.
template <class T>
T load(std::span<const std::byte> bytes, std::size_t offset) {
    assert(offset <= bytes.size() && sizeof(T) <= bytes.size() - offset);
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

/// Puts the value at `offset`; `bytes` must reach that far.
template <class T>
void store(std::span<std::byte> bytes, std::size_t offset, const T& value) {
    assert(offset <= bytes.size() && sizeof(T) <= bytes.size() - offset);
    std::memcpy(bytes.data() + offset, &value, sizeof(T));
}

/// The text of a field of fixed length, up to its first null.
inline std::string loadText(std::span<const std::byte> bytes, std::size_t offset, std::size_t length) {
    const auto field = bytes.subspan(offset, length);
    const std::string_view text(reinterpret_cast<const char*>(field.data()), field.size());
    return std::string(text.substr(0, text.find('\0')));
}

} // namespace corvane

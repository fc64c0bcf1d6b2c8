// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sextant/Geometry.hpp"
#include "las/LasDimensions.hpp"
#include "las/LasHeader.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace corvane {

/// Coordinates of consecutive records: `positions.size()` of them, `stride` bytes each. X, Y and Z are the first 12
/// bytes of a record, as 32-bit integers to be scaled and shifted as the header says.
void decodePositions(std::span<const std::byte> records, std::size_t stride, const LasHeader& header,
                     std::span<Sextant::PhysicalSpace::point> positions);

/// Values of one dimension of consecutive records, as T, which must be able to hold them.
template <class Stored, class T>
void decodeValues(std::span<const std::byte> records, std::size_t stride, const Dimension& dimension,
                  std::span<T> values) {
    const std::byte* place = records.data() + dimension.offset;
    for (T& value : values) {
        Stored stored;
        std::memcpy(&stored, place, sizeof stored);
        if constexpr (std::is_floating_point_v<T>)
            value = static_cast<T>(double(stored) * dimension.scale + dimension.shift);
        else
            value = static_cast<T>(stored);
        place += stride;
    }
}

/// The same for a dimension of a few bits.
inline void decodeBits(std::span<const std::byte> records, std::size_t stride, const Dimension& dimension,
                       std::span<std::uint8_t> values) {
    const std::byte* place = records.data() + dimension.offset;
    const unsigned mask = dimension.largestValue();
    for (std::uint8_t& value : values) {
        value = static_cast<std::uint8_t>((std::to_integer<unsigned>(*place) >> dimension.firstBit) & mask);
        place += stride;
    }
}

/// Writes values of one dimension into consecutive records, and nothing but the bits that belong to it. The values must
/// fit the dimension.
template <class T>
void encodeValues(std::span<std::byte> records, std::size_t stride, const Dimension& dimension,
                  std::span<const T> values) {
    std::byte* place = records.data() + dimension.offset;
    for (const T& value : values) {
        std::memcpy(place, &value, sizeof value);
        place += stride;
    }
}

inline void encodeBits(std::span<std::byte> records, std::size_t stride, const Dimension& dimension,
                       std::span<const std::uint8_t> values) {
    std::byte* place = records.data() + dimension.offset;
    const std::byte mask = std::byte(dimension.largestValue() << dimension.firstBit);
    for (const std::uint8_t value : values) {
        *place = (*place & ~mask) | (std::byte(value) << dimension.firstBit);
        place += stride;
    }
}

} // namespace corvane

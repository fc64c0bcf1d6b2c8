// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasDimensions.hpp"
#include "las/LasHeader.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace corvane {

namespace codec {

/// One by one: an array of the three would be copied to memory on its way into registers.
inline std::int32_t integerAt(const std::byte* place) {
    std::int32_t stored;
    std::memcpy(&stored, place, sizeof stored);
    return stored;
}

/// A stride that the compiler knows lets it unroll and address the records without multiplying. 0: known at run time.
template <std::size_t KnownStride, class Position>
void decodeWithStride(const std::byte* record, std::size_t stride, const LasHeader& header,
                      std::span<Position> positions) {
    const auto [scaleX, scaleY, scaleZ] = header.scale;
    const auto [offsetX, offsetY, offsetZ] = header.offset;
    for (Position& position : positions) {
        position.x = integerAt(record) * scaleX + offsetX;
        position.y = integerAt(record + 4) * scaleY + offsetY;
        position.z = integerAt(record + 8) * scaleZ + offsetZ;
        record += KnownStride > 0 ? KnownStride : stride;
    }
}

/// Where the first value of a dimension stands. Without records it stands nowhere.
template <class Byte>
Byte* firstOf(std::span<Byte> records, const Dimension& dimension) {
    return records.empty() ? nullptr : records.data() + dimension.offset;
}

} // namespace codec

/// Coordinates of consecutive records: `positions.size()` of them, `stride` bytes each. X, Y and Z are the first 12
/// bytes of a record, as 32-bit integers to be scaled and shifted as the header says. A Position has members x, y and
/// z.
template <class Position>
void decodePositions(std::span<const std::byte> records, std::size_t stride, const LasHeader& header,
                     std::span<Position> positions) {
    switch (stride) {
    case 20:
        return codec::decodeWithStride<20>(records.data(), stride, header, positions);
    case 26:
        return codec::decodeWithStride<26>(records.data(), stride, header, positions);
    case 28:
        return codec::decodeWithStride<28>(records.data(), stride, header, positions);
    case 30:
        return codec::decodeWithStride<30>(records.data(), stride, header, positions);
    case 34:
        return codec::decodeWithStride<34>(records.data(), stride, header, positions);
    case 36:
        return codec::decodeWithStride<36>(records.data(), stride, header, positions);
    case 38:
        return codec::decodeWithStride<38>(records.data(), stride, header, positions);
    default:
        return codec::decodeWithStride<0>(records.data(), stride, header, positions);
    }
}

/// Calls the function with the type that has this storage, as an argument of no meaning.
template <class Function>
auto withStored(Storage storage, Function function) {
    switch (storage) {
    case Storage::UInt8:
        return function(std::uint8_t{});
    case Storage::Int8:
        return function(std::int8_t{});
    case Storage::UInt16:
        return function(std::uint16_t{});
    case Storage::Int16:
        return function(std::int16_t{});
    case Storage::UInt32:
        return function(std::uint32_t{});
    case Storage::Int32:
        return function(std::int32_t{});
    case Storage::UInt64:
        return function(std::uint64_t{});
    case Storage::Int64:
        return function(std::int64_t{});
    case Storage::Float:
        return function(float{});
    case Storage::Double:
        break;
    }
    return function(double{});
}

/// Values of one dimension of consecutive records, as T, which must be able to hold them.
template <class Stored, class T>
void decodeValues(std::span<const std::byte> records, std::size_t stride, const Dimension& dimension,
                  std::span<T> values) {
    const std::byte* place = codec::firstOf(records, dimension);
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
template <class T>
void decodeBits(std::span<const std::byte> records, std::size_t stride, const Dimension& dimension,
                std::span<T> values) {
    const std::byte* place = codec::firstOf(records, dimension);
    const unsigned mask = dimension.largestValue();
    for (T& value : values) {
        value = static_cast<T>((std::to_integer<unsigned>(*place) >> dimension.firstBit) & mask);
        place += stride;
    }
}

/// The values of a dimension of any storage, as numbers.
inline void decodeNumbers(std::span<const std::byte> records, std::size_t stride, const Dimension& dimension,
                          std::span<double> values) {
    if (dimension.packed()) return decodeBits(records, stride, dimension, values);
    withStored(dimension.storage,
               [&](auto stored) { decodeValues<decltype(stored)>(records, stride, dimension, values); });
}

/// Writes values of one dimension into consecutive records, and nothing but the bits that belong to it. The values must
/// fit the dimension.
template <class T>
void encodeValues(std::span<std::byte> records, std::size_t stride, const Dimension& dimension,
                  std::span<const T> values) {
    std::byte* place = codec::firstOf(records, dimension);
    for (const T& value : values) {
        std::memcpy(place, &value, sizeof value);
        place += stride;
    }
}

inline void encodeBits(std::span<std::byte> records, std::size_t stride, const Dimension& dimension,
                       std::span<const std::uint8_t> values) {
    std::byte* place = codec::firstOf(records, dimension);
    const std::byte mask = std::byte(dimension.largestValue() << dimension.firstBit);
    for (const std::uint8_t value : values) {
        *place = (*place & ~mask) | (std::byte(value) << dimension.firstBit);
        place += stride;
    }
}

} // namespace corvane

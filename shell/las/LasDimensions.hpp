// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/Layout.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// The dimension that says what a point is of.
constexpr char ClassificationName[] = "Classification";

/// How a dimension is stored in a record. All little endian.
enum class Storage : std::uint8_t { UInt8, Int8, UInt16, Int16, UInt32, Int32, UInt64, Int64, Float, Double };

/// Bytes of one stored value.
std::size_t sizeOf(Storage storage);

/// "uint8", "double", …
std::string_view nameOf(Storage storage);

/// One dimension of a point record. Values of a packed one are `bits` wide from bit `firstBit` of its byte.
struct Dimension {
    std::string name;
    Storage storage = Storage::UInt8;
    std::size_t offset = 0; ///< of the first byte, in the record
    std::uint8_t firstBit = 0;
    std::uint8_t bits = 0; ///< 0: not packed, the whole storage
    double scale = 1;      ///< value = stored × scale + shift
    double shift = 0;

    bool packed() const { return bits != 0; }
    bool scaled() const { return scale != 1 || shift != 0; }

    /// The largest value that an unsigned dimension of 8 or 16 bits can hold, 0 for others.
    std::uint32_t largestValue() const;

    /// Where it stands in a record.
    laz::RecordBytes place() const;

    bool operator==(const Dimension&) const = default;
};

/// Bytes of a record of this point format (0 to 10) without extra bytes.
std::size_t recordLengthOf(std::uint8_t pointFormat);

/// The dimensions of a point format (0 to 10), names as the community's tools have them (Classification, Synthetic,
/// KeyPoint, Withheld, Overlap, …). X, Y and Z stand first, as Int32, unscaled.
std::vector<Dimension> dimensionsOf(std::uint8_t pointFormat);

/// The dimension's own name for another that tools know it by.
std::string withoutAlias(const std::string& name);

/// The dimensions that an Extra Bytes record (user id LASF_Spec, record id 4; 192 bytes per descriptor) describes, from
/// offset `firstByte` of the point record on. Descriptors that reach beyond `recordLength`, unknown types and names
/// that are taken each give a sentence in `warnings` and are left out or renamed. Arrays of the old types become one
/// dimension per element, name[0], name[1]; undocumented bytes become none. Names are as they may be shown.
std::vector<Dimension> extraDimensions(std::span<const std::byte> payload, std::size_t firstByte,
                                       std::size_t recordLength, const std::vector<Dimension>& standard,
                                       std::vector<std::string>& warnings);

} // namespace corvane

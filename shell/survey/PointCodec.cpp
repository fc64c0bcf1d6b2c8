// SPDX-License-Identifier: Apache-2.0
#include "survey/PointCodec.hpp"

namespace corvane {
namespace {

using Point = Sextant::PhysicalSpace::point;

/// One by one: an array of the three would be copied to memory on its way into registers.
std::int32_t integerAt(const std::byte* place) {
    std::int32_t stored;
    std::memcpy(&stored, place, sizeof stored);
    return stored;
}

/// A stride that the compiler knows lets it unroll and address the records without multiplying. 0: known at run time.
template <std::size_t KnownStride>
void decodeWithStride(const std::byte* record, std::size_t stride, const LasHeader& header,
                      std::span<Point> positions) {
    const auto [scaleX, scaleY, scaleZ] = header.scale;
    const auto [offsetX, offsetY, offsetZ] = header.offset;
    for (Point& position : positions) {
        position.x = integerAt(record) * scaleX + offsetX;
        position.y = integerAt(record + 4) * scaleY + offsetY;
        position.z = integerAt(record + 8) * scaleZ + offsetZ;
        record += KnownStride > 0 ? KnownStride : stride;
    }
}

} // namespace

void decodePositions(std::span<const std::byte> records, std::size_t stride, const LasHeader& header,
                     std::span<Point> positions) {
    switch (stride) {
    case 20:
        return decodeWithStride<20>(records.data(), stride, header, positions);
    case 26:
        return decodeWithStride<26>(records.data(), stride, header, positions);
    case 28:
        return decodeWithStride<28>(records.data(), stride, header, positions);
    case 30:
        return decodeWithStride<30>(records.data(), stride, header, positions);
    case 34:
        return decodeWithStride<34>(records.data(), stride, header, positions);
    case 36:
        return decodeWithStride<36>(records.data(), stride, header, positions);
    case 38:
        return decodeWithStride<38>(records.data(), stride, header, positions);
    default:
        return decodeWithStride<0>(records.data(), stride, header, positions);
    }
}

} // namespace corvane

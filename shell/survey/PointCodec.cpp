// SPDX-License-Identifier: Apache-2.0
#include "survey/PointCodec.hpp"

#include <array>

namespace corvane {
namespace {

using Point = Sextant::PhysicalSpace::point;

/// A stride that the compiler knows lets it unroll and address the records without multiplying. 0: known at run time.
template <std::size_t KnownStride>
void decodeWithStride(const std::byte* record, std::size_t stride, const LasHeader& header,
                      std::span<Point> positions) {
    const Point scale(header.scale[0], header.scale[1], header.scale[2]);
    const Point offset(header.offset[0], header.offset[1], header.offset[2]);
    for (Point& position : positions) {
        std::array<std::int32_t, 3> stored;
        std::memcpy(stored.data(), record, sizeof stored);
        position = Point(stored[0], stored[1], stored[2]) * scale + offset;
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

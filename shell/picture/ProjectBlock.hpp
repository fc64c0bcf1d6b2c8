// SPDX-License-Identifier: Apache-2.0
// The loop that every point goes through. It is in a header so that it can be compiled for several sets of
// instructions; whoever includes it has no multiplication fused with an addition (-ffp-contract=off), and gets the same
// bits from all of them.
#pragma once

#include "picture/PackedPoints.hpp"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace corvane {

/// The way from the steps of a fragment to pixels: columns from the left, rows from above, and the depth, each a sum of
/// the three coordinates times a factor and of a fourth number. In a view that is not affine the first two sums are
/// divided by the last one, the distance from the eye, which is the depth there.
struct ToPixels {
    std::array<float, 4> column, row, depth, distance;
    float width, height;  ///< of the picture
    std::int32_t nowhere; ///< the pixel that stands for none
};

constexpr std::size_t BlockPoints = 512;

namespace {

/// A depth as a whole number of the same order.
inline std::uint32_t orderedDepth(float depth) {
    const auto bits = std::bit_cast<std::uint32_t>(depth + 0.0F); // so that there is one zero
    return bits ^ (bits >> 31 != 0 ? 0xFFFFFFFFU : 0x80000000U);
}

inline float depthOfOrdered(std::uint32_t ordered) {
    return std::bit_cast<float>(ordered ^ (ordered >> 31 != 0 ? 0x80000000U : 0xFFFFFFFFU));
}

/// The pixel and the depth of each of `count` points.
template <bool Affine>
[[gnu::always_inline]] inline void projectBlock(const std::uint64_t* points, std::size_t count, const ToPixels& to,
                                                std::int32_t* pixels, std::uint32_t* depths) {
    const ToPixels by = to; // which no store below can change
    const auto sum = [](const std::array<float, 4>& f, float x, float y, float z) {
        return (f[0] * x + f[1] * y) + (f[2] * z + f[3]);
    };
    for (std::size_t i = 0; i < count; ++i) {
        const auto part = [&](unsigned axis) {
            return static_cast<float>(
                static_cast<std::int32_t>(points[i] >> (axis * PackedPoints::Bits) & PackedPoints::Largest));
        };
        const float x = part(0), y = part(1), z = part(2);
        float column = sum(by.column, x, y, z), row = sum(by.row, x, y, z), depth = sum(by.depth, x, y, z);
        bool seen = (depth >= -1.0F) & (depth <= 1.0F);
        if constexpr (!Affine) {
            const float distance = sum(by.distance, x, y, z);
            seen = (distance > 0.0F) & (depth >= -distance) & (depth <= distance);
            column = column / distance;
            row = row / distance;
            depth = distance;
        }
        seen = seen & (column >= 0.0F) & (column < by.width) & (row >= 0.0F) & (row < by.height);
        const auto left = static_cast<std::int32_t>(seen ? column : 0.0F);
        const auto above = static_cast<std::int32_t>(seen ? row : 0.0F);
        pixels[i] = seen ? above * static_cast<std::int32_t>(by.width) + left : by.nowhere;
        depths[i] = orderedDepth(depth);
    }
}

} // namespace
} // namespace corvane

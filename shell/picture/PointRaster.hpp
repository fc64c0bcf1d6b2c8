// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sextant/View.hpp"
#include "picture/PackedPoints.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace corvane {

/// A view, the part of its screen that is shown, and on how many pixels. The pixels of the screen's upper edge are the
/// first row. What lies on the right and the lower edge is outside.
struct Screen {
    Sextant::View view;
    glm::dvec2 minimum{-1}, maximum{1}; ///< in the screen coordinates of the view
    int width = 0, height = 0;          ///< pixels; at most 2^30 altogether

    std::size_t pixels() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
};

/// Throws std::invalid_argument for a screen without pixels, with too many of them, or without an extent.
void requireSane(const Screen& screen);

/// What is seen in a pixel: its depth above, what the point said of itself below. The smaller one is nearer to the eye.
using Pixel = std::uint64_t;
constexpr Pixel NoPoint = ~Pixel{0};

/// The depth as the view has it: in an affine one from -1 on the near to 1 on the far plane, else the distance from the
/// eye along its sight.
float depthOf(Pixel pixel);

/// The number of the point, or its mark.
constexpr std::uint32_t markOf(Pixel pixel) { return static_cast<std::uint32_t>(pixel); }

/// Points to be drawn. Each leaves its mark in its pixel; without marks its number, counted from `first` on.
struct DrawnPoints {
    const PackedPoints& packed;
    std::span<const std::uint32_t> marks = {};
    std::uint32_t first = 0;
};

/// Draws points: each pixel keeps the point that is nearest to the eye, and of those at the same depth the one with the
/// smallest mark. So the picture depends neither on their order nor on threads, to the bit.
class PointRaster {
public:
    /// Throws std::invalid_argument for a screen without pixels, too many of them, or without an extent.
    explicit PointRaster(const Screen& screen);

    /// Throws std::length_error when the numbers would come round, and std::invalid_argument when there are marks, but
    /// not one for each point.
    void draw(const DrawnPoints& points);

    /// Takes in what another raster of the same screen has drawn.
    void merge(const PointRaster& other);

    const Screen& screen() const { return screen_; }

    /// How many points were drawn and are not in the picture, however many lie behind each other in it.
    std::uint64_t outside() const { return outside_; }

    /// Row by row from above.
    std::span<const Pixel> pixels() const { return std::span(pixels_).first(screen_.pixels()); }

private:
    Screen screen_;
    std::vector<Pixel> pixels_; // and one more, for points that are not seen
    std::uint64_t outside_ = 0;
};

/// Draws all of them on so many threads.
PointRaster drawPoints(const Screen& screen, std::span<const DrawnPoints> points, unsigned threads = 1);

} // namespace corvane

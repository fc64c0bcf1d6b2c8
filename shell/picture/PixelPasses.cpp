// SPDX-License-Identifier: Apache-2.0
#include "picture/PixelPasses.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace corvane {
namespace {

/// The part of a colour that starts at this bit.
float channel(Colour colour, int shift) { return static_cast<float>(colour >> shift & 0xFF); }

Colour opaque(float red, float green, float blue) {
    const auto byte = [](float value) { return static_cast<Colour>(std::clamp(value, 0.0F, 255.0F) + 0.5F); };
    return 0xFF000000U | byte(red) << 16 | byte(green) << 8 | byte(blue);
}

/// The depths, averaged over the pixels around: single points of trees would make the surface all grain.
Grid<float> smoothedDepths(const Grid<Pixel>& pixels) {
    Grid<float> depths{pixels.width, pixels.height, std::vector<float>(pixels.cells.size())};
    for (int row = 0; row < pixels.height; ++row)
        for (int column = 0; column < pixels.width; ++column) {
            float sum = 0, weight = 0;
            for (int y = std::max(row - 1, 0); y <= std::min(row + 1, pixels.height - 1); ++y)
                for (int x = std::max(column - 1, 0); x <= std::min(column + 1, pixels.width - 1); ++x) {
                    const Pixel pixel = pixels.at(x, y);
                    if (pixel == NoPoint) continue;
                    const float own = (x == column ? 2.0F : 1.0F) * (y == row ? 2.0F : 1.0F);
                    sum += own * depthOf(pixel);
                    weight += own;
                }
            depths.at(column, row) = weight > 0 ? sum / weight : 0;
        }
    return depths;
}

/// How much deeper it is from one pixel to the next along a direction; 0 where nothing is known.
float slope(const Grid<Pixel>& pixels, const Grid<float>& depths, int column, int row, int right, int down) {
    const bool before = pixels.holds(column - right, row - down) && pixels.at(column - right, row - down) != NoPoint;
    const bool behind = pixels.holds(column + right, row + down) && pixels.at(column + right, row + down) != NoPoint;
    const float here = depths.at(column, row);
    const float from = before ? depths.at(column - right, row - down) : here;
    const float to = behind ? depths.at(column + right, row + down) : here;
    return (to - from) / (before && behind ? 2.0F : 1.0F);
}

} // namespace

Grid<Pixel> gridOf(const PointRaster& raster) {
    const auto pixels = raster.pixels();
    return {raster.screen().width, raster.screen().height, {pixels.begin(), pixels.end()}};
}

void grow(Grid<Pixel>& pixels, int rounds) {
    for (int round = 0; round < rounds; ++round) {
        const Grid<Pixel> before = pixels;
        const bool square = round % 2 == 0; // and a cross in between: what grows stays round
        for (int row = 0; row < pixels.height; ++row)
            for (int column = 0; column < pixels.width; ++column) {
                Pixel& pixel = pixels.at(column, row);
                if (pixel != NoPoint) continue;
                for (int y = std::max(row - 1, 0); y <= std::min(row + 1, pixels.height - 1); ++y)
                    for (int x = std::max(column - 1, 0); x <= std::min(column + 1, pixels.width - 1); ++x)
                        if (square || x == column || y == row) pixel = std::min(pixel, before.at(x, y));
            }
    }
}

int roundsFor(std::uint64_t points, std::uint64_t pixelsBetween) {
    constexpr double most = 6; // a few points in a large picture stay points
    if (points == 0) return 0;
    const double spacing = std::sqrt(double(pixelsBetween) / double(points));
    return static_cast<int>(std::clamp(std::ceil(spacing), 1.0, most));
}

Grid<float> hillshade(const Grid<Pixel>& pixels, double rise) {
    constexpr float steepest = 2.5F;                           // walls and single points would be black or white
    const std::array<float, 3> sun{-0.5F, -0.5F, 0.70710678F}; // to the upper left, 45 degrees high
    const Grid<float> depths = smoothedDepths(pixels);
    Grid<float> shade{pixels.width, pixels.height, std::vector<float>(pixels.cells.size(), 1.0F)};
    for (int row = 0; row < pixels.height; ++row)
        for (int column = 0; column < pixels.width; ++column) {
            if (pixels.at(column, row) == NoPoint) continue;
            const auto steepness = [&](int right, int down) {
                return std::clamp(static_cast<float>(rise) * slope(pixels, depths, column, row, right, down), -steepest,
                                  steepest);
            };
            // Where it gets deeper to the right the surface looks to the right.
            const float x = steepness(1, 0), y = steepness(0, 1);
            const float light = (x * sun[0] + y * sun[1] + sun[2]) / std::sqrt(x * x + y * y + 1);
            shade.at(column, row) = light / sun[2];
        }
    return shade;
}

Colour lit(Colour colour, float brightness) {
    return opaque(channel(colour, 16) * brightness, channel(colour, 8) * brightness, channel(colour, 0) * brightness);
}

Colour between(Colour from, Colour to, double part) {
    const auto mixed = [&](int shift) {
        return channel(from, shift) + static_cast<float>(part) * (channel(to, shift) - channel(from, shift));
    };
    return opaque(mixed(16), mixed(8), mixed(0));
}

Grid<Colour> coloured(const Grid<Pixel>& pixels, const std::function<Colour(std::uint32_t mark)>& colourOf,
                      Colour background, const Grid<float>* shade) {
    constexpr float darkest = 0.45F, brightest = 1.2F;
    Grid<Colour> colours{pixels.width, pixels.height, std::vector<Colour>(pixels.cells.size(), background)};
    for (std::size_t i = 0; i < pixels.cells.size(); ++i) {
        if (pixels.cells[i] == NoPoint) continue;
        const Colour own = colourOf(markOf(pixels.cells[i]));
        colours.cells[i] = shade ? lit(own, std::clamp(shade->cells[i], darkest, brightest)) : own;
    }
    return colours;
}

} // namespace corvane

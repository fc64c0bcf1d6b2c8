// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/Canvas.hpp"
#include "picture/Look.hpp"
#include "picture/PixelPasses.hpp"

#include <memory>

namespace corvane {

/// Which points the pixels of a picture show: those that fell there, and those that grew into what was empty.
struct ShownPoints {
    Screen screen;
    std::shared_ptr<const Grid<Pixel>> pixels;
    std::shared_ptr<const PointNumbers> numbers; ///< of the marks
    DrawnFragments fragments;                    ///< in the order of the numbers
};

/// What is drawn, in a look.
Filter filterFor(const Look& look);

/// Pixels as a look shows them, and how bright they are: whatever does not depend on what is known of the points.
struct LitPixels {
    std::shared_ptr<const Grid<Pixel>> pixels;
    Grid<float> light; ///< empty: 1 everywhere
};
LitPixels litPixels(const Screen& screen, std::span<const Pixel> drawn, const Look& look, Team* team = nullptr);

/// The picture.
Grid<Colour> shaded(const ShownPoints& points, const Grid<float>& light, const Look& look, Team* team = nullptr);

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
// What becomes of drawn pixels: the same work for any number of points.
#pragma once

#include "picture/PointRaster.hpp"

#include <cstdint>
#include <functional>
#include <vector>

namespace corvane {

/// Pixels, row by row from above.
template <class T>
struct Grid {
    int width = 0, height = 0;
    std::vector<T> cells;

    bool holds(int column, int row) const { return column >= 0 && column < width && row >= 0 && row < height; }
    T& at(int column, int row) { return cells[place(column, row)]; }
    const T& at(int column, int row) const { return cells[place(column, row)]; }

private:
    std::size_t place(int column, int row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column);
    }
};

/// Red, green and blue in the bits from 16, 8 and 0 on; opaque ones have all bits from 24 on.
using Colour = std::uint32_t;

Grid<Pixel> gridOf(const PointRaster& raster);

/// Puts into each empty pixel what is nearest to the eye of those around it, and does that so many times: points become
/// as large as it takes to close the holes between them, and cover none.
void grow(Grid<Pixel>& pixels, int rounds);

/// How often `grow` has to be done to close most holes between so many points.
int roundsFor(std::uint64_t points, std::uint64_t pixelsBetween);

/// How brightly the surface of the highest points is lit from the upper left, 1 where it is level. `rise` is how far a
/// unit of depth goes, in widths of a pixel; smaller depths are higher.
Grid<float> hillshade(const Grid<Pixel>& pixels, double rise);

/// A colour for each pixel: that of its mark, made darker or brighter by the shade, if there is one; `background` where
/// there is no point.
Grid<Colour> coloured(const Grid<Pixel>& pixels, const std::function<Colour(std::uint32_t mark)>& colourOf,
                      Colour background, const Grid<float>* shade = nullptr);

/// A colour that has been multiplied by the brightness.
Colour lit(Colour colour, float brightness);

/// A colour on its way to another: 0 is the first, 1 the second.
Colour between(Colour from, Colour to, double part);

} // namespace corvane

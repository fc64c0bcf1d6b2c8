// SPDX-License-Identifier: Apache-2.0
// What becomes of drawn pixels: the same work for any number of points. Passes divide their rows on a team; without one
// they run on the calling thread, with the same result to the bit.
#pragma once

#include "picture/Grid.hpp"
#include "picture/PointRaster.hpp"
#include "picture/Team.hpp"

#include <cstdint>
#include <functional>
#include <span>

namespace corvane {

/// Red, green and blue in the bits from 16, 8 and 0 on; opaque ones have all bits from 24 on.
using Colour = std::uint32_t;

Grid<Pixel> gridOf(const PointRaster& raster);
Grid<Pixel> gridOf(const Screen& screen, std::span<const Pixel> pixels);

/// Puts into each empty pixel what is nearest to the eye of those around it, and does that so many times: points become
/// as large as it takes to close the holes between them, and cover none.
void grow(Grid<Pixel>& pixels, int rounds, Team* team = nullptr);

/// How often `grow` has to be done to close most holes between so many points.
int roundsFor(std::uint64_t points, std::uint64_t pixelsBetween);

/// The same for points that fell on pixels at random, by how many of the pixels near points are empty.
int roundsFor(const Grid<Pixel>& pixels);

/// The depths of the pixels, with a margin.
DepthGrid depthsOf(const Grid<Pixel>& pixels, int margin, Team* team = nullptr);

/// The depths in the widths of a pixel: of an affine view times `rise`, the widths that a unit of depth goes; of a
/// perspective, whose pixels widen with the distance, the logarithm of it times `rise`, one by the width of a pixel at
/// a distance of one.
DepthGrid depthsInPixels(const Grid<Pixel>& pixels, bool affine, float rise, int margin, Team* team = nullptr);

/// The depths, averaged over the pixels around: single points of trees would make a surface all grain.
DepthGrid smoothed(const DepthGrid& depths, Team* team = nullptr);

/// How brightly the surface of the highest points is lit from the upper left, 1 where it is level. `rise` is how far a
/// unit of depth goes, in widths of a pixel; smaller depths are higher.
Grid<float> hillshade(const Grid<Pixel>& pixels, double rise);
Grid<float> hillshade(const DepthGrid& depths, float rise, Team* team = nullptr);

/// How bright pixels are that have others in front of them among their eight neighbours, which are so many pixels away:
/// edges between near and far things become dark, slopes a little. Depths are in widths of a pixel; at most the margin
/// away.
Grid<float> eyeDome(const DepthGrid& depths, int away, float strength, Team* team = nullptr);

/// A colour for each pixel: that of its mark, made darker or brighter by the shade, if there is one; `background` where
/// there is no point.
Grid<Colour> coloured(const Grid<Pixel>& pixels, const std::function<Colour(std::uint32_t mark)>& colourOf,
                      Colour background, const Grid<float>* shade = nullptr);

/// A colour that has been multiplied by the brightness.
Colour lit(Colour colour, float brightness);

/// A colour on its way to another: 0 is the first, 1 the second.
Colour between(Colour from, Colour to, double part);

/// Calls `work(first, end)` for bands of so many rows.
void inBands(Team* team, int rows, const std::function<void(int, int)>& work);

} // namespace corvane

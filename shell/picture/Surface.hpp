// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/PixelPasses.hpp"

namespace corvane {

/// A surface through points: where there are holes up to so many pixels wide, a pixel has the mark of a point nearby,
/// and the depth that runs evenly between those around.
struct Surface {
    Grid<Pixel> pixels; ///< marks; of the depths only those of points count
    DepthGrid depths;
};
Surface surfaceThrough(const Grid<Pixel>& points, int widestHole, Team* team = nullptr);

/// How wide holes are between most points, of points that fell on pixels at random; 2 to 64.
int holesBetween(const Grid<Pixel>& points);

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/PointRaster.hpp"
#include "picture/ProjectBlock.hpp"

namespace corvane {

/// The way from the steps of packed points to the pixels of a screen.
ToPixels toPixels(const Screen& screen, const PackedPoints& points);

/// Whether no point of the box is on the screen.
bool misses(const Screen& screen, const Sextant::BoundingBox& box);

/// How many points, spread evenly in a box that meets the screen, put one on each pixel that the box covers: more where
/// only a slice of the box is between the near and the far plane.
double pointsForEachPixel(const Screen& screen, const Sextant::BoundingBox& box);

/// The height and width of a pixel, and how far a unit of depth goes, in the unit of the world. Of affine views.
struct PixelSize {
    double width = 0, height = 0, depth = 0;
};
PixelSize pixelSize(const Screen& screen);

} // namespace corvane

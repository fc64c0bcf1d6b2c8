// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "plot/PicturePoints.hpp"

#include <functional>

namespace corvane {

/// A part of a screen, in its coordinates.
struct Extent {
    glm::dvec2 minimum{0}, maximum{0};

    glm::dvec2 size() const { return maximum - minimum; }
};

/// Drawn points, in a picture that fits them.
struct Drawing {
    PointRaster all, changed;
    std::uint64_t points = 0, changedPoints = 0;
    std::uint64_t outside = 0; ///< of the points, beyond the edges
};

/// Hands all points to `draw`, part by part; may be asked to do so twice.
using Feed = std::function<void(const std::function<void(PicturePoints)>& draw)>;

/// The screen on which an extent is to be shown.
using Fit = std::function<Screen(const Extent&)>;

/// Draws all points on the screen that fits `guess`, and where they turn out to be elsewhere once more, on one that
/// fits them without the few that lie far away. As many bytes of them as `memory` are kept for that.
Drawing drawFitting(const Feed& feed, const Extent& guess, const Fit& fit, std::size_t memory);

/// Where most of these are: all, unless the outermost thousandth on a side is far from the others. Nothing for none.
Extent extentOf(std::vector<glm::dvec2> sample);

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/PixelPasses.hpp"

namespace corvane {

/// Colours for numbers.
enum class Ramp {
    Heights, ///< from dark blue over green to yellow: evenly brighter, and told apart by the colour-blind, too
    Greys    ///< from nearly black to white
};

/// The colour of a number, of which the smallest is 0 and the largest 1; those beyond have the colour of the ends.
Colour rampColour(Ramp ramp, double part);

/// Red, green and blue as one colour, each from 0 to 1.
Colour colourFrom(double red, double green, double blue);

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/ColourRamp.hpp"

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

/// The names of columns: what is known of drawn points beside their places. Any other name is that of a field, whose
/// values are numbers.
namespace column {
inline const std::string Class = "class";         ///< codes
inline const std::string Mask = "mask";           ///< whether they are selected
inline const std::string Return = "return";       ///< the number of the return
inline const std::string Intensity = "intensity"; ///< up to 65,535
inline const std::string Rgb = "rgb";             ///< made of three fields: red, green, blue
} // namespace column

/// Points that are not drawn.
struct Hidden {
    std::vector<std::uint8_t> classes; ///< by code: not 0 for those that are hidden; codes beyond the end are shown
    std::uint16_t returns = 0;         ///< the bit n for the return number n
    double lowest = -std::numeric_limits<double>::infinity(); ///< heights below and above are hidden
    double highest = std::numeric_limits<double>::infinity();

    bool hidesClasses() const;
    bool hidesHeights() const;
    bool none() const { return !hidesClasses() && returns == 0 && !hidesHeights(); }
    bool operator==(const Hidden&) const = default;
};

/// By what points are coloured. Where a column is not there yet, points are grey.
enum class ColourBy {
    Class,     ///< the palette by code
    Height,    ///< the ramp
    Intensity, ///< the ramp
    Return,    ///< the palette by number
    Rgb,       ///< the colours that the points have
    Field      ///< the ramp by the values of a field
};

/// A colour that is mixed into those of some points.
struct Tint {
    Colour colour = 0xffffffff;
    float part = 0; ///< 0: none of it, 1: nothing else

    bool operator==(const Tint&) const = default;
};

/// How drawn points are shown. Everything but what is hidden, and the surface, is decided pixel by pixel.
struct Look {
    ColourBy by = ColourBy::Class;
    std::string field;                                  ///< its column, where they are coloured by a field
    std::shared_ptr<const std::vector<Colour>> palette; ///< codes beyond the end are grey, as all are without one
    Ramp ramp = Ramp::Heights;                          ///< of numbers
    std::pair<double, double> range{0, 1};              ///< the numbers at the ends of the ramp
    Hidden hidden;

    static constexpr int AsIsGood = -1;
    int grow =
        AsIsGood; ///< how many pixels around it a point fills, where no other is; as the holes ask for, or 0 to 8

    bool eyeDome = true; ///< darkens what lies behind what is next to it
    float eyeDomeStrength = 1;

    /// The codes whose points are shown as a surface that is lit; no others are drawn. Of affine views only.
    std::vector<std::uint16_t> surface;

    Colour background = 0xff1e1e1e;
    Tint mask{0xffff3b30, 0.6F}; ///< of the selected points

    /// What a stroke would touch: a byte for each pixel of the screen, row by row from above, not 0 inside; null: none.
    std::shared_ptr<const std::vector<std::uint8_t>> preview;
    std::vector<std::uint8_t> previewClasses; ///< by code: not 0 for those that are touched; empty: all are
    std::pair<float, float> previewDepths{-std::numeric_limits<float>::infinity(),
                                          std::numeric_limits<float>::infinity()}; ///< of those, as the view has depths
    Tint previewTint{0xffffffff, 0.5F};

    int flashClass = -1; ///< the code whose points flash; -1: none does
    Tint flash{0xffffffff, 0};

    bool operator==(const Look&) const = default;
};

} // namespace corvane

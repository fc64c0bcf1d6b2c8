// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sextant/Colour.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace corvane {

struct Bar {
    std::string label;
    std::uint64_t length = 0; ///< points
    std::string text;         ///< at the bar's end
    std::string note;         ///< behind the text, small and grey
    Sextant::rgba_float_t colour;
};

/// Bars that lie below each other, and what is said above and below them. Texts are UTF-8.
struct BarChart {
    std::string title;
    std::vector<std::string> subtitles; ///< a line each
    std::string warning;                ///< empty: none
    std::vector<Bar> bars;              ///< from above
    std::string footnote;               ///< empty: none
};

enum class PictureFormat { Svg, Png };

/// The library that draws is loaded only when something is drawn, since what it brings takes long to load. It exports
/// one function under `DrawEntry`, of the type `DrawFunction`: it sets `picture` to the file's bytes, or throws
/// Failure. The name changes with anything in this file.
using DrawFunction = void(const BarChart& chart, PictureFormat format, std::string& picture);
inline constexpr char DrawEntry[] = "corvaneDrawBarChart1";

} // namespace corvane

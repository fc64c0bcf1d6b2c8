// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/PixelPasses.hpp"
#include "plot/BarChart.hpp"

#include <string>
#include <vector>

namespace corvane {

/// A range of coordinates, from the left to the right edge of a panel or from the lower to the upper one.
struct AxisRange {
    double from = 0, to = 1;
};

/// A picture of points with axes around it. Lengths are in pixels of the page.
struct Panel {
    std::string title; ///< above it; empty: none
    int left = 0, top = 0;
    Grid<Colour> image;
    AxisRange across, up;
    bool namesUp = true; ///< whether the left axis has its numbers
};

struct LegendRow {
    Colour colour = 0; ///< 0: no field of colour
    std::string name;
    std::vector<std::string> numbers; ///< in columns, to the right
    bool strong = false;
};

/// What colours mean.
struct Legend {
    int left = 0, top = 0, width = 0;
    std::string title;
    std::vector<std::string> headings; ///< above the numbers
    std::vector<LegendRow> rows;
    std::vector<Colour> ramp;             ///< from the left to the right; empty: none
    std::vector<std::string> rampNumbers; ///< below it, evenly spread
};

/// A whole page. Texts are UTF-8, a line each.
struct PicturePage {
    int width = 0, height = 0;
    std::string title;
    std::vector<std::string> subtitles;
    std::string warning; ///< empty: none
    std::vector<Panel> panels;
    std::string acrossTitle, upTitle;
    double scaleBar = 0; ///< pixels; 0: none
    std::string scaleBarText;
    std::vector<Legend> legends;
    std::vector<std::string> footnotes;
};

/// As DrawFunction, for a page of points.
using DrawPageFunction = void(const PicturePage& page, PictureFormat format, std::string& picture);
inline constexpr char DrawPageEntry[] = "corvaneDrawPicturePage1";

} // namespace corvane

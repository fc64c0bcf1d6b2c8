// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "plot/FittedDrawing.hpp"
#include "plot/PicturePage.hpp"

#include <array>
#include <optional>

namespace corvane {

/// Lays a page out: panels of one size beside or below each other, the legends to their right or below them.
class PageLayout {
public:
    struct Wish {
        bool profile = false;
        double length = 0; ///< of the profile
        bool legend = true;
        std::size_t panels = 1;                   ///< 1 or 3
        std::size_t lines = 2;                    ///< subtitles and warning
        std::size_t footnotes = 3;                ///< at most
        std::size_t legendRows = 0;               ///< of the longest legend below the panels
        std::optional<std::array<int, 2>> size{}; ///< of the page; none: as is good
    };
    explicit PageLayout(const Wish& wish) : wish_(wish) {}

    /// The screen that shows this extent of a view. `perUnit` is how far a unit of the survey goes on the view's
    /// screen.
    Screen fit(const Sextant::View& view, const Extent& extent, double perUnit);

    /// How many times heights are drawn larger than lengths.
    double exaggeration() const { return exaggeration_; }

    /// Pixels per unit of the survey, across.
    double pixelsPerUnit() const { return pixelsPerUnit_; }

    /// Puts panels and legends in their places on the page, and gives it its size.
    void place(PicturePage& page) const;

    /// How many rows a legend can have.
    std::size_t rowsFor(std::size_t legends) const;

private:
    bool beside() const { return wish_.panels > 1 && !wish_.profile; } // else panels stand below each other
    int pageWidth() const;                                             ///< as far as it is known before the panels are
    int legendWidth() const;
    int top() const;         ///< of the first panel
    int bottom() const;      ///< what is below the panels
    glm::dvec2 room() const; ///< for one panel
    int legendsHeight() const;
    int panelsHeight() const;
    int placeLegends(PicturePage& page, int below) const;

    Wish wish_;
    int width_ = 1, height_ = 1; // of a panel
    double exaggeration_ = 1, pixelsPerUnit_ = 1;
};

} // namespace corvane

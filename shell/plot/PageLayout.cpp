// SPDX-License-Identifier: Apache-2.0
#include "plot/PageLayout.hpp"

#include "plot/PageSizes.hpp"

#include <algorithm>
#include <cmath>

namespace corvane {

using namespace layout;

namespace {

constexpr int UsualWidth = 1780, UsualWidthOfThree = 2400, LeastWidth = 1000, LeastPanel = 200;
constexpr int LegendWidthOfThree = 820; // pixels

/// 1, 2, 5, 10, …: the first that makes `height` as large as `least`, or else the last that leaves it below `most`.
double exaggerationFor(double height, double least, double most) {
    constexpr std::array steps{1.0, 2.0, 5.0};
    double last = 1;
    for (double decade = 1; decade < 1e6; decade *= 10)
        for (const double step : steps) {
            if (height * step * decade > most) return last;
            last = step * decade;
            if (height * last >= least) return last;
        }
    return last;
}

/// Room around the points, so that none of them is cut at an edge, and something to show where they are all at a place.
void widen(Extent& extent, int axis, double least, double margins = 0) {
    const double missing = std::max(margins * extent.size()[axis], least - extent.size()[axis]);
    extent.minimum[axis] -= missing / 2;
    extent.maximum[axis] += missing / 2;
}

} // namespace

int PageLayout::pageWidth() const {
    if (wish_.size) return (*wish_.size)[0];
    return beside() ? UsualWidthOfThree : UsualWidth;
}

int PageLayout::legendWidth() const {
    if (!wish_.legend) return 0;
    return beside() ? LegendWidthOfThree : std::min(LegendWidth, pageWidth() * 2 / 5);
}

int PageLayout::top() const {
    const int heads = wish_.panels > 1 ? PanelTitleHeight : 0;
    return Margin + TitleHeight + LineHeight * static_cast<int>(wish_.lines) + Gap + heads;
}

int PageLayout::legendsHeight() const {
    return beside() ? LegendRowHeight * static_cast<int>(wish_.legendRows + 2) + Gap : 0;
}

int PageLayout::bottom() const {
    return AcrossAxisHeight + legendsHeight() + FootnoteHeight * static_cast<int>(wish_.footnotes) + Margin;
}

glm::dvec2 PageLayout::room() const {
    const int panels = static_cast<int>(wish_.panels);
    double width = pageWidth() - 2 * Margin - UpAxisWidth;
    width = beside() ? (width - (panels - 1) * Gap) / panels : width - legendWidth() - Gap;
    double height = wish_.profile ? (panels > 1 ? 340 : 620) : (panels > 1 ? 900 : 1150);
    if (wish_.size) {
        height = (*wish_.size)[1] - top() - bottom();
        if (!beside() && panels > 1) height = (height - (panels - 1) * (PanelTitleHeight + AcrossAxisHeight)) / panels;
    }
    return {std::max(width, double(LeastPanel)), std::max(height, double(LeastPanel))};
}

Screen PageLayout::fit(const Sextant::View& view, const Extent& wanted, double perUnit) {
    const glm::dvec2 most = room();
    Extent extent = wanted;
    if (wish_.profile) extent.minimum.x = 0, extent.maximum.x = wish_.length;
    const double longest = std::max(extent.size().x, extent.size().y);
    const double least = longest > 0 ? longest / 100 : perUnit; // a unit around points that are all in one place
    const bool heights = wish_.profile;                         // lie over lengths that are given
    for (int axis = 0; axis < 2; ++axis) widen(extent, axis, least, heights ? 0.08 * axis : 0.02);
    const glm::dvec2 size = extent.size();
    double scale = std::min(most.x / size.x, most.y / size.y);
    exaggeration_ = 1;
    if (wish_.profile) {
        scale = most.x / size.x;
        if (size.y * scale > most.y) scale = most.y / size.y;
        exaggeration_ = exaggerationFor(size.y * scale, 1.1 * LeastPanel, most.y);
    }
    // A narrow strip gets surroundings, so that its axes have room.
    for (int axis = 0; axis < 2; ++axis)
        if (const double needed = std::min(most[axis], double(LeastPanel)) / (scale * (axis == 1 ? exaggeration_ : 1));
            size[axis] < needed)
            widen(extent, axis, needed);
    width_ = std::max(1, static_cast<int>(std::lround(extent.size().x * scale)));
    height_ = std::max(1, static_cast<int>(std::lround(extent.size().y * scale * exaggeration_)));
    pixelsPerUnit_ = scale * perUnit;
    return {view, extent.minimum, extent.maximum, width_, height_};
}

int PageLayout::panelsHeight() const {
    const int panels = beside() ? 1 : static_cast<int>(wish_.panels);
    return panels * height_ + (panels - 1) * (AcrossAxisHeight + PanelTitleHeight);
}

std::size_t PageLayout::rowsFor(std::size_t legends) const {
    constexpr std::size_t usual = 28;
    if (beside()) return wish_.size ? wish_.legendRows : usual;
    if (!wish_.size) return usual / legends;
    const int room = (*wish_.size)[1] - top() - Margin - FootnoteHeight * static_cast<int>(wish_.footnotes);
    return static_cast<std::size_t>(std::max(room / LegendRowHeight / static_cast<int>(legends) - 3, 2));
}

void PageLayout::place(PicturePage& page) const {
    int left = Margin + UpAxisWidth, y = top();
    page.width = pageWidth();
    if (!wish_.size && !beside())
        page.width = std::max(left + width_ + (wish_.legend ? Gap + legendWidth() : 0) + Margin, LeastWidth);
    for (Panel& panel : page.panels) {
        panel.left = left;
        panel.top = y;
        panel.namesUp = !beside() || &panel == &page.panels.front();
        if (beside())
            left += width_ + Gap;
        else
            y += height_ + AcrossAxisHeight + PanelTitleHeight;
    }
    const int below = top() + panelsHeight() + AcrossAxisHeight;
    int legendsEnd = placeLegends(page, below);
    legendsEnd = std::max(legendsEnd, below);
    page.height =
        wish_.size ? (*wish_.size)[1] : legendsEnd + FootnoteHeight * static_cast<int>(page.footnotes.size()) + Margin;
}

/// Returns their lower end.
int PageLayout::placeLegends(PicturePage& page, int below) const {
    int left = Margin + UpAxisWidth + (beside() ? 0 : width_ + Gap);
    int y = beside() ? below + Gap : top(), end = y;
    for (Legend& legend : page.legends) {
        const std::size_t rows = legend.rows.size() + 2;
        const int height = LegendRowHeight * static_cast<int>(rows) + (legend.ramp.empty() ? 0 : RampHeight + 44);
        legend.left = left;
        legend.top = y;
        legend.width = legendWidth();
        end = std::max(end, y + height);
        if (beside())
            left += legend.width + 5 * Gap;
        else
            y += height + Gap;
    }
    return end;
}

} // namespace corvane

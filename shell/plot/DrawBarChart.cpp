// SPDX-License-Identifier: Apache-2.0
// The page around the bars.
#include "plot/BarPlot.hpp"
#include "plot/QuietQt.hpp"

#include <cmath>

namespace corvane {
namespace {

constexpr int PageWidth = 1600, Margin = 40; // pixels

/// A line of text outside the bars.
struct Line {
    QString text;
    QFont font;
    QColor colour;

    double height() const { return 1.4 * font.pixelSize(); }
};

class Page {
public:
    explicit Page(const BarChart& chart) : bars_(chart, PageWidth - 2 * Margin), hasBars_(!chart.bars.empty()) {
        add(above_, chart.title, plotFont(34, true), Qt::black, Qt::ElideMiddle);
        for (const std::string& subtitle : chart.subtitles)
            add(above_, subtitle, plotFont(24), QColor(0x40, 0x40, 0x40));
        add(above_, chart.warning, plotFont(24, true), QColor(0xb0, 0x10, 0x10));
        add(below_, chart.footnote, plotFont(20), QColor(0x40, 0x40, 0x40));
    }

    QSize size() const {
        double height = 2 * Margin + (hasBars_ ? 2 * Space + bars_.height() : 0);
        for (const auto* lines : {&above_, &below_})
            for (const Line& line : *lines) height += line.height();
        return {PageWidth, int(std::ceil(height))};
    }

    void draw(QPainter& painter) {
        double y = drawLines(painter, above_, Margin);
        if (hasBars_) {
            y += Space;
            bars_.draw(painter, {Margin, y});
            y += bars_.height() + Space;
        }
        drawLines(painter, below_, y);
    }

private:
    static constexpr double Space = 20;

    static void add(std::vector<Line>& lines, const std::string& text, const QFont& font, const QColor& colour,
                    Qt::TextElideMode elided = Qt::ElideRight) {
        if (text.empty()) return;
        lines.push_back({QFontMetricsF(font).elidedText(plotText(text), elided, PageWidth - 2 * Margin), font, colour});
    }

    /// Returns the lower end.
    static double drawLines(QPainter& painter, const std::vector<Line>& lines, double y) {
        for (const Line& line : lines) {
            painter.setFont(line.font);
            painter.setPen(line.colour);
            painter.drawText(QPointF(Margin, y + line.font.pixelSize()), line.text);
            y += line.height();
        }
        return y;
    }

    BarPlot bars_;
    bool hasBars_;
    std::vector<Line> above_, below_;
};

} // namespace
} // namespace corvane

extern "C" void corvaneDrawBarChart1(const corvane::BarChart& chart, corvane::PictureFormat format,
                                     std::string& picture) {
    const corvane::QuietQt qt;
    corvane::Page page(chart);
    picture = corvane::paintPage(page.size(), corvane::plotText(chart.title), format,
                                 [&](QPainter& painter) { page.draw(painter); });
}

// SPDX-License-Identifier: Apache-2.0
// A page of points: pictures with axes, what their colours mean, and the texts around them.
#include "plot/PageSizes.hpp"
#include "plot/PaintPage.hpp"
#include "plot/PicturePage.hpp"
#include "plot/QuietQt.hpp"

#include <QImage>
#include <QLocale>
#include <QPalette>

#include <qwt_scale_draw.h>
#include <qwt_scale_engine.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace corvane {
namespace {

const QColor Dark(0x22, 0x22, 0x22), Grey(0x60, 0x60, 0x60), Line(0x80, 0x80, 0x80), Red(0xb0, 0x10, 0x10);

constexpr int flags(Qt::AlignmentFlag across) { return int(across) | int(Qt::AlignVCenter) | int(Qt::TextSingleLine); }

void drawText(QPainter& painter, const QRectF& place, const QString& text, const QFont& font, const QColor& colour,
              Qt::AlignmentFlag across = Qt::AlignLeft, Qt::TextElideMode elided = Qt::ElideRight) {
    painter.setFont(font);
    painter.setPen(colour);
    painter.drawText(place, flags(across), QFontMetricsF(font).elidedText(text, elided, place.width()));
}

/// Coordinates in full, without digits that all of them have as zeros.
class Coordinates : public QwtScaleDraw {
public:
    explicit Coordinates(double step, bool named) : named_(named) {
        decimals_ = std::clamp(int(std::ceil(-std::log10(step) - 1e-9)), 0, 9);
        enableComponent(Backbone, false);
    }

    QwtText label(double value) const override {
        if (!named_) return {};
        const double known = std::abs(value) < 1e-12 ? 0 : value;
        QwtText text(QLocale(QLocale::C).toString(known, 'f', decimals_), QwtText::PlainText);
        return text;
    }

private:
    bool named_;
    int decimals_ = 0;
};

void drawAxis(QPainter& painter, const AxisRange& range, QwtScaleDraw::Alignment alignment, const QPointF& from,
              double length, bool named) {
    const double pixelsPerTick = alignment == QwtScaleDraw::LeftScale ? 80 : 130;
    const QwtScaleDiv ticks =
        QwtLinearScaleEngine().divideScale(range.from, range.to, std::max(3, int(length / pixelsPerTick)), 5);
    const auto major = ticks.ticks(QwtScaleDiv::MajorTick);
    const double step = major.size() > 1 ? major[1] - major[0] : std::max(range.to - range.from, 1e-9);
    Coordinates axis(step, named);
    axis.setAlignment(alignment);
    axis.setScaleDiv(ticks);
    axis.move(from);
    axis.setLength(length);
    painter.setFont(plotFont(layout::TickSize));
    QPalette palette;
    palette.setColor(QPalette::WindowText, Line);
    palette.setColor(QPalette::Text, Dark);
    axis.draw(&painter, palette);
}

QImage imageOf(const Grid<Colour>& colours) {
    return QImage(reinterpret_cast<const uchar*>(colours.cells.data()), colours.width, colours.height,
                  int(sizeof(Colour)) * colours.width, QImage::Format_RGB32)
        .copy();
}

class Painting {
public:
    Painting(QPainter& painter, const PicturePage& page) : painter_(painter), page_(page) {}

    void draw() {
        drawTexts();
        for (const Panel& panel : page_.panels) drawPanel(panel);
        if (page_.scaleBar > 0 && !page_.panels.empty()) drawScaleBar(page_.panels.front());
        for (const Legend& legend : page_.legends) drawLegend(legend);
    }

private:
    void drawTexts() {
        const double width = page_.width - 2 * layout::Margin;
        double y = layout::Margin;
        drawText(painter_, {layout::Margin, y, width, layout::TitleHeight}, plotText(page_.title),
                 plotFont(layout::TitleSize, true), Qt::black, Qt::AlignLeft, Qt::ElideMiddle);
        y += layout::TitleHeight;
        const auto line = [&](const std::string& text, bool strong, const QColor& colour) {
            drawText(painter_, {layout::Margin, y, width, layout::LineHeight}, plotText(text),
                     plotFont(layout::TextSize, strong), colour);
            y += layout::LineHeight;
        };
        for (const std::string& subtitle : page_.subtitles) line(subtitle, false, Dark);
        if (!page_.warning.empty()) line(page_.warning, true, Red);
        y = page_.height - layout::Margin - layout::FootnoteHeight * double(page_.footnotes.size());
        for (const std::string& note : page_.footnotes) {
            drawText(painter_, {layout::Margin, y, width, layout::FootnoteHeight}, plotText(note),
                     plotFont(layout::FootnoteSize), Grey);
            y += layout::FootnoteHeight;
        }
    }

    void drawPanel(const Panel& panel) {
        const QRectF place(panel.left, panel.top, panel.image.width, panel.image.height);
        drawText(painter_, {place.left(), place.top() - layout::PanelTitleHeight, place.width(), 34},
                 plotText(panel.title), plotFont(layout::TextSize, true), Dark);
        painter_.drawImage(place.topLeft(), imageOf(panel.image));
        painter_.setPen(QPen(Line, 1));
        painter_.setBrush(Qt::NoBrush);
        painter_.drawRect(place.adjusted(-0.5, -0.5, 0.5, 0.5));
        drawAxis(painter_, panel.across, QwtScaleDraw::BottomScale, place.bottomLeft() + QPointF(0, 1), place.width(),
                 true);
        drawAxis(painter_, panel.up, QwtScaleDraw::LeftScale, place.topLeft() - QPointF(1, 0), place.height(),
                 panel.namesUp);
        drawText(painter_, {place.left(), place.bottom() + 42, place.width(), 30}, plotText(page_.acrossTitle),
                 plotFont(layout::TickSize), Dark, Qt::AlignHCenter);
        if (panel.namesUp) drawUpTitle(place);
    }

    void drawUpTitle(const QRectF& panel) {
        painter_.save();
        painter_.translate(panel.left() - layout::UpAxisWidth, panel.bottom());
        painter_.rotate(-90);
        drawText(painter_, {0, 0, panel.height(), 30}, plotText(page_.upTitle), plotFont(layout::TickSize), Dark,
                 Qt::AlignHCenter);
        painter_.restore();
    }

    /// In the corner where it hides the least, on a ground of its own.
    void drawScaleBar(const Panel& panel) {
        constexpr double distance = 14, height = 52, inner = 16;
        const double width = page_.scaleBar + 2 * inner;
        QRectF box;
        int least = std::numeric_limits<int>::max();
        for (const bool lower : {true, false})
            for (const bool left : {true, false}) {
                const QRectF place(left ? distance : panel.image.width - distance - width,
                                   lower ? panel.image.height - distance - height : distance, width, height);
                const int hidden = pointsIn(panel.image, place.toRect());
                if (hidden >= least) continue;
                least = hidden;
                box = place.translated(panel.left, panel.top);
            }
        painter_.setPen(Qt::NoPen);
        painter_.setBrush(QColor(255, 255, 255, 225));
        painter_.drawRoundedRect(box, 4, 4);
        drawText(painter_, {box.left(), box.top() + 2, box.width(), 28}, plotText(page_.scaleBarText),
                 plotFont(layout::TickSize), Dark, Qt::AlignHCenter);
        painter_.setPen(QPen(Dark, 3, Qt::SolidLine, Qt::FlatCap));
        const double left = box.left() + inner, right = box.right() - inner, y = box.bottom() - 14;
        painter_.drawLine(QPointF(left, y), QPointF(right, y));
        for (const double x : {left, right}) painter_.drawLine(QPointF(x, y - 6), QPointF(x, y + 6));
    }

    static int pointsIn(const Grid<Colour>& image, const QRect& place) {
        constexpr Colour paper = 0xFFFFFFFF;
        int points = 0;
        for (int row = place.top(); row <= place.bottom(); ++row)
            for (int column = place.left(); column <= place.right(); ++column)
                points += image.holds(column, row) && image.at(column, row) != paper;
        return points;
    }

    /// A column is as wide as its widest text.
    static std::vector<double> columnsOf(const Legend& legend) {
        std::vector<double> widths(legend.headings.size());
        const auto widen = [&](const std::vector<std::string>& texts, const QFont& font) {
            for (std::size_t i = 0; i < widths.size() && i < texts.size(); ++i)
                widths[i] = std::max(widths[i], QFontMetricsF(font).horizontalAdvance(plotText(texts[i])) + 22);
        };
        widen(legend.headings, plotFont(layout::FootnoteSize));
        for (const LegendRow& row : legend.rows) widen(row.numbers, plotFont(layout::TextSize - 2, row.strong));
        return widths;
    }

    void drawLegend(const Legend& legend) {
        double y = legend.top;
        const std::vector<double> columns = columnsOf(legend);
        drawText(painter_, QRectF(legend.left, y, legend.width, layout::LegendRowHeight), plotText(legend.title),
                 plotFont(layout::TextSize, true), Dark);
        y += layout::LegendRowHeight;
        if (!legend.ramp.empty()) y = drawRamp(legend, y);
        const bool headed = std::ranges::any_of(legend.headings, [](const auto& text) { return !text.empty(); });
        if (headed) {
            drawNumbers(legend, columns, y, legend.headings, plotFont(layout::FootnoteSize), Grey);
            y += layout::LegendRowHeight - 6;
        }
        for (const LegendRow& row : legend.rows) {
            drawRow(legend, columns, y, row);
            y += layout::LegendRowHeight;
        }
    }

    void drawNumbers(const Legend& legend, const std::vector<double>& columns, double y,
                     const std::vector<std::string>& texts, const QFont& font, const QColor& colour) {
        double right = legend.left + legend.width;
        for (std::size_t i = columns.size(); i-- > 0; right -= columns[i])
            if (i < texts.size())
                drawText(painter_, {right - columns[i], y, columns[i], layout::LegendRowHeight}, plotText(texts[i]),
                         font, colour, Qt::AlignRight, Qt::ElideNone);
    }

    void drawRow(const Legend& legend, const std::vector<double>& columns, double y, const LegendRow& row) {
        constexpr double swatch = 24, indent = 36;
        if (row.colour != 0) {
            painter_.setPen(QPen(Line, 1));
            painter_.setBrush(QColor::fromRgb(row.colour));
            painter_.drawRect(QRectF(legend.left + 0.5, y + 5.5, swatch, swatch - 2));
        }
        double room = legend.width - indent;
        for (const double width : columns) room -= width;
        const QFont font = plotFont(layout::TextSize - 2, row.strong);
        drawText(painter_, {legend.left + indent, y, room, layout::LegendRowHeight}, plotText(row.name), font, Dark);
        drawNumbers(legend, columns, y, row.numbers, font, Dark);
    }

    /// Returns its lower end.
    double drawRamp(const Legend& legend, double y) {
        const double width = legend.width - 2 * layout::Margin;
        const double each = width / double(legend.ramp.size());
        painter_.setPen(Qt::NoPen);
        for (std::size_t i = 0; i < legend.ramp.size(); ++i) {
            painter_.setBrush(QColor::fromRgb(legend.ramp[i]));
            painter_.drawRect(
                QRectF(legend.left + layout::Margin + each * double(i), y + 4, each + 0.5, layout::RampHeight));
        }
        const double between = width / std::max(double(legend.rampNumbers.size()) - 1, 1.0);
        for (std::size_t i = 0; i < legend.rampNumbers.size(); ++i)
            drawText(
                painter_,
                {legend.left + layout::Margin + between * (double(i) - 0.5), y + 6 + layout::RampHeight, between, 28},
                plotText(legend.rampNumbers[i]), plotFont(layout::TickSize), Dark, Qt::AlignHCenter, Qt::ElideNone);
        return y + layout::RampHeight + 44;
    }

    QPainter& painter_;
    const PicturePage& page_;
};

} // namespace
} // namespace corvane

extern "C" void corvaneDrawPicturePage1(const corvane::PicturePage& page, corvane::PictureFormat format,
                                        std::string& picture) {
    const corvane::QuietQt qt;
    picture = corvane::paintPage({page.width, page.height}, corvane::plotText(page.title), format,
                                 [&](QPainter& painter) { corvane::Painting(painter, page).draw(); });
}

// SPDX-License-Identifier: Apache-2.0
// The page around the bars, and the two formats.
#include "base/Failure.hpp"
#include "plot/BarPlot.hpp"
#include "plot/QuietQt.hpp"

#include <QBuffer>
#include <QImage>
#include <QScreen>
#include <QSvgGenerator>

#include <cmath>

namespace corvane {
namespace {

constexpr int PageWidth = 1600, Margin = 40; // pixels
constexpr int DotsPerMetre = 10000;          // a page as wide as the text of a sheet of A4

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
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.fillRect(QRect({}, size()), Qt::white);
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

QByteArray drawPng(Page& page) {
    QImage image(page.size(), QImage::Format_RGB32);
    QPainter painter(&image);
    page.draw(painter);
    painter.end();
    image.setDotsPerMeterX(DotsPerMetre);
    image.setDotsPerMeterY(DotsPerMetre);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) throw Failure("The picture cannot be drawn: making the PNG failed.");
    return bytes;
}

QByteArray drawSvg(Page& page, const QString& title) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QSvgGenerator generator;
    generator.setOutputDevice(&buffer);
    generator.setTitle(title.toHtmlEscaped());
    generator.setResolution(qRound(QGuiApplication::primaryScreen()->logicalDotsPerInch()));
    generator.setSize(page.size());
    generator.setViewBox(QRect({}, page.size()));
    QPainter painter(&generator);
    page.draw(painter);
    painter.end();
    // Who has not this font gets one of its kind.
    return bytes.replace("font-family=\"DejaVu Sans\"", "font-family=\"DejaVu Sans, sans-serif\"");
}

} // namespace
} // namespace corvane

extern "C" void corvaneDrawBarChart1(const corvane::BarChart& chart, corvane::PictureFormat format,
                                     std::string& picture) {
    const corvane::QuietQt qt;
    corvane::Page page(chart);
    picture = (format == corvane::PictureFormat::Svg ? corvane::drawSvg(page, corvane::plotText(chart.title))
                                                     : corvane::drawPng(page))
                  .toStdString();
}

// SPDX-License-Identifier: Apache-2.0
#include "plot/BarPlot.hpp"

#include <QLocale>
#include <QTextLayout>

#include <qwt_plot_canvas.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_layout.h>
#include <qwt_plot_renderer.h>
#include <qwt_scale_draw.h>
#include <qwt_scale_widget.h>

#include <algorithm>
#include <cmath>

namespace corvane {
namespace {

constexpr int TextSize = 24, NoteSize = 19, TickSize = 20; // pixels
constexpr double RowHeight = 42, LineHeight = 28, AxisHeight = 84;
constexpr double LongestLabel = 500, Gap = 12;
constexpr double BarHeight = 0.64; // of a row
constexpr double Million = 1e6;
const QColor Dark(0x22, 0x22, 0x22), Grey(0x70, 0x70, 0x70), GridGrey(0xe4, 0xe4, 0xe4), Outline(0x40, 0x40, 0x40);

double widthOf(const QString& text, int size) { return QFontMetricsF(plotFont(size)).horizontalAdvance(text); }

/// A label on as few lines as it needs, two at most. The number at its begin is never alone on a line.
QString wrapped(const QString& label) {
    QString unbroken = label;
    const int space = label.indexOf(' ');
    if (space > 0) unbroken[space] = QChar::Nbsp;
    QTextLayout layout(unbroken, plotFont(TextSize));
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setLineWidth(LongestLabel);
    layout.endLayout();
    const QString first = label.left(line.textLength()).trimmed(), rest = label.mid(line.textLength()).trimmed();
    if (rest.isEmpty()) return first;
    return first + "\n" + QFontMetricsF(plotFont(TextSize)).elidedText(rest, Qt::ElideRight, LongestLabel);
}

/// Names beside the bars; nothing in them is taken for markup.
class NameScale : public QwtScaleDraw {
public:
    explicit NameScale(const BarChart& chart) {
        for (const Bar& bar : chart.bars) names_.push_back(wrapped(plotText(bar.label)));
        enableComponent(Backbone, false);
        enableComponent(Ticks, false);
    }

    bool hasTwoLines() const {
        return std::ranges::any_of(names_, [](const QString& name) { return name.contains('\n'); });
    }

    /// Before the axis has got its rows it asks for others, too.
    QwtText label(double row) const override {
        const auto i = static_cast<std::size_t>(row);
        return {i < names_.size() ? names_[i] : QString(), QwtText::PlainText};
    }

protected:
    void drawLabel(QPainter* painter, double row) const override {
        const QPointF right = labelPosition(row);
        const QRectF place(right.x() - LongestLabel, right.y() - RowHeight, LongestLabel, 2 * RowHeight);
        painter->drawText(place, Qt::AlignRight | Qt::AlignVCenter, label(row).text());
    }

private:
    std::vector<QString> names_;
};

class NumberScale : public QwtScaleDraw {
public:
    explicit NumberScale(double unit) : unit_(unit) { enableComponent(Backbone, false); }

    QwtText label(double points) const override {
        const QLocale english(QLocale::English);
        if (unit_ > 1) return {english.toString(points / unit_, 'g', 6), QwtText::PlainText};
        return {english.toString(points, 'f', 0), QwtText::PlainText};
    }

private:
    double unit_;
};

QColor colourOf(const Sextant::rgba_float_t& colour) {
    const auto channel = [](float part) { return part > 0 ? std::lround(255 * std::min(part, 1.0F)) : 0; };
    return QColor(int(channel(colour.r)), int(channel(colour.g)), int(channel(colour.b)));
}

/// Row by row. The ready-made bar chart cannot be used: its header is not C++20.
class Bars : public QwtPlotItem {
public:
    explicit Bars(const BarChart& chart) : chart_(chart) {}

    void draw(QPainter* painter, const QwtScaleMap& xMap, const QwtScaleMap& yMap, const QRectF&) const override {
        double row = 0;
        for (const Bar& bar : chart_.bars) {
            const QPointF upper(xMap.transform(0), yMap.transform(row - BarHeight / 2));
            const QPointF lower(xMap.transform(double(bar.length)), yMap.transform(row + BarHeight / 2));
            drawBar(painter, bar, {upper, lower});
            ++row;
        }
    }

private:
    static void drawBar(QPainter* painter, const Bar& bar, const QRectF& box) {
        painter->setPen(QPen(Outline, 1));
        painter->setBrush(colourOf(bar.colour));
        painter->drawRect(box);
        const QString text = plotText(bar.text);
        const double end = box.right() + Gap, middle = box.center().y();
        drawText(painter, {end, middle}, text, TextSize, Dark);
        drawText(painter, {end + widthOf(text, TextSize) + Gap, middle}, plotText(bar.note), NoteSize, Grey);
    }

    /// To the right of `middle`.
    static void drawText(QPainter* painter, const QPointF& middle, const QString& text, int size,
                         const QColor& colour) {
        if (text.isEmpty()) return;
        painter->setFont(plotFont(size));
        painter->setPen(colour);
        painter->drawText(middle + QPointF(0, QFontMetricsF(plotFont(TextSize)).capHeight() / 2), text);
    }

    const BarChart& chart_;
};

} // namespace

BarPlot::BarPlot(const BarChart& chart, double width) : width_(width) {
    static_cast<QwtPlotCanvas*>(plot_.canvas())->setFrameStyle(QFrame::NoFrame);
    plot_.plotLayout()->setCanvasMargin(0);
    addNames(chart);
    addBars(chart);
    addNumbers(chart);
}

void BarPlot::addNames(const BarChart& chart) {
    const double rows = double(chart.bars.size());
    QList<double> ticks;
    for (int row = 0; row < int(rows); ++row) ticks.push_back(row);
    auto* names = new NameScale(chart);
    height_ = rows * (names->hasTwoLines() ? RowHeight + LineHeight : RowHeight) + AxisHeight;
    plot_.setAxisScaleDraw(QwtPlot::yLeft, names);
    plot_.setAxisFont(QwtPlot::yLeft, plotFont(TextSize));
    plot_.setAxisScaleDiv(QwtPlot::yLeft, QwtScaleDiv(rows - 0.5, -0.5, {}, {}, ticks));
}

void BarPlot::addBars(const BarChart& chart) {
    auto* grid = new QwtPlotGrid;
    grid->enableY(false);
    grid->setPen(GridGrey, 1);
    grid->attach(&plot_);
    auto* bars = new Bars(chart);
    bars->setZ(grid->z() + 1);
    bars->attach(&plot_);
}

void BarPlot::addNumbers(const BarChart& chart) {
    std::uint64_t longest = 0;
    for (const Bar& bar : chart.bars) longest = std::max(longest, bar.length);
    const double unit = double(longest) >= Million ? Million : 1;
    QwtText title(unit > 1 ? "million points" : "points", QwtText::PlainText);
    title.setFont(plotFont(TickSize));
    plot_.setAxisTitle(QwtPlot::xBottom, title);
    plot_.setAxisScaleDraw(QwtPlot::xBottom, new NumberScale(unit));
    plot_.setAxisFont(QwtPlot::xBottom, plotFont(TickSize));
    plot_.setAxisMaxMinor(QwtPlot::xBottom, 0);
    plot_.axisWidget(QwtPlot::xBottom)->setSpacing(8);

    plot_.updateAxes(); // the names have their width now
    plot_.plotLayout()->activate(&plot_, QRectF(0, 0, width_, height_), QwtPlotLayout::IgnoreScrollbars);
    const double end = scaleFor(chart, plot_.plotLayout()->canvasRect().width());
    plot_.setAxisScale(QwtPlot::xBottom, 0, end, end < 8 ? 1 : 0); // no parts of points
    plot_.updateAxes();
}

double BarPlot::scaleFor(const BarChart& chart, double canvasWidth) const {
    double end = 1;
    for (const Bar& bar : chart.bars) {
        const double text = Gap + widthOf(plotText(bar.text), TextSize) + Gap + widthOf(plotText(bar.note), NoteSize);
        const double room = std::max(canvasWidth - text, canvasWidth / 10);
        end = std::max(end, double(bar.length) * canvasWidth / room);
    }
    return end;
}

void BarPlot::draw(QPainter& painter, const QPointF& topLeft) {
    QwtPlotRenderer renderer;
    renderer.setDiscardFlag(QwtPlotRenderer::DiscardBackground);
    renderer.setDiscardFlag(QwtPlotRenderer::DiscardCanvasBackground);
    renderer.render(&plot_, &painter, QRectF(topLeft, QSizeF(width_, height_)));
}

} // namespace corvane

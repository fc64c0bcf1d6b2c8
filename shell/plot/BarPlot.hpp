// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "plot/PaintPage.hpp"

#include <qwt_plot.h>

#include <memory>

namespace corvane {

/// The bars of a chart with their axes. Lengths are in pixels.
class BarPlot {
public:
    BarPlot(const BarChart& chart, double width);

    double height() const { return height_; }
    void draw(QPainter& painter, const QPointF& topLeft);

private:
    void addNames(const BarChart& chart);
    void addBars(const BarChart& chart);
    void addNumbers(const BarChart& chart);

    /// The end of the shortest scale on which the texts at the ends of the bars have room.
    double scaleFor(const BarChart& chart, double canvasWidth) const;

    QwtPlot plot_;
    double width_, height_ = 0;
};

} // namespace corvane

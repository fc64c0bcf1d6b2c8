// SPDX-License-Identifier: Apache-2.0
#include "window/Icons.hpp"

#include <QPainterPath>
#include <QPixmap>

#include <functional>
#include <initializer_list>

namespace corvane {
namespace {

constexpr double Side = 24; // in which all shapes are drawn

QPen penOf(const QColor& ink, double width = 1.8) {
    return {QBrush(ink), width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin};
}

/// In one pixmap each for screens of one, two and three pixels in a logical one.
QIcon iconOf(const QColor& ink, const std::function<void(QPainter&)>& paint) {
    QIcon icon;
    for (const int ratio : {1, 2, 3}) {
        QPixmap pixmap(QSize(static_cast<int>(Side), static_cast<int>(Side)) * ratio);
        pixmap.setDevicePixelRatio(ratio);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(penOf(ink));
        paint(painter);
        icon.addPixmap(pixmap);
    }
    return icon;
}

void polyline(QPainter& painter, std::initializer_list<QPointF> points) {
    painter.drawPolyline(points.begin(), static_cast<int>(points.size()));
}

void halfFilled(QPainter& painter, std::initializer_list<QPointF> area) {
    QColor fill = painter.pen().color();
    fill.setAlphaF(0.3);
    painter.save();
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawPolygon(area.begin(), static_cast<int>(area.size()));
    painter.restore();
}

void paintHand(QPainter& painter) { // four arrows
    polyline(painter, {{12, 3}, {12, 21}});
    polyline(painter, {{3, 12}, {21, 12}});
    polyline(painter, {{9, 6}, {12, 3}, {15, 6}});
    polyline(painter, {{9, 18}, {12, 21}, {15, 18}});
    polyline(painter, {{6, 9}, {3, 12}, {6, 15}});
    polyline(painter, {{18, 9}, {21, 12}, {18, 15}});
}

void paintLasso(QPainter& painter) {
    QPainterPath path(QPointF(8, 18));
    path.cubicTo(0, 12, 4, 4, 12, 4);
    path.cubicTo(22, 4, 23, 15, 13, 15);
    path.cubicTo(8, 15, 6, 18, 9, 21);
    painter.drawPath(path);
}

void paintTip(QPainter& painter) {
    halfFilled(painter, {{3, 17}, {14, 6}, {19, 11}, {8, 22}});
    QPen thick = painter.pen();
    polyline(painter, {{14, 6}, {19, 11}});
    polyline(painter, {{14, 6}, {17, 3}, {22, 8}, {19, 11}});
    polyline(painter, {{14, 6}, {5, 15}});
    polyline(painter, {{19, 11}, {10, 20}});
    polyline(painter, {{5, 15}, {3, 22}, {10, 20}});
    painter.setPen(thick);
}

void paintSide(QPainter& painter, bool above) {
    const std::initializer_list<QPointF> line = {{3, 14}, {9, 10}, {15, 13}, {21, 9}};
    if (above)
        halfFilled(painter, {{3, 14}, {9, 10}, {15, 13}, {21, 9}, {21, 3}, {3, 3}});
    else
        halfFilled(painter, {{3, 14}, {9, 10}, {15, 13}, {21, 9}, {21, 21}, {3, 21}});
    polyline(painter, line);
}

void paintProfileLine(QPainter& painter) {
    polyline(painter, {{4, 19}, {20, 5}});
    QPen thin = penOf(painter.pen().color(), 1);
    painter.setPen(thin);
    polyline(painter, {{2, 15}, {17, 2}});
    polyline(painter, {{7, 22}, {22, 9}});
}

void paintTool(QPainter& painter, Tool tool) {
    switch (tool) {
    case Tool::Move:
        return paintHand(painter);
    case Tool::Lasso:
        return paintLasso(painter);
    case Tool::Polygon:
        return polyline(painter, {{4, 9}, {13, 3}, {21, 11}, {17, 21}, {6, 19}, {4, 9}});
    case Tool::Rectangle:
        return painter.drawRect(QRectF(4, 6, 16, 12));
    case Tool::Circle:
        return painter.drawEllipse(QPointF(12, 12), 8.5, 8.5);
    case Tool::Paint:
        return paintTip(painter);
    case Tool::Above:
        return paintSide(painter, true);
    case Tool::Below:
        return paintSide(painter, false);
    case Tool::Profile:
        return paintProfileLine(painter);
    }
}

/// An arrow that turns back to the left; `right` mirrors it.
void paintTurn(QPainter& painter, bool right) {
    if (right) {
        painter.translate(Side, 0);
        painter.scale(-1, 1);
    }
    QPainterPath path(QPointF(5, 9));
    path.lineTo(14, 9);
    path.cubicTo(22, 9, 22, 19, 14, 19);
    path.lineTo(9, 19);
    painter.drawPath(path);
    polyline(painter, {{9, 4.5}, {4.5, 9}, {9, 13.5}});
}

void paintFit(QPainter& painter) {
    polyline(painter, {{4, 9}, {4, 4}, {9, 4}});
    polyline(painter, {{15, 4}, {20, 4}, {20, 9}});
    polyline(painter, {{20, 15}, {20, 20}, {15, 20}});
    polyline(painter, {{9, 20}, {4, 20}, {4, 15}});
    painter.drawEllipse(QPointF(12, 12), 2, 2);
}

void paintSave(QPainter& painter) {
    polyline(painter, {{12, 3}, {12, 14}});
    polyline(painter, {{7.5, 10}, {12, 14.5}, {16.5, 10}});
    polyline(painter, {{4, 16}, {4, 20}, {20, 20}, {20, 16}});
}

void paintSign(QPainter& painter, Sign sign) {
    switch (sign) {
    case Sign::Undo:
        return paintTurn(painter, false);
    case Sign::Redo:
        return paintTurn(painter, true);
    case Sign::Fit:
        return paintFit(painter);
    case Sign::Save:
        return paintSave(painter);
    case Sign::Open:
        return polyline(painter, {{3, 19}, {3, 5}, {9, 5}, {11, 8}, {20, 8}, {20, 19}, {3, 19}});
    }
}

} // namespace

void paintEye(QPainter& painter, const QRect& area, const QColor& ink, bool open) {
    const QPointF c = QRectF(area).center();
    painter.setPen(penOf(ink, 1.3));
    painter.setBrush(Qt::NoBrush);
    QPainterPath lid(c - QPointF(7, 0));
    if (open)
        lid.quadTo(c - QPointF(0, 9), c + QPointF(7, 0));
    else
        lid.moveTo(c - QPointF(7, 0));
    lid.quadTo(c + QPointF(0, open ? 9 : 7), open ? c - QPointF(7, 0) : c + QPointF(7, 0));
    painter.drawPath(lid);
    if (!open) return;
    painter.setBrush(ink);
    painter.drawEllipse(c, 2.2, 2.2);
}

void paintLock(QPainter& painter, const QRect& area, const QColor& ink, bool closed) {
    const QPointF c = QRectF(area).center();
    painter.setPen(penOf(ink, 1.3));
    painter.setBrush(closed ? QBrush(ink) : QBrush(Qt::NoBrush));
    painter.drawRoundedRect(QRectF(c.x() - 5, c.y() - 1, 10, 7.5), 1.5, 1.5);
    painter.setBrush(Qt::NoBrush);
    QPainterPath shackle(c + QPointF(-3, -1));
    shackle.lineTo(c + QPointF(-3, -3.5));
    shackle.cubicTo(c + QPointF(-3, -7.5), c + QPointF(3, -7.5), c + QPointF(3, closed ? -3.5 : -4.5));
    if (closed) shackle.lineTo(c + QPointF(3, -1));
    painter.drawPath(shackle);
}

QIcon toolIcon(Tool tool, const QColor& ink) {
    return iconOf(ink, [tool](QPainter& painter) { paintTool(painter, tool); });
}

QIcon signIcon(Sign sign, const QColor& ink) {
    return iconOf(ink, [sign](QPainter& painter) { paintSign(painter, sign); });
}

} // namespace corvane

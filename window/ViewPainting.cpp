// SPDX-License-Identifier: Apache-2.0
// How a view is painted: the picture of the points, and over it what is drawn on it.
#include "window/StrokeShape.hpp"
#include "window/View.hpp"

#include <QPainter>

#include <array>
#include <cmath>
#include <glm/geometric.hpp>

namespace corvane {
namespace {

constexpr double Corner = 5, Inset = 10; // logical pixels

QPointF pointOf(const glm::dvec2& p) { return {p.x, p.y}; }

/// A line that is seen on any colour.
void stroke(QPainter& painter, const QPainterPath& path, const OverlayColours& colours, const QColor& line) {
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(colours.under, 3.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(path);
    painter.setPen(QPen(line, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(path);
}

/// The sides of a rectangle, so wide. Smooth lines around all fragments of an edit took half of a picture's time.
void fillFrame(QPainter& painter, const QRectF& frame, double width, const QColor& colour) {
    const QRectF outer = frame.adjusted(-width / 2, -width / 2, width / 2, width / 2);
    for (const double top : {outer.top(), outer.bottom() - width})
        painter.fillRect(QRectF(outer.left(), top, outer.width(), width), colour);
    for (const double left : {outer.left(), outer.right() - width})
        painter.fillRect(QRectF(left, outer.top(), width, outer.height()), colour);
}

/// 1, 2 or 5 times a power of ten, at most that.
double roundLength(double most) {
    const double power = std::pow(10, std::floor(std::log10(most)));
    for (const double times : {5.0, 2.0})
        if (times * power <= most) return times * power;
    return power;
}

QString lengthText(double length, const QString& unit) {
    constexpr double kilo = 1000;
    if (unit == QLatin1String("m") && length >= kilo) return QStringLiteral("%1 km").arg(length / kilo);
    return QStringLiteral("%1 %2").arg(length).arg(unit).trimmed();
}

} // namespace

void View::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), canvasColour(theme_));
    paintPicture(painter);
    painter.setRenderHint(QPainter::Antialiasing);
    paintProfileLine(painter);
    paintDrawing(painter);
    paintTip(painter);
    paintLinkedCursor(painter);
    paintScaleBar(painter);
    paintTexts(painter);
    painter.setRenderHint(QPainter::Antialiasing, false);
    paintBlinks(painter);
    if (!hasFocus()) return;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(palette().color(QPalette::Highlight));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

/// Where its camera saw it: a picture that comes late is shown at its own place.
void View::paintPicture(QPainter& painter) const {
    if (!picture_ || !(picture_->screen.view == camera_.view())) return;
    const Screen& screen = picture_->screen;
    const auto placeOf = [&](const glm::dvec2& seen) {
        return camera_.isProfile() ? seen : glm::dvec2(screen.view.unproject({seen, 0}));
    };
    const glm::dvec2 left = camera_.pixelAt(placeOf({screen.minimum.x, screen.maximum.y}));
    const glm::dvec2 right = camera_.pixelAt(placeOf({screen.maximum.x, screen.minimum.y}));
    const Grid<Colour>& pixels = picture_->pixels;
    const QImage image(reinterpret_cast<const uchar*>(pixels.cells.data()), pixels.width, pixels.height,
                       pixels.width * static_cast<int>(sizeof(Colour)), QImage::Format_RGB32);
    const QRectF target(pointOf(left), pointOf(right));
    const bool asItIs = std::abs(target.left()) < 0.01 && std::abs(target.top()) < 0.01 &&
                        std::abs(target.width() - width()) < 1 && std::abs(target.height() - height()) < 1 &&
                        pixels.width == static_cast<int>(std::lround(width() * pixelRatio()));
    if (asItIs) {
        QImage sharp = image;
        sharp.setDevicePixelRatio(pixelRatio());
        painter.drawImage(QPointF(0, 0), sharp);
    } else {
        painter.drawImage(target, image);
    }
}

void View::paintProfileLine(QPainter& painter) const {
    const auto& line = draggedLine_ ? draggedLine_ : profileLine_;
    if (!line || camera_.isProfile()) return;
    const OverlayColours colours = overlayColours(theme_);
    const glm::dvec2 along = glm::normalize(line->to - line->from);
    const glm::dvec2 across = glm::dvec2(-along.y, along.x) * (line->width / 2);
    QPolygonF slice;
    for (const glm::dvec2& corner :
         {line->from + across, line->to + across, line->to - across, line->from - across, line->from + across})
        slice.append(pointOf(camera_.pixelAt(corner)));
    QPainterPath edge, middle;
    edge.addPolygon(slice);
    middle.moveTo(pointOf(camera_.pixelAt(line->from)));
    middle.lineTo(pointOf(camera_.pixelAt(line->to)));
    QColor thin = colours.line;
    thin.setAlphaF(0.6);
    painter.setPen(QPen(thin, 1, Qt::DashLine));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(edge);
    stroke(painter, middle, colours, palette().color(QPalette::Highlight));
    for (const glm::dvec2& handle : {line->from, line->to, (line->from + line->to) / 2.0}) {
        painter.setPen(QPen(colours.under, 3));
        painter.setBrush(palette().color(QPalette::Highlight));
        painter.drawEllipse(pointOf(camera_.pixelAt(handle)), 5, 5);
        painter.setPen(QPen(colours.line, 1.4));
        painter.drawEllipse(pointOf(camera_.pixelAt(handle)), 5, 5);
    }
}

void View::paintDrawing(QPainter& painter) const {
    if (!drawing_) return;
    const OverlayColours colours = overlayColours(theme_);
    const QColor ink = drawingHow_ == Selecting::Remove ? colours.removes : colours.adds;
    const Stroke::Places places = drawing_->places();
    const auto outline = drawing_->outline();
    if (outline) stroke(painter, areaOf(*outline, camera_), colours, ink);
    if (!outline || drawing_->tool() == Tool::Circle) stroke(painter, lineThrough(places, camera_), colours, ink);
    if (isDragged(drawing_->tool())) return;
    painter.setPen(QPen(colours.under, 2));
    painter.setBrush(ink);
    for (const glm::dvec2& place : places) painter.drawEllipse(pointOf(camera_.pixelAt(place)), 3.5, 3.5);
}

void View::paintTip(QPainter& painter) const {
    if (choices_.tool != Tool::Paint || !cursorInside_ || panning_ || spaceDown_) return;
    QPainterPath tip;
    const double radius = choices_.tipRadius / camera_.pixelWidth();
    tip.addEllipse(cursor_, radius, radius * camera_.exaggeration());
    const OverlayColours colours = overlayColours(theme_);
    stroke(painter, tip, colours, colours.line);
}

void View::paintLinkedCursor(QPainter& painter) const {
    if (!linked_ || cursorInside_ || !camera_.holds(*linked_)) return;
    const QPointF at = pointOf(camera_.pixelAt(camera_.placeOf(*linked_)));
    const OverlayColours colours = overlayColours(theme_);
    QPainterPath cross;
    constexpr double gap = 4, arm = 12;
    for (const auto& [x, y] : std::array<std::array<double, 2>, 4>{{{1, 0}, {-1, 0}, {0, 1}, {0, -1}}}) {
        cross.moveTo(at + QPointF(x, y) * gap);
        cross.lineTo(at + QPointF(x, y) * arm);
    }
    stroke(painter, cross, colours, colours.line);
}

void View::paintBlinks(QPainter& painter) const {
    const OverlayColours colours = overlayColours(theme_);
    for (const Sextant::BoundingBox& box : blinks_) {
        if (box.empty()) continue;
        PlaceBox seen;
        for (const auto& corner : {box.minimum,
                                   box.maximum,
                                   {box.minimum.x, box.maximum.y, box.minimum.z},
                                   {box.maximum.x, box.minimum.y, box.maximum.z}})
            seen.include(camera_.placeOf(corner));
        QRectF frame(pointOf(camera_.pixelAt(seen.minimum)), pointOf(camera_.pixelAt(seen.maximum)));
        frame = frame.normalized() & QRectF(rect()).adjusted(-Inset, -Inset, Inset, Inset); // which hides what is cut
        if (frame.isEmpty()) continue;
        fillFrame(painter, frame, 4, colours.under);
        fillFrame(painter, frame, 2, colours.adds);
    }
}

void View::paintScaleBar(QPainter& painter) const {
    const double length = roundLength(camera_.pixelWidth() * width() / 5);
    const double pixels = length / camera_.pixelWidth();
    const QPointF right(width() - Inset, height() - Inset - 4), left = right - QPointF(pixels, 0);
    QPainterPath bar(left - QPointF(0, 5));
    bar.lineTo(left);
    bar.lineTo(right);
    bar.lineTo(right - QPointF(0, 5));
    const OverlayColours colours = overlayColours(theme_);
    stroke(painter, bar, colours, colours.line);
    QPainterPath text;
    const QString words = lengthText(length, unit_);
    text.addText(right - QPointF(painter.fontMetrics().horizontalAdvance(words) + 4, 8), font(), words);
    painter.setPen(QPen(colours.under, 3));
    painter.drawPath(text);
    painter.fillPath(text, colours.line);
}

void View::paintBadge(QPainter& painter, const QPointF& corner, const QString& text, const QColor& ink) const {
    if (text.isEmpty()) return;
    const QRectF words = painter.fontMetrics().boundingRect(QRect(0, 0, width(), height()), 0, text);
    const QRectF box(corner, words.size() + QSizeF(16, 8));
    painter.setPen(Qt::NoPen);
    painter.setBrush(overlayColours(theme_).panel);
    painter.drawRoundedRect(box, Corner, Corner);
    painter.setPen(ink);
    painter.drawText(box.adjusted(8, 4, 0, 0), Qt::AlignLeft | Qt::AlignTop, text);
}

void View::paintTexts(QPainter& painter) const {
    const OverlayColours colours = overlayColours(theme_);
    paintBadge(painter, {Inset, Inset}, title_, colours.text);
    const double line = painter.fontMetrics().height() + 12;
    paintBadge(painter, {Inset, Inset + line}, sign_, colours.warns);
    if (!forecast_.isEmpty()) {
        const QSizeF size = painter.fontMetrics().boundingRect(QRect(0, 0, width(), height()), 0, forecast_).size();
        const double x = std::clamp(cursor_.x() + 18, 0.0, std::max(0.0, width() - size.width() - 20));
        const double y = std::clamp(cursor_.y() + 18, 0.0, std::max(0.0, height() - size.height() - 12));
        paintBadge(painter, {x, y}, forecast_, colours.text);
    }
    if (banner_.isEmpty()) return;
    painter.save();
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 2.4);
    large.setBold(true);
    painter.setFont(large);
    const QRectF words = painter.fontMetrics().boundingRect(banner_);
    paintBadge(painter, {(width() - words.width()) / 2 - 8, height() * 0.12}, banner_, colours.text);
    painter.restore();
}

} // namespace corvane

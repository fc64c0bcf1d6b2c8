// SPDX-License-Identifier: Apache-2.0
#include "window/StrokeShape.hpp"

#include <QImage>
#include <QPainter>
#include <QPainterPathStroker>
#include <QTransform>

#include <algorithm>

namespace corvane {
namespace {

constexpr double FarPixels = 1e6; // painters count with whole numbers somewhere

QPointF pointAt(const glm::dvec2& place, const Camera& camera) {
    const glm::dvec2 at = glm::clamp(camera.pixelAt(place), glm::dvec2(-FarPixels), glm::dvec2(FarPixels));
    return {at.x, at.y};
}

QPolygonF polygonThrough(const Stroke::Places& places, const Camera& camera) {
    QPolygonF polygon;
    for (const glm::dvec2& place : places) polygon.append(pointAt(place, camera));
    return polygon;
}

struct Area {
    const Camera& camera;

    QPainterPath operator()(const Stroke::Lasso& lasso) const { return polygon(polygonThrough(lasso.places, camera)); }
    QPainterPath operator()(const Stroke::Rectangle& r) const {
        QPainterPath path;
        path.addRect(QRectF(pointAt(r.corner, camera), pointAt(r.opposite, camera)).normalized());
        return path;
    }
    QPainterPath operator()(const Stroke::Circle& c) const {
        QPainterPath path;
        path.addEllipse(pointAt(c.middle, camera), radius(c.radius), radius(c.radius) * camera.exaggeration());
        return path;
    }
    QPainterPath operator()(const Stroke::Path& painted) const {
        const QPolygonF points = polygonThrough(painted.places, camera);
        if (points.size() < 2) return (*this)(Stroke::Circle{painted.places.front(), painted.radius});
        const QTransform stretch = QTransform::fromScale(1, camera.exaggeration()); // the tip is round without it
        QPainterPath line;
        line.addPolygon(stretch.inverted().map(points));
        const QPainterPathStroker stroker(
            QPen(Qt::black, 2 * radius(painted.radius), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        QPainterPath path = stretch.map(stroker.createStroke(line));
        path.setFillRule(Qt::WindingFill);
        return path;
    }
    QPainterPath operator()(const Stroke::Above& above) const { return side(above.line, 0); }
    QPainterPath operator()(const Stroke::Below& below) const { return side(below.line, camera.size().y); }
    QPainterPath operator()(const PolygonSet& polygons) const {
        QPainterPath path;
        for (const Ring& ring : polygons.rings) {
            QPolygonF points;
            for (const PlanePoint& p : ring) points.append(pointAt({p.x, p.y}, camera));
            path.addPolygon(points);
        }
        return path;
    }
    QPainterPath operator()(const Stroke::Nothing&) const { return {}; }

private:
    double radius(double units) const { return std::min(units / camera.pixelWidth(), FarPixels); }

    static QPainterPath polygon(const QPolygonF& points) {
        QPainterPath path; // even-odd, as a lasso
        path.addPolygon(points);
        path.closeSubpath();
        return path;
    }

    /// Up or down to the edge of the view, or as far as the line goes beyond it.
    QPainterPath side(const Stroke::Places& line, double edge) const {
        QPolygonF points = polygonThrough(line, camera);
        if (points.isEmpty()) return {};
        const QRectF bounds = points.boundingRect();
        const double end = edge == 0 ? std::min(edge, bounds.top()) : std::max(edge, bounds.bottom());
        points.append({points.last().x(), end});
        points.append({points.first().x(), end});
        return polygon(points);
    }
};

} // namespace

QPainterPath areaOf(const Stroke::Outline& outline, const Camera& camera) { return std::visit(Area{camera}, outline); }

QPainterPath lineThrough(const Stroke::Places& places, const Camera& camera) {
    QPainterPath path;
    path.addPolygon(polygonThrough(places, camera));
    return path;
}

std::shared_ptr<const std::vector<std::uint8_t>> bitmapOf(const QPainterPath& area, int width, int height,
                                                          double ratio) {
    QImage image(width, height, QImage::Format_Grayscale8);
    image.fill(Qt::black);
    {
        QPainter painter(&image);
        painter.scale(ratio, ratio);
        painter.fillPath(area, Qt::white);
    }
    std::vector<std::uint8_t> bytes;
    bytes.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int row = 0; row < height; ++row) {
        const std::uint8_t* line = image.constScanLine(row);
        bytes.insert(bytes.end(), line, line + width);
    }
    return std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
}

} // namespace corvane

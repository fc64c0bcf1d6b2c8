// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "render/Renderer.hpp"
#include "window/Camera.hpp"
#include "window/Choices.hpp"
#include "window/Theme.hpp"

#include <QElapsedTimer>
#include <QImage>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <optional>
#include <vector>

namespace corvane {

/// One picture of the survey, in plan or in profile: moves it, draws strokes on it, and shows what lies under the
/// cursor. Draws nothing of the points by itself and changes nothing: it asks for pictures, and tells what was drawn.
class View : public QWidget {
public:
    /// What it tells others; all must be set.
    struct Events {
        std::function<void(const PictureRequest&)> needsPicture;
        std::function<void()> activated;
        std::function<void(const std::optional<Stroke>&, Selecting)> drawing; ///< none: no more
        std::function<void(const Stroke&, Selecting)> drawn;
        std::function<void(const Stroke::Profile&)> profileDrawn;
        std::function<void(const std::optional<PickedPoint>&)> hovered;
        std::function<void(double radius)> tipChanged;
        std::function<bool(QKeyEvent&)> key; ///< keys that are not the view's own; true: it was used
    };

    View(int number, Events events, QWidget* parent = nullptr);

    int number() const { return number_; }
    const Camera& camera() const { return camera_; }

    /// Looks with another camera, of which the present one can be gone back to.
    void look(Camera camera);
    void lookBack();
    void setUnit(const QString& unit) { unit_ = unit; } ///< of lengths, behind their numbers
    void forgetEarlier() { earlier_.clear(); }          ///< there is no way back from here
    void fit(const PlaceBox& box);
    void centreOn(const Sextant::PhysicalSpace::point& position);

    /// `changed`: what is known of points was replaced, and the picture is to show that.
    void setLook(const Look& look, bool changed = false);

    void setChoices(const Choices& choices);
    void setTheme(Theme theme);

    /// What stands in its upper left corner; a sign that something is hidden below it.
    void setTitle(const QString& title, const QString& sign);

    /// What stands in the middle for a moment, or until something else does, e.g. the number being typed.
    void setBanner(const QString& text);

    /// What a stroke would do, at the cursor; empty: nothing.
    void setForecast(const QString& text);
    const QString& forecast() const { return forecast_; }

    /// The cursor of another view; none: it is nowhere.
    void setLinkedCursor(const std::optional<Sextant::PhysicalSpace::point>& position);

    /// The line that a profile is seen along, drawn with its width and its handles; in plans only.
    void setProfileLine(const std::optional<Stroke::Profile>& profile);

    /// Outlines that blink for a moment: where something was undone.
    void blink(const std::vector<Sextant::BoundingBox>& boxes);

    /// A picture that the renderer has finished. One of another camera is shown where it belongs.
    void show(const PicturePtr& picture);
    const PicturePtr& picture() const { return picture_; }

    /// Whether the picture is of the last request, and complete.
    bool isComplete() const;

    /// The point under a place of the widget.
    std::optional<PickedPoint> pointAt(const QPointF& at) const;

    bool isDrawing() const { return drawing_.has_value(); }

    /// Takes up what is drawn: nothing was.
    void cancelDrawing();
    void endDrawing();
    void removeLastPoint();

private:
    enum class Handle { None, From, To, Whole };
    struct Panning {
        Qt::MouseButton with;
        QPointF at; // where the mouse was
    };

    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void leaveEvent(QEvent* event) override;

    bool movesPicture(const QMouseEvent& event) const;
    Tool presentTool() const;
    void startDrawing(const glm::dvec2& place, Qt::KeyboardModifiers with);
    void finishDrawing();
    void tellDrawing();
    Stroke strokeOf(const Stroke::Outline& outline) const;
    void dragHandle(const glm::dvec2& place);
    Handle handleAt(const QPointF& at) const;
    void hover(const QPointF& at);
    void remember();
    void cameraMoved();
    void request(bool moving, bool patient = false);
    void updateCursor();
    double pixelRatio() const { return devicePixelRatioF(); }

    void paintPicture(QPainter& painter) const;
    void paintProfileLine(QPainter& painter) const;
    void paintDrawing(QPainter& painter) const;
    void paintTip(QPainter& painter) const;
    void paintLinkedCursor(QPainter& painter) const;
    void paintBlinks(QPainter& painter) const;
    void paintScaleBar(QPainter& painter) const;
    void paintTexts(QPainter& painter) const;
    void paintBadge(QPainter& painter, const QPointF& corner, const QString& text, const QColor& ink) const;

    int number_;
    Events events_;
    Camera camera_;
    std::vector<Camera> earlier_;
    QElapsedTimer moved_; // since the camera was moved by hand
    Look look_;
    Choices choices_;
    Theme theme_ = Theme::Auto;
    QString title_, unit_, sign_, banner_, forecast_;

    PicturePtr picture_;
    std::uint64_t lastRequest_ = 0;
    QTimer still_, forgetBanner_, forgetBlinks_;

    std::optional<Drawing> drawing_;
    Selecting drawingHow_ = Selecting::Replace;
    Camera drawnOn_;                   // a stroke is drawn on the view of its first point
    std::optional<double> drawnDepth_; // there; where depths are limited

    std::optional<Stroke::Profile> profileLine_, draggedLine_;
    Handle handle_ = Handle::None;
    glm::dvec2 grabbed_{0};

    std::optional<Sextant::PhysicalSpace::point> linked_;
    std::vector<Sextant::BoundingBox> blinks_;
    QPointF cursor_;
    bool cursorInside_ = false, spaceDown_ = false;
    std::optional<Panning> panning_;
};

} // namespace corvane

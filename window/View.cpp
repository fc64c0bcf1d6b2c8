// SPDX-License-Identifier: Apache-2.0
// What a view does with mouse and keys. How it is painted stands in ViewPainting.cpp.
#include "window/View.hpp"

#include "window/StrokeShape.hpp"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <glm/geometric.hpp>

namespace corvane {
namespace {

constexpr int StillAfter = 150, BannerFor = 900, BlinkFor = 700; // milliseconds
constexpr double WheelStep = 120, ZoomOfStep = 1.25;             // eighths of a degree; times
constexpr double FinePixels = 1.5;                               // between points of a lasso
constexpr double HandlePixels = 9;
constexpr std::size_t MostEarlier = 50;
constexpr int OneMovement = 700; // milliseconds

glm::dvec2 vec(const QPointF& p) { return {p.x(), p.y()}; }

} // namespace

View::View(int number, Events events, QWidget* parent) : QWidget(parent), number_(number), events_(std::move(events)) {
    setObjectName(QStringLiteral("view%1").arg(number));
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumSize(160, 120);
    for (QTimer* timer : {&still_, &forgetBanner_, &forgetBlinks_}) timer->setSingleShot(true);
    connect(&still_, &QTimer::timeout, this, [this] { request(false); });
    connect(&forgetBanner_, &QTimer::timeout, this, [this] { setBanner({}); });
    connect(&forgetBlinks_, &QTimer::timeout, this, [this] { blink({}); });
}

/// For the way back. Wheel steps and drags that follow soon are one movement.
void View::remember() {
    const bool goesOn = moved_.isValid() && moved_.elapsed() < OneMovement;
    moved_.start();
    if (goesOn) return;
    earlier_.push_back(camera_);
    if (earlier_.size() > MostEarlier) earlier_.erase(earlier_.begin());
}

void View::look(Camera camera) {
    cancelDrawing();
    moved_.invalidate();
    remember();
    moved_.invalidate();
    camera.resize(vec({double(width()), double(height())}));
    camera_ = std::move(camera);
    request(false);
}

void View::lookBack() {
    if (earlier_.empty() || drawing_) return;
    camera_ = std::move(earlier_.back());
    earlier_.pop_back();
    moved_.invalidate();
    camera_.resize(vec({double(width()), double(height())}));
    request(false);
}

void View::fit(const PlaceBox& box) {
    Camera fitted = camera_;
    fitted.resize(vec({double(width()), double(height())}));
    fitted.fit(box);
    look(fitted);
}

void View::centreOn(const Sextant::PhysicalSpace::point& position) {
    camera_.centreOn(camera_.placeOf(position));
    request(false);
}

void View::setLook(const Look& look, bool changed) {
    if (look == look_ && !changed) return;
    look_ = look;
    request(still_.isActive(), changed);
}

void View::setChoices(const Choices& choices) {
    if (choices.tool != choices_.tool) cancelDrawing();
    choices_ = choices;
    if (drawing_) {
        drawing_->setRadius(choices.tipRadius);
        tellDrawing(); // what it would do is another thing now
    }
    updateCursor();
    update();
}

void View::setTheme(Theme theme) {
    theme_ = theme;
    update();
}

void View::setTitle(const QString& title, const QString& sign) {
    title_ = title;
    sign_ = sign;
    update();
}

void View::setBanner(const QString& text) {
    banner_ = text;
    if (!text.isEmpty()) forgetBanner_.start(BannerFor);
    update();
}

void View::setForecast(const QString& text) {
    forecast_ = text;
    update();
}

void View::setLinkedCursor(const std::optional<Sextant::PhysicalSpace::point>& position) {
    if (!linked_ && !position) return;
    linked_ = position;
    update();
}

void View::setProfileLine(const std::optional<Stroke::Profile>& profile) {
    profileLine_ = profile;
    update();
}

void View::blink(const std::vector<Sextant::BoundingBox>& boxes) {
    blinks_ = boxes;
    if (!boxes.empty()) forgetBlinks_.start(BlinkFor);
    update();
}

void View::show(const PicturePtr& picture) {
    picture_ = picture;
    update();
}

bool View::isComplete() const {
    return picture_ && picture_->complete && picture_->request == lastRequest_ && !still_.isActive();
}

std::optional<PickedPoint> View::pointAt(const QPointF& at) const {
    if (!picture_ || !(picture_->screen.view == camera_.view())) return std::nullopt;
    const Screen& screen = picture_->screen;
    const glm::dvec2 place = camera_.placeAt(vec(at));
    const glm::dvec2 seen = camera_.isProfile() ? place : glm::dvec2(camera_.view().project({place, 0}));
    const glm::dvec2 part = (seen - screen.minimum) / (screen.maximum - screen.minimum);
    const int column = static_cast<int>(std::floor(part.x * screen.width));
    const int row = static_cast<int>(std::floor((1 - part.y) * screen.height));
    if (column < 0 || row < 0 || column >= screen.width || row >= screen.height) return std::nullopt;
    return pick(*picture_, column, row);
}

// ---------------------------------------------------------------------------------------------------------- pictures

void View::request(bool moving, bool patient) {
    update();
    if (!isVisible() || width() < 2 || height() < 2) return;
    PictureRequest wanted;
    wanted.number = ++lastRequest_;
    wanted.screen = camera_.screen(pixelRatio());
    wanted.look = look_;
    wanted.moving = moving;
    wanted.patient = patient;
    if (drawing_)
        if (const auto outline = drawing_->outline()) {
            wanted.look.preview =
                bitmapOf(areaOf(*outline, camera_), wanted.screen.width, wanted.screen.height, pixelRatio());
            if (const auto depth = strokeOf(*outline).depth)
                wanted.look.previewDepths =
                    std::minmax(float(camera_.depthOnScreen((*depth)[0])), float(camera_.depthOnScreen((*depth)[1])));
        }
    events_.needsPicture(wanted);
    moving ? still_.start(StillAfter) : still_.stop();
}

void View::cameraMoved() {
    request(true);
    if (cursorInside_) hover(cursor_);
}

bool View::event(QEvent* event) {
    if (event->type() == QEvent::ScreenChangeInternal || event->type() == QEvent::Show) request(false);
    if (event->type() == QEvent::ShortcutOverride) { // the view's keys are no shortcuts as long as it has the focus
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool own = key == Qt::Key_Space || key == Qt::Key_Backspace || key == Qt::Key_Escape;
        if (own) event->accept();
    }
    return QWidget::event(event);
}

void View::resizeEvent(QResizeEvent*) {
    camera_.resize({width(), height()});
    request(false);
}

// ---------------------------------------------------------------------------------------------------------- the mouse

Tool View::presentTool() const { return choices_.tool; }

bool View::movesPicture(const QMouseEvent& event) const {
    return event.button() == Qt::MiddleButton ||
           (event.button() == Qt::LeftButton && (spaceDown_ || presentTool() == Tool::Move));
}

void View::mousePressEvent(QMouseEvent* event) {
    events_.activated();
    const glm::dvec2 place = camera_.placeAt(vec(event->localPos()));
    if (event->button() == Qt::LeftButton && !drawing_ && !spaceDown_) {
        handle_ = handleAt(event->localPos());
        if (handle_ != Handle::None) {
            draggedLine_ = profileLine_;
            grabbed_ = place;
            return;
        }
    }
    if (movesPicture(*event)) {
        panning_ = Panning{event->button(), event->localPos()};
        updateCursor();
    } else if (event->button() == Qt::RightButton) {
        endDrawing();
    } else if (event->button() == Qt::LeftButton) {
        startDrawing(place, event->modifiers());
    }
}

void View::mouseMoveEvent(QMouseEvent* event) {
    cursor_ = event->localPos();
    cursorInside_ = true;
    if (panning_) {
        remember();
        camera_.pan(vec(event->localPos() - panning_->at));
        panning_->at = event->localPos();
        cameraMoved();
        return;
    }
    const glm::dvec2 place = camera_.placeAt(vec(event->localPos()));
    if (handle_ != Handle::None) return dragHandle(place);
    if (drawing_) {
        drawing_->move(place, FinePixels * camera_.pixelWidth());
        tellDrawing();
    }
    hover(event->localPos());
    updateCursor();
    update();
}

void View::mouseReleaseEvent(QMouseEvent* event) {
    if (panning_ && event->button() == panning_->with) {
        panning_.reset();
        updateCursor();
        request(false);
    } else if (handle_ != Handle::None && event->button() == Qt::LeftButton) {
        handle_ = Handle::None;
        if (const auto line = std::exchange(draggedLine_, std::nullopt)) events_.profileDrawn(*line);
        update();
    } else if (drawing_ && event->button() == Qt::LeftButton) {
        drawing_->release(camera_.placeAt(vec(event->localPos())), FinePixels * camera_.pixelWidth());
        if (drawing_->ended()) finishDrawing();
    }
}

/// Ends what is drawn point by point, where the second click has put its point already; else it centres.
void View::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return mousePressEvent(event);
    if (drawing_) return endDrawing();
    moved_.invalidate();
    remember();
    camera_.centreOn(camera_.placeAt(vec(event->localPos())));
    request(false);
}

void View::wheelEvent(QWheelEvent* event) {
    const double steps = event->angleDelta().y() / WheelStep;
    if (steps == 0) return;
    if (event->modifiers().testFlag(Qt::ControlModifier)) {
        events_.tipChanged(std::max(choices_.tipRadius * std::pow(ZoomOfStep, steps), camera_.pixelWidth()));
    } else {
        const bool stretches = event->modifiers().testFlag(Qt::ShiftModifier) && camera_.isProfile();
        const double factor = std::pow(ZoomOfStep, steps);
        remember();
        stretches ? camera_.stretch(factor, vec(event->position())) : camera_.zoom(factor, vec(event->position()));
        cameraMoved();
    }
    event->accept();
}

void View::leaveEvent(QEvent*) {
    cursorInside_ = false;
    events_.hovered(std::nullopt);
    update();
}

void View::hover(const QPointF& at) { events_.hovered(pointAt(at)); }

void View::updateCursor() {
    if (panning_)
        setCursor(Qt::ClosedHandCursor);
    else if (spaceDown_ || presentTool() == Tool::Move)
        setCursor(Qt::OpenHandCursor);
    else if (handleAt(cursor_) != Handle::None)
        setCursor(Qt::SizeAllCursor);
    else
        setCursor(presentTool() == Tool::Paint ? Qt::BlankCursor : Qt::CrossCursor);
}

// ------------------------------------------------------------------------------------------------------------ drawing

void View::startDrawing(const glm::dvec2& place, Qt::KeyboardModifiers with) {
    if (presentTool() == Tool::Profile && camera_.isProfile()) return;
    if (!drawing_) {
        const bool limited = choices_.depth > 0 && presentTool() != Tool::Profile;
        const auto first =
            limited ? pointAt(QPointF(camera_.pixelAt(place).x, camera_.pixelAt(place).y)) : std::nullopt;
        if (limited && !first) return setBanner(QStringLiteral("No point here to take the depth from"));
        drawnDepth_ = first ? std::optional(camera_.depthOf(first->position)) : std::nullopt;
        drawing_.emplace(presentTool(), choices_.tipRadius);
        drawnOn_ = camera_;
        drawingHow_ = with.testFlag(Qt::ControlModifier) ? Selecting::Remove
                      : with.testFlag(Qt::ShiftModifier) ? Selecting::Add
                                                         : choices_.how;
    }
    drawing_->press(place);
    tellDrawing();
}

Stroke View::strokeOf(const Stroke::Outline& outline) const {
    Stroke stroke{.view = drawnOn_.on(), .outline = outline, .depth = {}, .limit = nullptr};
    if (drawnDepth_ && choices_.depth > 0) stroke.depth = drawnOn_.depthsAround(*drawnDepth_, choices_.depth);
    return stroke;
}

void View::tellDrawing() {
    request(true);
    if (drawing_->tool() == Tool::Profile) return;
    const auto outline = drawing_->outline();
    events_.drawing(outline ? std::optional(strokeOf(*outline)) : std::nullopt, drawingHow_);
}

void View::finishDrawing() {
    const Drawing finished = *drawing_;
    const auto places = finished.places();
    const auto outline = finished.outline();
    cancelDrawing();
    if (finished.tool() == Tool::Profile) {
        const double width = profileLine_ ? profileLine_->width : camera_.pixelWidth() * 12; // as wide as can be seen
        if (places.size() == 2) events_.profileDrawn({places[0], places[1], width});
    } else if (outline) {
        events_.drawn(strokeOf(*outline), drawingHow_);
    }
}

void View::endDrawing() {
    if (!drawing_) return;
    drawing_->end();
    finishDrawing();
}

void View::cancelDrawing() {
    if (!drawing_) return;
    drawing_.reset();
    setForecast({});
    events_.drawing(std::nullopt, drawingHow_);
    request(false);
}

void View::removeLastPoint() {
    if (!drawing_) return;
    drawing_->removeLast();
    if (drawing_->begun())
        tellDrawing();
    else
        cancelDrawing();
}

// ------------------------------------------------------------------------------------------------- the profile's line

View::Handle View::handleAt(const QPointF& at) const {
    if (!profileLine_ || camera_.isProfile() || drawing_ || presentTool() == Tool::Paint) return Handle::None;
    const glm::dvec2 from = camera_.pixelAt(profileLine_->from), to = camera_.pixelAt(profileLine_->to);
    const auto near = [&](const glm::dvec2& pixel) { return glm::distance(pixel, vec(at)) <= HandlePixels; };
    if (near(from)) return Handle::From;
    if (near(to)) return Handle::To;
    return near((from + to) / 2.0) ? Handle::Whole : Handle::None;
}

void View::dragHandle(const glm::dvec2& place) {
    Stroke::Profile line = *draggedLine_;
    const glm::dvec2 by = place - grabbed_;
    if (handle_ != Handle::To) line.from += by;
    if (handle_ != Handle::From) line.to += by;
    if (glm::distance(line.from, line.to) < camera_.pixelWidth()) return; // a profile has a length
    draggedLine_ = line;
    grabbed_ = place;
    update();
}

// ----------------------------------------------------------------------------------------------------------- the keys

void View::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space) {
        spaceDown_ = true;
        updateCursor();
    } else if (event->key() == Qt::Key_Escape && drawing_) {
        cancelDrawing();
    } else if ((event->key() == Qt::Key_Backspace || event->key() == Qt::Key_Delete) && drawing_) {
        removeLastPoint();
    } else if (!events_.key(*event)) {
        QWidget::keyPressEvent(event);
    }
}

void View::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat()) {
        spaceDown_ = false;
        updateCursor();
    }
    QWidget::keyReleaseEvent(event);
}

} // namespace corvane

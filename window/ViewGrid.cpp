// SPDX-License-Identifier: Apache-2.0
#include "window/ViewGrid.hpp"

#include "window/Child.hpp"

#include <QSplitter>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <glm/geometric.hpp>

namespace corvane {
namespace {

using Sextant::BoundingBox;

constexpr double ProfileShare = 100;   // the width of a first profile is this part of its length
constexpr double SameLength = 1e-6;    // a part of it
constexpr double MostHigherThan = 100; // a profile is that much higher than long only where the length is in degrees

/// Through the middle of the box, from side to side.
Stroke::Profile throughMiddle(const BoundingBox& box) {
    const double wide = box.maximum.x - box.minimum.x, length = wide > 0 ? wide : 1;
    const double y = (box.minimum.y + box.maximum.y) / 2, x = (box.minimum.x + box.maximum.x) / 2;
    return {{x - length / 2, y}, {x + length / 2, y}, length / ProfileShare};
}

PlaceBox placesOf(const BoundingBox& box, const Camera& camera) {
    PlaceBox places;
    if (box.empty()) return places;
    if (const auto* profile = std::get_if<Stroke::Profile>(&camera.on())) {
        places.include({0, box.minimum.z});
        places.include({glm::distance(profile->from, profile->to), box.maximum.z});
    } else {
        places.include(glm::dvec2(box.minimum));
        places.include(glm::dvec2(box.maximum));
    }
    return places;
}

} // namespace

Stroke::Profile across(const Stroke::Profile& profile) {
    const glm::dvec2 middle = (profile.from + profile.to) / 2.0, half = (profile.to - profile.from) / 2.0;
    const glm::dvec2 turned(-half.y, half.x);
    return {middle - turned, middle + turned, profile.width};
}

ViewGrid::ViewGrid(const EventsOf& eventsOf, QWidget* parent)
    : QWidget(parent),
      rows_(childOf<QSplitter>(static_cast<QWidget*>(this), Qt::Vertical)),
      upper_(childOf<QSplitter>(static_cast<QWidget*>(rows_), Qt::Horizontal)),
      lower_(childOf<QSplitter>(static_cast<QWidget*>(rows_), Qt::Horizontal)) {
    auto* layout = childOf<QVBoxLayout>(static_cast<QWidget*>(this));
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(rows_);
    for (int i = 0; i < Views; ++i) {
        QSplitter* row = i == Plan || i == OtherPlan ? upper_ : lower_;
        views_[static_cast<std::size_t>(i)] = childOf<View>(static_cast<QWidget*>(row), i, eventsOf(i));
    }
    for (QSplitter* splitter : {rows_, upper_, lower_}) {
        splitter->setChildrenCollapsible(false);
        splitter->setHandleWidth(4);
    }
    rows_->setStretchFactor(0, 3);
    rows_->setStretchFactor(1, 2);
    setCount(1);
}

void ViewGrid::setCount(int count) {
    count_ = count;
    if (!isShown(active_)) active_ = Plan;
    for (int i = 0; i < Views; ++i) view(i).setVisible(isShown(i));
    lower_->setVisible(isShown(Profile));
    view(Plan).setProfileLine(isShown(Profile) ? std::optional(profile_) : std::nullopt);
    view(OtherPlan).setProfileLine(profile_);
}

void ViewGrid::activate(int number) {
    active_ = number;
    view(number).setFocus();
}

void ViewGrid::setSurvey(const BoundingBox& expressible, const BoundingBox& box, const QString& unit) {
    expressible_ = expressible;
    for (View* view : views_) view->setUnit(unit);
    for (const int plan : {Plan, OtherPlan}) view(plan).look(Camera(Stroke::FromAbove(), expressible));
    showAll(box);
}

void ViewGrid::showAll(const BoundingBox& box) {
    box_ = box;
    profile_ = throughMiddle(box);
    const double length = glm::distance(profile_.from, profile_.to), heights = box.maximum.z - box.minimum.z;
    const double exaggeration = heights > MostHigherThan * length ? length / heights : 1;
    lookAlong(Profile, profile_, exaggeration);
    lookAlong(CrossProfile, across(profile_), exaggeration);
    setCount(count_); // shows the line
    for (View* view : views_) {
        fit(*view, box);
        view->forgetEarlier(); // cameras of another survey, or of a box that was not that of the points
    }
}

void ViewGrid::fit(View& view, const BoundingBox& box) {
    box_ = box;
    view.fit(placesOf(box, view.camera()));
}

void ViewGrid::lookAlong(int number, const Stroke::Profile& profile, double exaggeration) {
    View& view = this->view(number);
    Camera camera(profile, expressible_);
    camera.resize({view.width(), view.height()});
    camera.setExaggeration(exaggeration);
    camera.fit(placesOf(box_, camera));
    view.look(camera);
}

/// What a profile shows of its line stays when only the line moves. The way back to earlier views ends, since they are
/// of another line.
void ViewGrid::setProfile(const Stroke::Profile& profile) {
    const auto length = [](const Stroke::Profile& line) { return glm::distance(line.from, line.to); };
    const bool moves = std::abs(length(profile) - length(profile_)) < SameLength * length(profile_);
    profile_ = profile;
    for (const auto& [number, line] : {std::pair(Profile, profile), std::pair(CrossProfile, across(profile))}) {
        if (moves)
            view(number).look(view(number).camera().along(line, expressible_));
        else
            lookAlong(number, line, view(number).camera().exaggeration());
        view(number).forgetEarlier();
    }
    setCount(count_); // shows the line
}

void ViewGrid::walk(double widths, double lengths) {
    const glm::dvec2 line = profile_.to - profile_.from, along = glm::normalize(line);
    const glm::dvec2 by = glm::dvec2(-along.y, along.x) * (widths * profile_.width) + line * lengths;
    profile_.from += by;
    profile_.to += by;
    setProfile(profile_);
    if (!follow_) return;
    const glm::dvec2 middle = (profile_.from + profile_.to) / 2.0;
    for (const int plan : {Plan, OtherPlan}) view(plan).centreOn({middle, 0});
}

} // namespace corvane

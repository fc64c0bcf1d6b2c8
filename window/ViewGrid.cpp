// SPDX-License-Identifier: Apache-2.0
#include "window/ViewGrid.hpp"

#include "window/Child.hpp"

#include <QSplitter>
#include <QVBoxLayout>

#include <algorithm>
#include <glm/geometric.hpp>

namespace corvane {
namespace {

using Sextant::BoundingBox;

constexpr double ProfileShare = 100; // the width of a first profile is this part of its length

/// Through the middle of the box, from side to side.
Stroke::Profile throughMiddle(const BoundingBox& box) {
    const double length = std::max(box.maximum.x - box.minimum.x, 1.0);
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

void ViewGrid::setSurvey(const BoundingBox& expressible, const BoundingBox& box) {
    expressible_ = expressible;
    for (const int plan : {Plan, OtherPlan}) view(plan).look(Camera(Stroke::FromAbove(), expressible));
    box_ = box;
    setProfile(throughMiddle(box));
    fitAll(box);
    for (View* view : views_) view->forgetEarlier(); // cameras of another survey
}

void ViewGrid::fit(View& view, const BoundingBox& box) {
    box_ = box;
    view.fit(placesOf(box, view.camera()));
}

void ViewGrid::fitAll(const BoundingBox& box) {
    for (int i = 0; i < Views; ++i) fit(view(i), box);
}

/// A profile keeps its scale and its heights when only its line moves.
void ViewGrid::lookAlong(int number, const Stroke::Profile& profile) {
    View& view = this->view(number);
    Camera camera(profile, expressible_);
    camera.resize({view.width(), view.height()});
    camera.setExaggeration(view.camera().exaggeration());
    camera.fit(placesOf(box_, camera));
    view.look(camera);
}

void ViewGrid::setProfile(const Stroke::Profile& profile) {
    profile_ = profile;
    lookAlong(Profile, profile);
    lookAlong(CrossProfile, across(profile));
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

// SPDX-License-Identifier: Apache-2.0
#include "window/Drawing.hpp"

#include <glm/geometric.hpp>

#include <cmath>

namespace corvane {
namespace {

bool isLine(Tool tool) { return tool == Tool::Above || tool == Tool::Below; }
bool isFreehand(Tool tool) { return tool == Tool::Lasso || tool == Tool::Paint; }

} // namespace

bool isDragged(Tool tool) { return tool != Tool::Polygon && !isLine(tool); }

void Drawing::press(const glm::dvec2& place) {
    if (ended_) return;
    down_ = true;
    if (isDragged(tool_) && begun()) return; // with another button
    add(place);
    cursor_ = place;
}

void Drawing::move(const glm::dvec2& place, double fine) {
    if (ended_ || !begun()) return;
    cursor_ = place;
    if (down_ && isFreehand(tool_) && glm::distance(places_.back(), place) >= fine) add(place);
}

void Drawing::release(const glm::dvec2& place, double fine) {
    if (!down_ || ended_) return;
    down_ = false;
    if (!isDragged(tool_)) return;
    if (glm::distance(places_.back(), place) >= fine) add(place);
    end();
}

void Drawing::end() {
    cursor_.reset();
    ended_ = true;
}

void Drawing::removeLast() {
    if (!isDragged(tool_) && !ended_ && begun()) places_.pop_back();
}

void Drawing::add(const glm::dvec2& place) {
    if (begun() && places_.back() == place) return;
    if (runsOn(place)) places_.push_back(place);
}

/// A line that everything is above or below of runs to one side all the time.
bool Drawing::runsOn(const glm::dvec2& place) const {
    if (!isLine(tool_) || !begun()) return true;
    const double step = place.x - places_.back().x;
    return places_.size() == 1 ? step != 0 : step * (places_[1].x - places_[0].x) > 0;
}

Stroke::Places Drawing::places() const {
    Stroke::Places places = places_;
    if (cursor_ && begun() && places.back() != *cursor_ && runsOn(*cursor_)) places.push_back(*cursor_);
    return places;
}

std::optional<Stroke::Outline> Drawing::outline() const {
    const Stroke::Places places = this->places();
    const std::size_t count = places.size();
    switch (tool_) {
    case Tool::Lasso:
    case Tool::Polygon:
        if (count >= 3) return Stroke::Lasso{places};
        break;
    case Tool::Rectangle:
        if (count == 2 && places[0].x != places[1].x && places[0].y != places[1].y)
            return Stroke::Rectangle{places[0], places[1]};
        break;
    case Tool::Circle:
        if (count == 2) return Stroke::Circle{places[0], glm::distance(places[0], places[1])};
        break;
    case Tool::Paint:
        if (count >= 1 && radius_ > 0) return Stroke::Path{places, radius_};
        break;
    case Tool::Above:
        if (count >= 2) return Stroke::Above{places};
        break;
    case Tool::Below:
        if (count >= 2) return Stroke::Below{places};
        break;
    case Tool::Move:
    case Tool::Profile:
        break;
    }
    return std::nullopt;
}

} // namespace corvane

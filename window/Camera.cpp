// SPDX-License-Identifier: Apache-2.0
#include "window/Camera.hpp"

#include <algorithm>
#include <cmath>
#include <glm/geometric.hpp>
#include <limits>

namespace corvane {
namespace {

constexpr double Margin = 1.06;          // around what is fitted
constexpr double LeastPixel = 1e-13;     // of the largest number
constexpr double MostExaggeration = 1e8; // times: metres over degrees

/// A step of length 1 across the line.
glm::dvec2 leftOf(const Stroke::Profile& profile) {
    const glm::dvec2 along = glm::normalize(profile.to - profile.from);
    return {-along.y, along.x};
}

} // namespace

Camera::Camera(Stroke::View on, const Sextant::BoundingBox& expressible) : on_(std::move(on)) {
    if (const auto* profile = std::get_if<Stroke::Profile>(&on_)) {
        view_ = Sextant::View::profile(profile->from, profile->to, profile->width);
        const double far = glm::length(profile->to - profile->from);
        reach_.include({-far, expressible.minimum.z});
        reach_.include({2 * far, expressible.maximum.z});
    } else {
        view_ = Sextant::View::fromAbove(expressible);
        reach_.include(glm::dvec2(expressible.minimum));
        reach_.include(glm::dvec2(expressible.maximum));
    }
}

Camera Camera::along(const Stroke::Profile& profile, const Sextant::BoundingBox& expressible) const {
    Camera other(profile, expressible);
    other.size_ = size_;
    other.middle_ = middle_;
    other.pixelWidth_ = pixelWidth_;
    other.exaggeration_ = exaggeration_;
    return other;
}

void Camera::resize(const glm::dvec2& pixels) { size_ = glm::max(pixels, glm::dvec2(1)); }

glm::dvec2 Camera::placeAt(const glm::dvec2& at) const {
    const glm::dvec2 fromMiddle = at - size_ / 2.0;
    return middle_ + glm::dvec2(fromMiddle.x, -fromMiddle.y) * pixel();
}

glm::dvec2 Camera::pixelAt(const glm::dvec2& place) const {
    const glm::dvec2 fromMiddle = (place - middle_) / pixel();
    return size_ / 2.0 + glm::dvec2(fromMiddle.x, -fromMiddle.y);
}

glm::dvec2 Camera::placeOf(const Sextant::PhysicalSpace::point& position) const {
    return isProfile() ? glm::dvec2(view_.project(position)) : glm::dvec2(position);
}

double Camera::depthOf(const Sextant::PhysicalSpace::point& position) const {
    const auto* profile = std::get_if<Stroke::Profile>(&on_);
    return profile ? glm::dot(glm::dvec2(position) - profile->from, leftOf(*profile)) : position.z;
}

std::array<double, 2> Camera::depthsAround(double depth, double reach) const {
    const auto* profile = std::get_if<Stroke::Profile>(&on_);
    const double most = profile ? profile->width / 2 : std::numeric_limits<double>::infinity();
    return {std::max(depth - reach, -most), std::min(depth + reach, most)};
}

double Camera::depthOnScreen(double depth) const {
    const auto* profile = std::get_if<Stroke::Profile>(&on_);
    return view_.project(profile ? glm::dvec3(profile->from + leftOf(*profile) * depth, 0) : glm::dvec3(0, 0, depth)).z;
}

bool Camera::holds(const Sextant::PhysicalSpace::point& position) const {
    return !isProfile() || std::abs(view_.project(position).z) <= 1;
}

void Camera::setExaggeration(double times) {
    if (isProfile() && times > 0) exaggeration_ = std::clamp(times, 1 / MostExaggeration, MostExaggeration);
}

void Camera::stretch(double factor, const glm::dvec2& at) {
    const glm::dvec2 fixed = placeAt(at);
    setExaggeration(exaggeration_ * factor);
    middle_ += fixed - placeAt(at);
    keepWithin();
}

void Camera::zoom(double factor, const glm::dvec2& at) {
    if (!(factor > 0) || !std::isfinite(factor)) return;
    const glm::dvec2 fixed = placeAt(at);
    pixelWidth_ /= factor;
    keepWithin();
    middle_ += fixed - placeAt(at);
    keepWithin();
}

void Camera::pan(const glm::dvec2& pixels) {
    middle_ -= glm::dvec2(pixels.x, -pixels.y) * pixel();
    keepWithin();
}

void Camera::centreOn(const glm::dvec2& place) {
    middle_ = place;
    keepWithin();
}

void Camera::fit(const PlaceBox& box) {
    if (box.empty()) return;
    const glm::dvec2 extent = (box.maximum - box.minimum) * glm::dvec2(1, exaggeration_);
    const double needed = std::max(extent.x / size_.x, extent.y / size_.y) * Margin;
    constexpr double around = 10; // units, about a single place
    pixelWidth_ = needed > 0 ? needed : around / size_.x;
    middle_ = (box.minimum + box.maximum) / 2.0;
    keepWithin();
}

PlaceBox Camera::seen() const {
    PlaceBox box;
    box.include(placeAt({0, 0}));
    box.include(placeAt(size_));
    return box;
}

glm::dvec2 Camera::onScreen(const glm::dvec2& place) const {
    return isProfile() ? place : glm::dvec2(view_.project({place, 0}));
}

Screen Camera::screen(double ratio) const {
    const PlaceBox box = seen();
    const auto pixels = [&](double logical) { return std::max(1, static_cast<int>(std::lround(logical * ratio))); };
    return {view_, onScreen(box.minimum), onScreen(box.maximum), pixels(size_.x), pixels(size_.y)};
}

/// Nobody gets lost where no point can be, nor where a pixel is smaller than numbers tell apart.
void Camera::keepWithin() {
    if (reach_.empty()) return;
    const glm::dvec2 reach = reach_.maximum - reach_.minimum;
    const double most = std::max(reach.x, reach.y * exaggeration_) / std::min(size_.x, size_.y);
    const double largest = std::max(glm::length(reach_.minimum), glm::length(reach_.maximum));
    const double least = largest * LeastPixel;
    pixelWidth_ = std::clamp(pixelWidth_, least, std::max(least, most));
    middle_ = glm::clamp(middle_, reach_.minimum, reach_.maximum);
}

} // namespace corvane

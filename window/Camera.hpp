// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "network/Stroke.hpp"
#include "picture/PointRaster.hpp"

#include <array>
#include <glm/vec2.hpp>

namespace corvane {

/// A rectangle of places; empty until one is put in.
struct PlaceBox {
    glm::dvec2 minimum{std::numeric_limits<double>::infinity()};
    glm::dvec2 maximum{-std::numeric_limits<double>::infinity()};

    bool empty() const { return !(minimum.x <= maximum.x && minimum.y <= maximum.y); }
    void include(const glm::dvec2& place) {
        minimum = glm::min(minimum, place);
        maximum = glm::max(maximum, place);
    }
};

/// What a view shows: on what strokes are drawn, which place is in the middle, and how large a pixel is.
///
/// Places are those of strokes (Stroke::View): x and y from above, distance and height in a profile. Pixels are logical
/// ones, from the upper left corner, y down.
class Camera {
public:
    Camera() = default;

    /// From above or a profile. `expressible` is as far as the survey's numbers reach.
    Camera(Stroke::View on, const Sextant::BoundingBox& expressible);

    const Stroke::View& on() const { return on_; }
    bool isProfile() const { return std::holds_alternative<Stroke::Profile>(on_); }
    const Sextant::View& view() const { return view_; }

    void resize(const glm::dvec2& pixels);
    const glm::dvec2& size() const { return size_; }

    glm::dvec2 placeAt(const glm::dvec2& pixel) const;
    glm::dvec2 pixelAt(const glm::dvec2& place) const;

    /// The place at which a position is seen.
    glm::dvec2 placeOf(const Sextant::PhysicalSpace::point& position) const;

    /// How deep it is there, as strokes have it: the height from above, in a profile the distance to the left of the
    /// line.
    double depthOf(const Sextant::PhysicalSpace::point& position) const;

    /// From so far below to so far above a depth, in a profile no farther than it shows.
    std::array<double, 2> depthsAround(double depth, double reach) const;

    /// Such a depth as the screen has it.
    double depthOnScreen(double depth) const;

    /// Whether a position is in the slice; from above all are.
    bool holds(const Sextant::PhysicalSpace::point& position) const;

    /// Units of the survey in a pixel's width.
    double pixelWidth() const { return pixelWidth_; }

    /// How many times as long a unit of height is as one of distance; 1 from above.
    double exaggeration() const { return exaggeration_; }
    void setExaggeration(double times);

    /// Exaggerates so many times as much. What is at the pixel stays there.
    void stretch(double factor, const glm::dvec2& pixel);

    /// A factor above 1 shows more of less. What is at the pixel stays there.
    void zoom(double factor, const glm::dvec2& pixel);

    /// Moves the picture by so many pixels.
    void pan(const glm::dvec2& pixels);

    void centreOn(const glm::dvec2& place);

    /// Shows all of the box, with a margin; of one that is empty, or a single place, something around it.
    void fit(const PlaceBox& box);

    /// The rectangle that is seen.
    PlaceBox seen() const;

    /// The same section of another profile.
    Camera along(const Stroke::Profile& profile, const Sextant::BoundingBox& expressible) const;

    /// For drawing, at so many pixels of the device in a logical one.
    Screen screen(double ratio) const;

private:
    glm::dvec2 pixel() const { return {pixelWidth_, pixelWidth_ / exaggeration_}; } // in places
    glm::dvec2 onScreen(const glm::dvec2& place) const;
    void keepWithin();

    Stroke::View on_;
    Sextant::View view_;
    PlaceBox reach_;       // of places that there can be
    glm::dvec2 size_{1};   // logical pixels
    glm::dvec2 middle_{0}; // a place
    double pixelWidth_ = 1, exaggeration_ = 1;
};

} // namespace corvane

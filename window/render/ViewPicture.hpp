// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/Shading.hpp"
#include "render/Renderer.hpp"

#include <functional>
#include <memory>

namespace corvane {

/// How fast points are drawn here, as far as it was seen.
class DrawingSpeed {
public:
    /// Points that can be drawn in so many seconds.
    double pointsIn(double seconds) const { return seconds * perSecond_; }
    void note(std::uint64_t points, double seconds);

private:
    double perSecond_ = 5e7;
};

/// The picture of one view on its way: what was asked for, what is drawn of it, and how it is shown. Of the render
/// thread.
class ViewPicture {
public:
    explicit ViewPicture(int view) : view_(view) {}

    /// What is to be shown from now on. Keeps what was drawn where it is the same points on the same screen.
    void ask(const PictureRequest& request);

    /// What there is to draw now.
    void take(const std::shared_ptr<const PointStore::Stock>& stock);

    /// Draws the next points, until it is told to stop, which the first ones of a picture are not.
    void draw(Team& team, DrawingSpeed& speed, const std::function<bool()>& stop);

    /// Whether all points of the stock are in.
    bool complete() const;

    /// The picture as it is now; null when it is as it was the last time, or worse than it.
    PicturePtr finish(Team& team);

private:
    void begin();
    double nextStage(const Canvas& canvas, double points) const;
    bool relights(const Look& look) const;
    void light(Team& team);

    int view_;
    PictureRequest request_;
    Screen screen_; // that is drawn
    std::shared_ptr<const PointStore::Stock> stock_;
    std::unique_ptr<Canvas> canvas_;
    std::unique_ptr<Canvas> next_; // takes its place when as much is drawn of it: what was drawn does not stand
    double perPixel_ = 0;          // points that are drawn, for each pixel
    bool relight_ = true, reshade_ = true;
    LitPixels lit_;
    std::uint64_t litPoints_ = 0; // drawn at that time
    bool toldComplete_ = false;
};

} // namespace corvane

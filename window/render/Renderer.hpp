// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/Look.hpp"
#include "picture/Shading.hpp"
#include "render/PointStore.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace corvane {

/// What a view is to show.
struct PictureRequest {
    std::uint64_t number = 0; ///< of the request; comes back with its pictures
    Screen screen;
    Look look;
    bool moving = false;  ///< another one follows soon: a picture of what can be drawn in 33 ms suffices
    bool patient = false; ///< waits a little until what was replaced is there, and shows all of it at once
};

/// A picture of a view. Never changed once it is handed out.
struct FinishedPicture {
    int view = 0;
    std::uint64_t request = 0;
    Screen screen; ///< that it was drawn with; while moving it may have half the width and height that were asked for
    Grid<Colour> pixels; ///< 0xAARRGGBB, row by row from above
    std::shared_ptr<const ShownPoints> points;
    bool complete = false;              ///< nothing more is to come for this request
    bool sample = false;                ///< shows a sample of the survey where its points are not there yet
    std::uint64_t drawn = 0, total = 0; ///< points of the fragments that are on the screen
};
using PicturePtr = std::shared_ptr<const FinishedPicture>;

/// The point that a pixel shows.
struct PickedPoint {
    std::uint32_t fragment = 0;                ///< DrawnFragment::Sample for one that is known from a sample only
    std::size_t point = 0;                     ///< its number in the fragment
    Sextant::PhysicalSpace::point position{0}; ///< exact where fragments are smaller than 2 million units
    std::optional<int> value;                  ///< its class, where that is loaded
};

/// The point under a pixel of the picture, else the one that is nearest to it within so many pixels. Takes
/// microseconds, from any thread.
std::optional<PickedPoint> pick(const FinishedPicture& picture, int column, int row, int radius = 8);

/// Draws for all views, on one thread and the workers that it has.
///
/// The newest request of a view counts, and the active view goes first. The first picture of a request is there at
/// once; as long as no other comes, further points are drawn into it until all are in. A request that differs in the
/// look only, and columns that were replaced, cost no drawing.
class Renderer {
public:
    /// Hears of each picture, on the render thread; must not block.
    using Finished = std::function<void(const PicturePtr&)>;

    /// Hears, likewise, why there is no picture: a finished sentence. The next request is tried all the same.
    using Failed = std::function<void(const std::string&)>;

    /// The store must live longer, and has one renderer. `threads` draw, the render thread included. No request waits
    /// longer than `patience`.
    Renderer(PointStore& store, Finished finished, Failed failed, unsigned threads,
             std::chrono::milliseconds patience = std::chrono::milliseconds(100));
    ~Renderer(); ///< stops
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    /// Throws std::invalid_argument for a screen that PointRaster does not take. Does not wait.
    void request(int view, PictureRequest request);

    /// The view that goes first.
    void activate(int view);

    /// No more pictures of this view, but for one that is on its way.
    void forget(int view);

    /// Ends the threads. No picture comes after it returned.
    void stop();

private:
    class Work;
    std::unique_ptr<Work> work_;
};

} // namespace corvane

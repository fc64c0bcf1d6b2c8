// SPDX-License-Identifier: Apache-2.0
#include "render/ViewPicture.hpp"

#include <algorithm>
#include <chrono>

namespace corvane {
namespace {

constexpr double FirstPerPixel = 4;                 // points: more do not make a better picture at once
constexpr double FirstSeconds = 0.025;              // for drawing, so that with shading there are 30 pictures a second
constexpr double StageSeconds = 0.2;                // for the points that are drawn before a picture is shown again
constexpr std::size_t MostMovingPixels = 3'000'000; // more than that are drawn at half the resolution

bool sameScreen(const Screen& a, const Screen& b) {
    return a.view == b.view && a.minimum == b.minimum && a.maximum == b.maximum && a.width == b.width &&
           a.height == b.height;
}

Screen drawnScreen(const PictureRequest& request) {
    Screen screen = request.screen;
    if (request.moving && screen.pixels() > MostMovingPixels) {
        screen.width = (screen.width + 1) / 2;
        screen.height = (screen.height + 1) / 2;
    }
    return screen;
}

double secondsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

void DrawingSpeed::note(std::uint64_t points, double seconds) {
    constexpr std::uint64_t few = 100'000; // say little
    if (points < few || !(seconds > 0)) return;
    perSecond_ = std::clamp(0.7 * perSecond_ + 0.3 * double(points) / seconds, 1e6, 1e10);
}

void ViewPicture::ask(const PictureRequest& request) {
    const Screen screen = drawnScreen(request);
    const bool sameFilter = canvas_ && filterFor(request.look) == (next_ ? *next_ : *canvas_).filter();
    // Where a limit is being moved, each step is drawn at once, and not unseen until it is dense.
    const bool sameCanvas = canvas_ && sameScreen(screen, screen_) && (sameFilter || !request.moving);
    relight_ = relight_ || !sameCanvas || relights(request.look);
    reshade_ = true;
    request_ = request;
    screen_ = screen;
    if (!sameCanvas) {
        canvas_ = std::make_unique<Canvas>(screen_, filterFor(request.look));
        next_.reset();
        perPixel_ = 0;
    } else if (!sameFilter) {
        begin();
    }
    if (stock_) take(stock_);
}

/// The same picture anew, unseen until it is as dense.
void ViewPicture::begin() {
    next_ = std::make_unique<Canvas>(screen_, filterFor(request_.look));
    if (stock_) next_->take(stock_->fragments);
}

void ViewPicture::take(const std::shared_ptr<const PointStore::Stock>& stock) {
    reshade_ = reshade_ || stock != stock_;
    stock_ = stock;
    if (next_ && !next_->take(stock->fragments)) begin();
    if (!next_ && (!canvas_->take(stock->fragments) || (stock->complete && !canvas_->inOrder()))) begin();
}

/// For each pixel so many points that no more than those are missing.
double ViewPicture::nextStage(const Canvas& canvas, double points) const {
    if (perPixel_ == 0) {
        const double missing = double(canvas.missing(FirstPerPixel));
        return missing > points ? FirstPerPixel * points / missing : FirstPerPixel;
    }
    if (double(canvas.missing(Canvas::AllPoints)) <= points) return Canvas::AllPoints;
    double stage = 2 * perPixel_;
    while (double(canvas.missing(2 * stage)) <= points) stage *= 2;
    return stage;
}

void ViewPicture::draw(Team& team, DrawingSpeed& speed, const std::function<bool()>& stop) {
    const auto begun = std::chrono::steady_clock::now();
    std::uint64_t drawn = 0;
    if (next_) {
        drawn = next_->draw(std::max(perPixel_, FirstPerPixel), team, stop);
        if (next_->missing(std::max(perPixel_, FirstPerPixel)) == 0) {
            canvas_ = std::move(next_);
            perPixel_ = std::max(perPixel_, FirstPerPixel);
            relight_ = true;
        }
    } else if (perPixel_ == 0) {
        perPixel_ = nextStage(*canvas_, speed.pointsIn(FirstSeconds));
        drawn = canvas_->draw(perPixel_, team);
    } else if (canvas_->missing(perPixel_) > 0) { // of what came since
        drawn = canvas_->draw(perPixel_, team, stop);
    } else {
        const double stage = nextStage(*canvas_, speed.pointsIn(StageSeconds));
        drawn = canvas_->draw(stage, team, stop);
        if (canvas_->missing(stage) == 0) perPixel_ = stage;
    }
    speed.note(drawn, secondsSince(begun));
}

bool ViewPicture::complete() const { return !next_ && stock_ && canvas_->complete(); }

bool ViewPicture::relights(const Look& look) const {
    const Look& before = request_.look;
    return look.grow != before.grow || look.eyeDome != before.eyeDome ||
           look.eyeDomeStrength != before.eyeDomeStrength || look.surface != before.surface;
}

void ViewPicture::light(Team& team) {
    if (!relight_ && litPoints_ == canvas_->drawn()) return;
    lit_ = litPixels(screen_, canvas_->pixels(), request_.look, &team);
    litPoints_ = canvas_->drawn();
    relight_ = false;
    reshade_ = true;
}

PicturePtr ViewPicture::finish(Team& team) {
    if (next_) return nullptr;
    light(team);
    const bool isComplete = complete() && stock_->complete && sameScreen(screen_, request_.screen);
    if (!reshade_ && isComplete == toldComplete_) return nullptr;
    reshade_ = false;
    toldComplete_ = isComplete;
    auto shown = std::make_shared<ShownPoints>();
    shown->screen = screen_;
    shown->pixels = lit_.pixels;
    shown->numbers = std::make_shared<const PointNumbers>(canvas_->numbers());
    shown->fragments = canvas_->fragments();
    auto picture = std::make_shared<FinishedPicture>();
    picture->view = view_;
    picture->request = request_.number;
    picture->screen = screen_;
    picture->pixels = shaded(*shown, lit_.light, request_.look, &team);
    picture->complete = isComplete;
    picture->sample = std::ranges::any_of(
        shown->fragments, [](const auto& fragment) { return fragment->number == DrawnFragment::Sample; });
    picture->drawn = canvas_->drawn();
    picture->total = canvas_->total();
    picture->points = std::move(shown);
    return picture;
}

} // namespace corvane

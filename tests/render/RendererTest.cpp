// SPDX-License-Identifier: Apache-2.0
#include "render/Renderer.hpp"

#include "Survey.hpp"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <map>
#include <new>
#include <set>

namespace corvane::test {
namespace {

constexpr int Width = 120, Height = 100;

Screen plan(double x = 0, double y = 0, double size = 120) {
    static const auto view = Sextant::View::fromAbove({{500'000, 5'200'000, 400}, {500'200, 5'200'100, 410}});
    return {view, view.project({500'000 + x, 5'200'000 + y, 0}),
            view.project({500'000 + x + size, 5'200'000 + y + size * Height / Width, 0}), Width, Height};
}

std::shared_ptr<const std::vector<Colour>> palette() {
    auto colours = std::make_shared<std::vector<Colour>>();
    for (Colour code = 0; code < 40; ++code) colours->push_back(0xff000000 | code * 0x050403);
    return colours;
}

PictureRequest requestFor(std::uint64_t number, const Screen& screen) {
    PictureRequest request{.number = number, .screen = screen, .look = {}, .moving = false};
    request.look.palette = palette();
    return request;
}

/// How many pixels differ.
std::size_t differing(const Grid<Colour>::Cells& one, const Grid<Colour>::Cells& other) {
    if (one.size() != other.size()) return std::max(one.size(), other.size());
    std::size_t count = 0;
    for (std::size_t i = 0; i < one.size(); ++i) count += one[i] != other[i];
    return count;
}

/// A store and a renderer, and the last picture of each view.
class Window {
public:
    explicit Window(unsigned threads = 2, std::chrono::milliseconds patience = std::chrono::milliseconds(100))
        : store_({.memoryBytes = std::size_t{1} << 30,
                  .threads = 2,
                  .unit = Point(Unit),
                  .changed = [this] { told_.tell(); },
                  .failed = [this](const std::string& text) { told_.tell(text); }}),
          owned_(std::make_unique<Renderer>(
              store_, [this](const PicturePtr& picture) { take(picture); },
              [this](const std::string& text) { told_.tell(text); }, threads, patience)) {}
    ~Window() {
        store_.stop(); // and calls nobody any more
        owned_.reset();
    }

    PointStore& store() { return store_; }
    Renderer& renderer() { return *owned_; }

    PicturePtr last(int view) {
        const std::lock_guard lock(mutex_);
        return last_[view];
    }
    std::size_t pictures() {
        const std::lock_guard lock(mutex_);
        return pictures_;
    }
    /// Whether a picture of the request has shown a part of what there is.
    bool cameInParts(std::uint64_t request) {
        const std::lock_guard lock(mutex_);
        return inParts_.contains(request);
    }

    /// There is no memory for the next picture.
    void runShort() { short_ = true; }
    bool waitedForWords() {
        return told_.until([&] { return !told().empty(); });
    }
    std::vector<std::string> told() { return told_.texts(); }

    /// The picture when nothing more is to come; null when it does not come.
    PicturePtr completed(int view, const PictureRequest& request) {
        renderer().request(view, request);
        return waited(view, request.number);
    }
    PicturePtr waited(int view, std::uint64_t number) {
        const bool came = told_.until([&] {
            const PicturePtr picture = last(view);
            return picture && picture->request == number && picture->complete;
        });
        return came ? last(view) : nullptr;
    }

private:
    void take(const PicturePtr& picture) {
        if (short_.exchange(false)) throw std::bad_alloc();
        {
            const std::lock_guard lock(mutex_);
            last_[picture->view] = picture;
            ++pictures_;
            if (!picture->complete) inParts_.insert(picture->request);
        }
        told_.tell();
    }

    std::atomic<bool> short_ = false;
    std::mutex mutex_;
    std::map<int, PicturePtr> last_;
    std::size_t pictures_ = 0;
    std::set<std::uint64_t> inParts_;
    Told told_;
    PointStore store_;
    std::unique_ptr<Renderer> owned_;
};

TEST(Renderer, showsEveryPointWhereItIsAndKnowsWhichOneItIs) {
    const auto fragments = strips(6, 4000);
    Window window;
    window.store().load(sourcesOf(fragments));
    PictureRequest request = requestFor(7, plan());
    request.look.eyeDome = false;
    request.look.grow = 0;
    const PicturePtr picture = window.completed(0, request);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->total, 6 * 4000u + 15);
    EXPECT_EQ(picture->drawn, picture->total);
    EXPECT_FALSE(picture->sample);
    std::size_t shown = 0;
    for (int row = 0; row < Height; ++row)
        for (int column = 0; column < Width; ++column) {
            const auto picked = pick(*picture, column, row, 0);
            const Colour colour = picture->pixels.at(column, row);
            if (!picked) {
                EXPECT_EQ(colour, request.look.background);
                continue;
            }
            ++shown;
            ASSERT_LT(picked->fragment, fragments.size());
            const Point& point = fragments[picked->fragment][picked->point];
            EXPECT_LT(glm::distance(point, picked->position), 1e-6);
            const glm::dvec2 place = (glm::dvec2(point) - glm::dvec2(500'000, 5'200'000)); // a pixel a metre
            EXPECT_NEAR(place.x, column + 0.5, 0.501);
            EXPECT_NEAR(Height - place.y, row + 0.5, 0.501);
            EXPECT_EQ(colour, (*request.look.palette)[classAt(picked->fragment, picked->point)]);
        }
    EXPECT_GT(shown, 8000u);
    EXPECT_FALSE(pick(*picture, -50, -50, 8));
    const auto outside = pick(*picture, -3, 50, 8);
    ASSERT_TRUE(outside) << "the nearest one within the radius";
    EXPECT_LT(outside->position.x, 500'005);
}

TEST(Renderer, showsNothingOfNothing) {
    Window window;
    const PicturePtr empty = window.completed(3, requestFor(1, plan()));
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->drawn, 0u);
    for (const Colour colour : empty->pixels.cells) EXPECT_EQ(colour, Look{}.background);
    EXPECT_FALSE(pick(*empty, 5, 5, 100));
    Screen wrong = plan();
    wrong.width = 0;
    EXPECT_THROW(window.renderer().request(3, requestFor(2, wrong)), std::invalid_argument);
}

/// Whatever happened before, a complete picture is that of a window which was opened just now.
TEST(Renderer, endsWithThePictureThatIsDrawnAnew) {
    const auto fragments = strips(6, 4000);
    auto sources = [&](std::uint8_t more) {
        auto all = sourcesOf(fragments);
        all[2].columns[column::Class] = {classesOf(2, fragments[2].size(), more)};
        std::ranges::reverse(all); // in whatever order they are handed over
        return all;
    };
    const auto anew = [&](const PictureRequest& request, std::uint8_t more) {
        Window fresh(1);
        fresh.store().load(sources(more));
        const PicturePtr picture = fresh.completed(0, request);
        return picture ? picture->pixels.cells : Grid<Colour>::Cells();
    };
    Window window(3);
    window.store().showSample(fragments[0], {});
    window.renderer().request(0, requestFor(1, plan(10, 10, 50)));
    window.store().load(sources(0));
    PictureRequest request = requestFor(2, plan());
    PicturePtr picture = window.completed(0, request);
    ASSERT_TRUE(picture);
    EXPECT_EQ(differing(picture->pixels.cells, anew(request, 0)), 0u) << "the sample has left nothing";

    const auto edit = [&](std::uint8_t more) {
        window.store().replace(column::Class, {{2, {classesOf(2, fragments[2].size(), more)}}});
    };
    edit(9);
    picture = window.completed(0, request = requestFor(3, plan()));
    ASSERT_TRUE(picture);
    EXPECT_EQ(differing(picture->pixels.cells, anew(request, 9)), 0u) << "after an edit";

    request = requestFor(4, plan());
    request.look.hidden.classes = {0, 1, 0, 1, 1};
    picture = window.completed(0, request);
    ASSERT_TRUE(picture);
    EXPECT_EQ(differing(picture->pixels.cells, anew(request, 9)), 0u) << "with hidden classes";
    edit(1);
    request.number = 5;
    picture = window.completed(0, request);
    ASSERT_TRUE(picture);
    EXPECT_EQ(differing(picture->pixels.cells, anew(request, 1)), 0u) << "after an edit that hides others";

    request = requestFor(6, plan(30, 0, 60));
    request.look.surface = {2, 3};
    picture = window.completed(0, request);
    ASSERT_TRUE(picture);
    EXPECT_EQ(differing(picture->pixels.cells, anew(request, 1)), 0u) << "as a surface, elsewhere";
    request = requestFor(7, plan(30, 0, 60));
    request.look.by = ColourBy::Height;
    request.look.range = {400, 405};
    request.moving = true;
    window.renderer().request(0, request);
    request.number = 8;
    request.moving = false;
    picture = window.completed(0, request);
    ASSERT_TRUE(picture);
    EXPECT_EQ(differing(picture->pixels.cells, anew(request, 1)), 0u);
}

TEST(Renderer, shadesAgainWithoutDrawingWhereOnlyTheLookDiffers) {
    const auto fragments = strips(3, 3000);
    Window window;
    window.store().load(sourcesOf(fragments));
    const PicturePtr first = window.completed(0, requestFor(1, plan()));
    ASSERT_TRUE(first);
    PictureRequest request = requestFor(2, plan());
    request.look.by = ColourBy::Height;
    request.look.range = {400, 405};
    const PicturePtr second = window.completed(0, request);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->points->pixels, first->points->pixels) << "the same ones";
    EXPECT_NE(second->pixels.cells, first->pixels.cells);
}

TEST(Renderer, goesOnWhenThereWasNoMemory) {
    Window window;
    window.store().load(sourcesOf(strips(3, 3000)));
    ASSERT_TRUE(window.completed(0, requestFor(1, plan())));
    window.runShort();
    window.renderer().request(0, requestFor(2, plan(30)));
    ASSERT_TRUE(window.waitedForWords());
    EXPECT_NE(window.told().front().find("could not be drawn"), std::string::npos);
    EXPECT_TRUE(window.completed(0, requestFor(3, plan(30))));
}

/// What an edit changed is shown at once and in one picture, though it comes fragment by fragment. A machine that is
/// busy may let it wait in vain now and then.
TEST(Renderer, waitsForWhatWasReplaced) {
    const auto fragments = strips(12, 3000);
    Window window(2, std::chrono::hours(1));
    window.store().load(sourcesOf(fragments));
    ASSERT_TRUE(window.completed(0, requestFor(1, plan())));
    for (std::uint8_t turn = 1; turn <= 10; ++turn) {
        std::vector<std::pair<std::uint32_t, PointStore::Arrays>> replaced;
        for (std::uint32_t i = 0; i < fragments.size(); ++i)
            replaced.push_back({i, {classesOf(i, fragments[i].size(), turn)}});
        window.store().replace(column::Class, std::move(replaced));
        PictureRequest request = requestFor(turn + 1U, plan());
        request.patient = true;
        ASSERT_TRUE(window.completed(0, request)) << int(turn);
        EXPECT_FALSE(window.cameInParts(request.number)) << int(turn);
    }
}

/// Requests of several views, edits and other columns at random; each picture shows one request, the last one comes,
/// and is right.
TEST(Renderer, weathersAStormOfRequests) {
    const auto fragments = strips(6, 3000);
    Window window(3);
    window.store().load(sourcesOf(fragments));
    std::mt19937 random(11);
    std::array<PictureRequest, 3> latest;
    for (std::uint64_t number = 1; number <= 300; ++number) {
        const int view = int(random() % 3);
        PictureRequest request = requestFor(
            number, plan(double(random() % 4) * 10, double(random() % 3) * 10, 40 + double(random() % 3) * 30));
        request.moving = random() % 2 == 0;
        request.patient = random() % 3 == 0;
        if (random() % 3 == 0) request.look.hidden.classes = {0, 1, std::uint8_t(random() % 2)};
        if (random() % 4 == 0) request.look.by = ColourBy::Height;
        if (random() % 8 == 0) request.look.surface = {2};
        if (random() % 20 == 0) window.renderer().activate(view);
        if (random() % 40 == 0) window.renderer().forget(view);
        if (random() % 30 == 0) window.store().load(sourcesOf(fragments));
        if (random() % 10 == 0)
            window.store().replace(column::Class,
                                   {{1, {classesOf(1, fragments[1].size(), std::uint8_t(random() % 9))}}});
        if (const PicturePtr picture = window.last(view)) pick(*picture, int(random() % Width), int(random() % Height));
        window.renderer().request(view, request);
        latest[std::size_t(view)] = request;
        if (random() % 5 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(random() % 8));
    }
    window.store().replace(column::Class, {{1, {classesOf(1, fragments[1].size(), 2)}}});
    for (int view = 0; view < 3; ++view) {
        PictureRequest request = latest[std::size_t(view)];
        request.number = 1000 + std::uint64_t(view);
        const PicturePtr picture = window.completed(view, request);
        ASSERT_TRUE(picture) << view;
        Window fresh(1);
        auto sources = sourcesOf(fragments);
        sources[1].columns[column::Class] = {classesOf(1, fragments[1].size(), 2)};
        fresh.store().load(std::move(sources));
        const PicturePtr expected = fresh.completed(view, request);
        ASSERT_TRUE(expected);
        EXPECT_EQ(differing(picture->pixels.cells, expected->pixels.cells), 0u) << view;
    }
    const std::size_t before = window.pictures();
    window.renderer().stop();
    window.renderer().request(0, requestFor(5000, plan()));
    EXPECT_LE(window.pictures(), before + 1);
}

} // namespace
} // namespace corvane::test

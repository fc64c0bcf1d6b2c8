// SPDX-License-Identifier: Apache-2.0
#include "Survey.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <thread>

namespace corvane::test {
namespace {

PointStore::Options optionsFor(Told& told, unsigned threads = 2) {
    return {.memoryBytes = std::size_t{1} << 30,
            .threads = threads,
            .unit = Point(Unit),
            .changed = [&told] { told.tell(); },
            .failed = [&told](const std::string& text) { told.tell(text); }};
}

std::uint32_t codeAt(const DrawnFragment& fragment, std::size_t place) {
    return std::get<DrawnColumn::Bytes>(fragment.column(column::Class)->values)[place];
}

TEST(PointStore, packsEveryPointWithItsClassInTheOrderOfDrawing) {
    const auto fragments = strips(9, 3000);
    Told told;
    PointStore store(optionsFor(told));
    EXPECT_TRUE(complete(store));
    store.load(sourcesOf(fragments));
    ASSERT_TRUE(told.until([&] { return complete(store); }));
    const auto stock = store.stock();
    ASSERT_EQ(stock->fragments.size(), fragments.size());
    for (const auto& fragment : stock->fragments) {
        const Points& points = fragments[fragment->number];
        ASSERT_EQ(fragment->drawable(), points.size());
        std::set<std::size_t> seen;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const std::size_t point = fragment->pointAt(i);
            seen.insert(point);
            EXPECT_LT(glm::distance(fragment->packed->position(i), points[point]), 1e-6);
            EXPECT_EQ(codeAt(*fragment, i), classAt(fragment->number, point));
        }
        EXPECT_EQ(seen.size(), points.size());
    }
    const auto progress = store.progress();
    EXPECT_EQ(progress.drawable, progress.points);
    EXPECT_LE(progress.bytes, 11 * progress.points);
}

TEST(PointStore, makesOnlyTheColumnAnewAfterAnEdit) {
    const auto fragments = strips(6, 2000);
    Told told;
    PointStore store(optionsFor(told));
    store.load(sourcesOf(fragments));
    ASSERT_TRUE(told.until([&] { return complete(store); }));
    const auto before = store.stock();
    store.replace(column::Class, {{2, {classesOf(2, fragments[2].size(), 10)}},
                                  {5, {classesOf(5, fragments[5].size(), 20)}},
                                  {77, {classesOf(0, 10)}}});
    store.replace(column::Mask, {{2, {arrayOf(std::vector<std::uint8_t>(fragments[2].size(), 255))}}, {3, {}}});
    EXPECT_FALSE(complete(store));
    ASSERT_TRUE(told.until([&] { return complete(store); }));
    const auto after = store.stock();
    EXPECT_NE(before->version, after->version);
    for (std::size_t f = 0; f < fragments.size(); ++f) {
        const auto &was = before->fragments[f], &is = after->fragments[f];
        EXPECT_EQ(is->packed, was->packed) << "no point is packed again";
        const std::uint32_t more = is->number == 2 ? 10 : is->number == 5 ? 20 : 0;
        for (std::size_t i = 0; i < is->drawable(); i += 17) EXPECT_EQ(codeAt(*is, i), codeAt(*was, i) + more);
        EXPECT_EQ(is->column(column::Mask) != nullptr, is->number == 2);
    }
    store.forget(column::Mask);
    EXPECT_FALSE(store.stock()->fragments[2]->column(column::Mask));
}

TEST(PointStore, reportsAFailureOnceAndGoesOn) {
    const auto fragments = strips(8, 1000);
    auto sources = sourcesOf(fragments);
    sources[1].positions = brokenArray(1001, "survey.las: it has gone.");
    sources[4].positions = brokenArray(1004, "survey.las: it has gone.");
    sources[6].columns[column::Class] = {classesOf(6, 5)}; // too few
    Told told;
    PointStore store(optionsFor(told));
    store.showSample(fragments[1], {});
    store.load(std::move(sources));
    ASSERT_TRUE(told.until([&] { return complete(store); }));
    EXPECT_EQ(told.texts().size(), 1u);
    EXPECT_EQ(store.progress().failed, 3u);
    EXPECT_EQ(store.progress().loaded, 5u);
    EXPECT_TRUE(store.progress().sample) << "as long as there is nothing better";

    store.replace(column::Class, {{0, {brokenArray(1000, "gone")}}});
    ASSERT_TRUE(told.until([&] { return complete(store); }));
    const auto first = [&] { return store.stock()->fragments.front(); };
    EXPECT_EQ(first()->drawable(), 1000u) << "what was there stays";
    store.replace(column::Class, {{0, {classesOf(0, 1000, 3)}}});
    ASSERT_TRUE(told.until([&] { return complete(store); }));
    const auto replaced = first();
    EXPECT_EQ(codeAt(*replaced, 0), classAt(0, replaced->pointAt(0)) + 3u);
}

TEST(PointStore, keepsWithinItsMemoryByShorterBeginnings) {
    const auto fragments = strips(20, 5000);
    Told told;
    auto options = optionsFor(told);
    options.memoryBytes = 300'000; // of 900,000
    PointStore store(options);
    store.load(sourcesOf(fragments));
    ASSERT_TRUE(told.until([&] { return complete(store); }));
    auto stock = store.stock();
    ASSERT_EQ(stock->fragments.size(), fragments.size());
    for (const auto& fragment : stock->fragments) EXPECT_NEAR(double(fragment->drawable()), 1400, 300);
    EXPECT_LE(store.progress().bytes, options.memoryBytes);

    const auto view = Sextant::View::fromAbove({{500'000, 5'200'000, 400}, {500'400, 5'200'100, 410}});
    store.prefer({{view, view.project({500'000, 5'200'000, 400}), view.project({500'039, 5'200'100, 400}), 80, 200}});
    ASSERT_TRUE(told.until([&] { return complete(store); }));
    stock = store.stock();
    EXPECT_EQ(stock->fragments[0]->drawable(), fragments[0].size()) << "what is shown has more";
    EXPECT_EQ(stock->fragments[1]->drawable(), fragments[1].size());
    EXPECT_GT(stock->fragments[9]->drawable(), 600u);
    EXPECT_LE(store.progress().bytes, options.memoryBytes);
    for (const auto& fragment : stock->fragments)
        EXPECT_GE(fragment->column(column::Class)->size(), fragment->drawable());
}

TEST(PointStore, leavesOutPointsThatAreNowhere) {
    auto fragments = strips(1, 1000);
    for (std::size_t i = 0; i < 1000; i += 10) fragments[0][i].z = i % 20 == 0 ? NAN : INFINITY;
    Told told;
    PointStore store(optionsFor(told));
    store.load(sourcesOf(fragments));
    ASSERT_TRUE(told.until([&] { return complete(store); }));
    const auto stock = store.stock();
    const DrawnFragment& fragment = *stock->fragments.front();
    EXPECT_EQ(fragment.drawable(), 900u);
    for (std::size_t i = 0; i < fragment.drawable(); ++i) {
        EXPECT_NE(fragment.pointAt(i) % 10, 0u);
        EXPECT_EQ(codeAt(fragment, i), classAt(0, fragment.pointAt(i)));
    }
}

TEST(PointStore, showsASampleUntilAllFragmentsAreThere) {
    const auto fragments = strips(3, 1000);
    Told told;
    PointStore store(optionsFor(told));
    const std::vector<std::uint16_t> classes(fragments[0].size(), 300);
    store.showSample(fragments[0], classes);
    ASSERT_EQ(store.stock()->fragments.size(), 1u);
    EXPECT_EQ(store.stock()->fragments.front()->number, DrawnFragment::Sample);
    store.load(sourcesOf(fragments));
    ASSERT_TRUE(told.until([&] { return complete(store); }));
    EXPECT_EQ(store.stock()->fragments.size(), 3u);
    EXPECT_FALSE(store.progress().sample);
}

/// Loading, edits and views of other surveys, stopped at any moment; sanitizers look at the rest.
TEST(PointStore, stopsAndStartsAnewAtAnyMoment) {
    const auto fragments = strips(12, 400);
    std::mt19937 random(3);
    for (int round = 0; round < 40; ++round) {
        Told told;
        PointStore store(optionsFor(told, 1 + round % 3));
        std::jthread reader([&](std::stop_token stop) {
            while (!stop.stop_requested()) {
                const auto stock = store.stock();
                for (const auto& fragment : stock->fragments)
                    EXPECT_GE(fragment->column(column::Class)->size(), fragment->drawable());
                store.progress();
            }
        });
        for (int call = 0; call < 12; ++call) {
            const auto number = static_cast<std::uint32_t>(random() % fragments.size());
            switch (random() % 4) {
            case 0:
                store.load(sourcesOf(fragments));
                break;
            case 1:
                store.replace(column::Class, {{number, {classesOf(number, fragments[number].size(), 1)}}});
                break;
            case 2:
                store.forget(column::Mask);
                break;
            default:
                store.replace(column::Mask,
                              {{number, {arrayOf(std::vector<std::uint8_t>(fragments[number].size(), 1))}}});
            }
        }
        if (round % 2 == 0) {
            EXPECT_TRUE(told.until([&] { return complete(store); }));
        }
        store.stop();
        EXPECT_TRUE(complete(store));
    }
}

} // namespace
} // namespace corvane::test

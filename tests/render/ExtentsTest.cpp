// SPDX-License-Identifier: Apache-2.0
#include "render/Extents.hpp"

#include "Survey.hpp"
#include "render/FragmentLoader.hpp"
#include "render/MemoryPlan.hpp"

#include <gtest/gtest.h>
#include <numeric>

namespace corvane::test {
namespace {

void expectSane(const Sextant::BoundingBox& box) {
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_TRUE(std::isfinite(box.minimum[axis]) && std::isfinite(box.maximum[axis]));
        EXPECT_GT(box.maximum[axis], box.minimum[axis]);
    }
    const auto view = Sextant::View::fromAbove(box);
    EXPECT_TRUE(isFinite(view.unproject(view.project(box.minimum))));
}

TEST(Extents, showAllPointsButAFewStrayOnes) {
    Points points = strips(1, 50'000).front();
    points.push_back({500'010, 5'200'050, 10'400});
    points.push_back({0, 0, 0});
    points.push_back({NAN, INFINITY, 0});
    for (const auto& box : {boxToShow(points), boxToShow(sampleFragments(points, {}, Point(Unit)))}) {
        expectSane(box);
        EXPECT_NEAR(box.minimum.x, 500'000, 1);
        EXPECT_NEAR(box.maximum.y, 5'200'100, 1);
        EXPECT_NEAR(box.maximum.z, 405, 0.1);
    }
    const auto heights = heightRange(sampleFragments(points, {}, Point(Unit)));
    ASSERT_TRUE(heights);
    EXPECT_NEAR(heights->first, 400.05, 0.05);
    EXPECT_NEAR(heights->second, 404.95, 0.05);
}

TEST(Extents, haveAnExtentWhateverThereIs) {
    expectSane(boxToShow(Points{}));
    expectSane(boxToShow(DrawnFragments{}));
    expectSane(boxToShow(Points{{5e6, 5e6, 0}}));
    expectSane(boxToShow(Points(1000, Point(5e9, -5e9, 1e9))));
    expectSane(boxToShow(Points{{7.123456, 47.1, 0}, {7.123457, 47.1, 0}})); // degrees
    EXPECT_FALSE(heightRange({}));
    const auto flat = heightRange(sampleFragments(Points(10, Point(1, 2, 3)), {}, Point(Unit)));
    ASSERT_TRUE(flat);
    EXPECT_LT(flat->first, flat->second);
    EXPECT_FALSE(columnRange(sampleFragments(Points(10, Point(1, 2, 3)), {}, Point(Unit)), "Amplitude"));
}

TEST(MemoryPlan, leavesNoFragmentOutAndStaysWithinTheMemory) {
    std::vector<PlannedFragment> fragments(100, {100'000, 9, false});
    for (std::size_t i = 0; i < 10; ++i) fragments[i].shown = true;
    const auto bytes = [&](const std::vector<std::size_t>& kept) {
        double sum = 0;
        for (std::size_t i = 0; i < kept.size(); ++i) sum += fragments[i].bytes * double(kept[i]);
        return sum;
    };
    for (const std::size_t memory : {90'000'000ul, 60'000'000ul, 20'000'000ul, 5'000'000ul, 100ul}) {
        const auto kept = pointsWithin(memory, fragments);
        if (memory > 1000) {
            EXPECT_LE(bytes(kept), double(memory));
            EXPECT_GE(bytes(kept), 0.99 * double(memory)) << "what there is is used";
        }
        EXPECT_GE(kept[0], kept[50]) << "what is shown goes first";
        EXPECT_GE(kept[50], 1u);
        if (memory == 20'000'000) {
            EXPECT_EQ(kept[0], 100'000u);
            EXPECT_GT(kept[50], 11'000u);
        }
    }
    fragments[3].points = 0;
    EXPECT_EQ(pointsWithin(100, fragments)[3], 0u);
    EXPECT_TRUE(pointsWithin(100, {}).empty());
}

TEST(MemoryPlan, leavesNumbersForEveryFragmentOfTheLargestSurvey) {
    constexpr std::size_t points = 131'072;
    for (const std::uint64_t fragments : {1ul, 32'767ul, 32'769ul, 10'000'000ul}) {
        const std::size_t numbered = numberedOf(points, fragments * points);
        EXPECT_GE(numbered, 1u);
        EXPECT_LT(numbered * fragments, 0xFFFF'FFFFu) << "none comes round";
    }
    EXPECT_EQ(numberedOf(points, 1000 * points), points);
    EXPECT_EQ(numberedOf(0, 1ul << 40), 0u);
}

} // namespace
} // namespace corvane::test

// SPDX-License-Identifier: Apache-2.0
#include "window/Drawing.hpp"
#include "window/Choices.hpp"

#include <gtest/gtest.h>

namespace corvane {
namespace {

constexpr double Fine = 0.5;

template <class Kind>
Kind drawn(const Drawing& drawing) {
    const auto outline = drawing.outline();
    EXPECT_TRUE(outline && std::holds_alternative<Kind>(*outline));
    return outline && std::holds_alternative<Kind>(*outline) ? std::get<Kind>(*outline) : Kind();
}

TEST(Drawing, isDraggedFromPressToRelease) {
    Drawing lasso(Tool::Lasso);
    lasso.move({9, 9}, Fine); // before anything was pressed
    EXPECT_FALSE(lasso.begun());
    lasso.press({0, 0});
    EXPECT_FALSE(lasso.outline());
    for (const glm::dvec2 place : {glm::dvec2(4, 0), glm::dvec2(4.1, 0), glm::dvec2(4, 4)}) lasso.move(place, Fine);
    lasso.release({0, 4}, Fine);
    EXPECT_TRUE(lasso.ended());
    EXPECT_EQ(drawn<Stroke::Lasso>(lasso).places, (Stroke::Places{{0, 0}, {4, 0}, {4, 4}, {0, 4}}));
    lasso.press({9, 9});
    lasso.move({8, 8}, Fine);
    EXPECT_EQ(lasso.places().size(), 4u); // what is ended stays

    Drawing rectangle(Tool::Rectangle);
    rectangle.press({1, 1});
    rectangle.move({3, 1}, Fine);
    EXPECT_FALSE(rectangle.outline()); // without a height
    rectangle.move({3, 5}, Fine);
    EXPECT_EQ(drawn<Stroke::Rectangle>(rectangle).opposite, glm::dvec2(3, 5));
    rectangle.release({2, 4}, Fine);
    EXPECT_EQ(drawn<Stroke::Rectangle>(rectangle).opposite, glm::dvec2(2, 4));

    Drawing circle(Tool::Circle);
    circle.press({1, 1});
    circle.release({4, 5}, Fine);
    EXPECT_DOUBLE_EQ(drawn<Stroke::Circle>(circle).radius, 5);

    Drawing click(Tool::Circle);
    click.press({1, 1});
    click.release({1, 1}, Fine);
    EXPECT_TRUE(click.ended());
    EXPECT_FALSE(click.outline()); // nothing was drawn

    Drawing dab(Tool::Paint, 2);
    dab.press({1, 1});
    dab.release({1.1, 1}, Fine);
    EXPECT_EQ(drawn<Stroke::Path>(dab).places.size(), 1u);
    EXPECT_DOUBLE_EQ(drawn<Stroke::Path>(dab).radius, 2);
}

TEST(Drawing, isDrawnPointByPointUntilItIsEnded) {
    Drawing polygon(Tool::Polygon);
    for (const glm::dvec2 place : {glm::dvec2(0, 0), glm::dvec2(4, 0), glm::dvec2(4, 4), glm::dvec2(9, 9)}) {
        polygon.press(place);
        polygon.release(place, Fine);
    }
    polygon.removeLast();
    polygon.move({0, 4}, Fine);
    EXPECT_EQ(drawn<Stroke::Lasso>(polygon).places.size(), 4u); // with the cursor
    polygon.end();
    EXPECT_EQ(drawn<Stroke::Lasso>(polygon).places, (Stroke::Places{{0, 0}, {4, 0}, {4, 4}}));

    Drawing line(Tool::Above);
    for (const double x : {5.0, 3.0, 4.0, 3.0, 1.0}) line.press({x, 2}); // runs to the left: 4 and 3 again do not
    line.end();
    EXPECT_EQ(drawn<Stroke::Above>(line).line, (Stroke::Places{{5, 2}, {3, 2}, {1, 2}}));

    Drawing nothing(Tool::Below);
    nothing.press({1, 1});
    nothing.removeLast();
    EXPECT_FALSE(nothing.begun());
    nothing.removeLast();
    nothing.end();
    EXPECT_FALSE(nothing.outline());
}

TEST(Choices, takesDigitsThatFollowSoonAsOneNumber) {
    TypedNumber typed;
    EXPECT_EQ(typed.type(1, 0, 255), 1);
    EXPECT_EQ(typed.type(4, 700, 255), 14);
    EXPECT_EQ(typed.type(9, 1300, 255), 149);
    EXPECT_EQ(typed.type(2, 1400, 255), 2); // 1492 is none
    EXPECT_EQ(typed.type(5, 1500, 255), 25);
    EXPECT_EQ(typed.type(6, 1600, 255), 6); // 256 neither
    EXPECT_EQ(typed.type(3, 2301, 255), 3); // too late
}

TEST(Choices, exchangesOneClassWithTheOther) {
    Choices choices;
    choices.to = 2;
    EXPECT_EQ(fromText(choices), "any unlocked");
    swapClasses(choices);
    EXPECT_EQ(choices.to, 2);
    choices.from = {6};
    swapClasses(choices);
    EXPECT_EQ(choices.to, 6);
    EXPECT_EQ(choices.from, std::set<int>{2});
    choices.from = {5, 6};
    EXPECT_EQ(fromText(choices), "5, 6");
    swapClasses(choices);
    EXPECT_EQ(choices.to, 6);
}

} // namespace
} // namespace corvane

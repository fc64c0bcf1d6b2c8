// SPDX-License-Identifier: Apache-2.0
#include "../plugin/LoadedPlugin.hpp"
#include "Fiber/LineSet.hpp"
#include "Kesh/catalogue/VInput.hpp"
#include "network/Objects.hpp"

#include <glm/geometric.hpp>

namespace corvane::test {
namespace {

using Fiber::GridSelector;
using Kesh::Brush;
using Indices = std::vector<std::uint32_t>;
using Sextant::View;

const View Slice = View::profile({1000, 0}, {1010, 0}, 4);

Brush stroke(std::vector<glm::dvec2> points) { return {Slice, Sextant::Outline(std::move(points))}; }

/// Takes a grid and does nothing with it.
class GridTaker : public Kesh::VObject {
public:
    GridTaker() : VObject("taker"), grid(*this, "grid", GridSelector()) {}
    Kesh::TypedSlot<GridSelector> grid;

protected:
    bool unsychronized_update(Kesh::VRequest&, double) override { return true; }
};

class Shape : public LoadedPlugin {
protected:
    Shape() { Kesh::ensureValueCreator<GridSelector>(); }

    GridSelector made(const Kesh::VObject& object) const {
        return Holdfast::cast<Kesh::VValue<GridSelector>>(object.findOutput("shape")->getValueBase(*pool))->value;
    }
    GridSelector draw(Kesh::VObject& object, const Brush& brush) {
        set(pool, object, "brush", brush);
        EXPECT_EQ(update(object), "");
        return made(object);
    }
    static Indices indicesOf(const GridSelector& shape) {
        const auto indices = Fiber::LineSet(shape.grid()).indices();
        return {indices.begin(), indices.end()};
    }
};

TEST_F(Shape, isAClosedLineThroughTheOutline) {
    const auto object = creator("BrushToWorldShape")->create("", nullptr);
    const auto triangle = draw(*object, stroke({{0, 5}, {3, 5}, {0, 9}}));
    EXPECT_EQ(triangle.gridName, "BrushToWorldShape");
    EXPECT_EQ(indicesOf(triangle), (Indices{0, 1, 2, 0}));
    const auto corners = Fiber::LineSet(triangle.grid()).positions();
    ASSERT_EQ(corners.size(), 3u);
    EXPECT_LT(glm::distance(corners[0], Point(1000, 0, 5)) + glm::distance(corners[2], Point(1000, 0, 9)), 1e-9);

    EXPECT_EQ(indicesOf(draw(*object, stroke({{0, 5}, {3, 5}}))), (Indices{0, 1, 0}));
    EXPECT_EQ(indicesOf(draw(*object, stroke({{1, 5}, {1, 5}, {1, 5}}))), (Indices{0, 1, 2, 0}));
    EXPECT_EQ(draw(*object, stroke({{0, 5}})), GridSelector());
    EXPECT_EQ(draw(*object, Brush()), GridSelector());
    EXPECT_EQ(indicesOf(triangle), (Indices{0, 1, 2, 0})) << "earlier shapes stay as they are";
}

TEST_F(Shape, movesAlongTheViewAndTakesTheNameThatTheObjectHasThen) {
    const auto object = creator("BrushToWorldShape")->create("fence", nullptr);
    const auto first = draw(*object, stroke({{0, 5}, {3, 5}, {0, 9}}));
    EXPECT_EQ(first.gridName, "fence");
    object->rename("hedge");
    EXPECT_EQ(update(*object), "");
    EXPECT_EQ(made(*object).bundle, first.bundle) << "nothing to compute";
    for (const auto& [depth, y] : std::map<double, double>{{0, -2}, {0.75, 1}, {1, 2}}) {
        set(pool, *object, "viewdepth", depth);
        EXPECT_EQ(update(*object), "");
        const auto moved = made(*object);
        EXPECT_EQ(moved.gridName, "hedge");
        EXPECT_FALSE(moved.bundle == first.bundle);
        const auto corners = Fiber::LineSet(moved.grid()).positions();
        ASSERT_EQ(corners.size(), 3u);
        EXPECT_LT(glm::distance(corners[1], Point(1003, y, 5)), 1e-9);
    }
}

TEST_F(Shape, isSuppliedWhereAGridIsNeededAndABrushIsAtHand) {
    BrushObject lasso("lasso");
    set(pool, lasso, "brush", stroke({{0, 5}, {3, 5}, {0, 9}}));
    GridTaker taker;
    const auto nothingTaken = [](const std::string&) { return false; };
    auto made = connectFromAnything(taker, *taker.grid.slot(), lasso.findOutput("brush"), typeid(Fiber::Grid), *pool,
                                    nothingTaken);
    ASSERT_TRUE(made.connected) << made.refusals;
    EXPECT_EQ(update(taker), "");
    EXPECT_EQ(indicesOf(taker.grid.get(*pool)), (Indices{0, 1, 2, 0}));

    GridTaker other;
    const auto refused = connectFromAnything(other, *other.grid.slot(), made.provider->findSlot("viewdepth"),
                                             typeid(Fiber::Grid), *pool, nothingTaken);
    EXPECT_FALSE(refused.connected);
    EXPECT_EQ(refused.refusals, "BrushToWorldShape: \"viewdepth\" holds no brush.");
}

TEST_F(Shape, readsTheBrushThatTheShellOffersByDefault) {
    BrushObject lasso("lasso");
    set(pool, lasso, "brush", stroke({{0, 5}, {3, 5}}));
    Kesh::VCreationPreferences::named("default")->offerProvider("Brush", lasso.findOutput("brush"));
    const auto object = creator("BrushToWorldShape")->create("", nullptr);
    Kesh::VCreationPreferences::named("default")->offerProvider("Brush", {});
    EXPECT_EQ(update(*object), "");
    EXPECT_EQ(indicesOf(made(*object)), (Indices{0, 1, 0}));
}

TEST(LineSet, namesOnlyVerticesThatThereAre) {
    const auto grid = Holdfast::create<Fiber::Grid>();
    EXPECT_THROW(Fiber::LineSet(grid, {Point(0), Point(1)}, {0, 2}), std::invalid_argument);
    EXPECT_EQ(grid->vertices().numberOfFields(), 0u);
    EXPECT_TRUE(Fiber::LineSet(grid).indices().empty());
    EXPECT_TRUE(Fiber::LineSet(nullptr).positions().empty());
}

} // namespace
} // namespace corvane::test

// SPDX-License-Identifier: Apache-2.0
// Brushes as values, and their limits; what they select is in SelectionTest.
#include "../host/Bench.hpp"
#include "../support/Messages.hpp"
#include "Kesh/editing/VertexSelection.hpp"
#include "Kesh/values/VValue.hpp"
#include "Sextant/Strokes.hpp"
#include "Views.hpp"
#include "limit/Limits.hpp"

#include <glm/geometric.hpp>

namespace corvane::test {
namespace {

using Kesh::BoxPart;
using Kesh::LimitPtr;
using Kesh::PointColumns;
using Indices = std::vector<std::uint32_t>;
constexpr double Infinite = std::numeric_limits<double>::infinity();
using Trait = Kesh::VValueTrait<Brush>;

bool isDifferent(const Brush& a, const Brush& b) { return Kesh::VValueCompareTrait<Brush>::isDifferent(a, b); }

TEST(BrushValue, comesBackFromItsTextToTheLastBit) {
    std::vector<Brush> brushes{Brush()};
    for (const auto& seen : views())
        brushes.emplace_back(seen.view, Outline({{0.1, 1e-310}, {1. / 3, -1e300}, {-0.0, 4512345.123456789}}));
    brushes.emplace_back(views()[1].view, Sextant::pathStroke(Points{{0, 0}, {1, 0.3}}, 0.7));
    brushes.emplace_back(views()[1].view, Outline(brushes.back().outline().points()));
    for (std::size_t i = 0; i < brushes.size(); ++i) {
        Brush read(View(), Outline({{7, 7}}));
        Trait::setValueFromText(read, Trait::Text(brushes[i]));
        for (std::size_t k = 0; k < brushes.size(); ++k) EXPECT_EQ(isDifferent(read, brushes[k]), i != k) << i << k;
    }
}

TEST(BrushValue, refusesOtherTextsAndStaysAsItWas) {
    const Brush before(views()[0].view, Outline({{0, 0}, {1, 0}, {0, 1}}));
    const std::string text = Trait::Text(before);
    const auto with = [&](const std::string& from, const std::string& to) {
        const auto at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return std::string(text).replace(at, from.size(), to);
    };
    for (const std::string& bad :
         {std::string(), std::string("a stroke"), std::string("{}"), std::string("[1"), with("even-odd", "odd"),
          with("[0.0,0.0]", "[0.0]"), with("[0.0,0.0]", "[0.0,null]"), with("[0.0,0.0]", "[0.0,1e999]"),
          with("\"matrix\":[", "\"matrix\":[1,"), with("\"rule\"", "\"colour\":1,\"rule\""),
          with("\"rule\"", "\"role\""), text + "x",
          std::string(R"({"view":{"origin":[0,0,0],"matrix":[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,1]},)"
                      R"("rule":"winding","outline":[[0,0]]})")}) {
        Brush brush = before;
        const auto refusal = messageOf<std::invalid_argument>([&] { Trait::setValueFromText(brush, bad); });
        EXPECT_TRUE(refusal.starts_with("a brush is ")) << bad << ": " << refusal;
        EXPECT_FALSE(isDifferent(brush, before));
    }
}

TEST(BrushValue, inWorldSpaceLiesOnTheRaysOfItsOutline) {
    Random random;
    for (const Seen& seen : views()) {
        SCOPED_TRACE(seen.name);
        const Points lasso = seen.lasso(random, 6);
        const Brush brush(seen.view, Outline(lasso));
        const auto near = brush.getBrushInWorldSpace(0), far = brush.getBrushInWorldSpace(1);
        for (const double depth : {0.0, 0.25, 0.5, 1.0}) {
            const auto points = brush.getBrushInWorldSpace(depth);
            ASSERT_EQ(points.size(), lasso.size());
            for (std::size_t i = 0; i < lasso.size(); ++i) {
                const glm::dvec3 screen = seen.view.project(points[i]);
                EXPECT_LT(glm::distance(glm::dvec2(screen), lasso[i]), 1e-8);
                EXPECT_NEAR(glm::distance(points[i], near[i]), depth * glm::distance(far[i], near[i]), 1e-8);
                if (depth == 0 || depth == 1) {
                    EXPECT_NEAR(screen.z, 2 * depth - 1, 1e-9);
                }
            }
        }
    }
    EXPECT_TRUE(Brush().getBrushInWorldSpace(0.5).empty());
}

TEST(BrushValue, itsBoxIsThatOfItsVolume) {
    const View slice = View::profile({Home.x, 0}, {Home.x + 10, 0}, 6);
    const auto box = Brush(slice, Sextant::rectangleStroke({2, 5}, {4, 9})).computeBoundingBoxInWorldSpace();
    EXPECT_LT(glm::distance(box.minimum, Point(Home.x + 2, -3, 5)), 1e-6);
    EXPECT_LT(glm::distance(box.maximum, Point(Home.x + 4, 3, 9)), 1e-6);
    for (const Points& flat : {Points{{1, 1}}, Points{{1, 1}, {2, 3}}, Points{{1, 1}, {1, 5}, {1, 2}},
                               Points{{1, 1}, {4, 1}, {2, 1}}, Points{{1, 1}, {1, 1}, {1, 1}}})
        EXPECT_TRUE(Brush(slice, Outline(flat)).computeBoundingBoxInWorldSpace().empty());
    EXPECT_TRUE(Brush().computeBoundingBoxInWorldSpace().empty());
}

TEST(BrushValue, selectionAsksThePredicateOnlyAboutWhatItCovers) {
    Random random;
    Holdfast::Chunk<Point> positions(2000);
    for (auto& p : positions.values) p = random.point(Home, 30);
    const Brush brush(views()[2].view, Outline(random.lasso(6, 1)));
    std::vector<std::uint32_t> asked;
    const auto selected = brush.getSelection(positions, [&](const Point& p) {
        asked.push_back(static_cast<std::uint32_t>(&p - positions.values.data()));
        return asked.back() % 2 == 0;
    });
    EXPECT_EQ(asked, brush.getSelection(positions, nullptr));
    std::erase_if(asked, [](std::uint32_t i) { return i % 2 != 0; });
    EXPECT_EQ(selected, asked);
    EXPECT_GT(selected.size(), 10u);
}

TEST(Limits, intersectAndStandForThemselves) {
    const LimitPtr west = inBox({{0, 0, 0}, {5, 9, 9}}), low = betweenHeights(-Infinite, 4);
    const Brush both(allOf({west, low}));
    EXPECT_TRUE(both && !both.hasStroke());
    EXPECT_TRUE(both.covers({5, 9, 4})) << "faces are included";
    for (const Point& outside : {Point(5.1, 1, 1), Point(1, 1, 4.1)}) EXPECT_FALSE(both.covers(outside));
    EXPECT_TRUE(both.getBrushInWorldSpace(0.5).empty());
    const auto box = both.computeBoundingBoxInWorldSpace();
    EXPECT_EQ(box.minimum, Point(0, 0, 0));
    EXPECT_EQ(box.maximum, Point(5, 9, 4));
    EXPECT_TRUE(Brush(allOf({west, inBox({{6, 0, 0}, {7, 9, 9}})})).computeBoundingBoxInWorldSpace().empty());
    EXPECT_FALSE(Brush(LimitPtr()));
    EXPECT_TRUE(indicesOf(Brush(), {{1, 1, 1}}).empty());
    EXPECT_NE(Brush(west), Brush(low));
    EXPECT_EQ(Brush(west), Brush(inBox({{5, 9, 9}, {0, 0, 0}})));
}

/// Lets odd values of a field through.
class Odd : public Kesh::Limit {
public:
    explicit Odd(std::string field) : field_(std::move(field)) {}
    std::vector<std::string> fields() const override { return {field_}; }
    BoxPart partOf(const Sextant::BoundingBox&) const override { return BoxPart::Some; }
    Sextant::BoundingBox bounds() const override { return {Point(-Infinite), Point(Infinite)}; }
    bool holds(const PointColumns& points, std::size_t i) const override { return int(points.fields[0][i]) % 2 != 0; }
    void select(const PointColumns& points, Indices& indices) const override {
        indices.clear();
        for (std::uint32_t i = 0; i < points.positions.size(); ++i) indices.push_back(i);
        narrow(points, indices);
    }
    void narrow(const PointColumns& points, Indices& indices) const override {
        std::erase_if(indices, [&](std::uint32_t i) { return !holds(points, i); });
    }
    std::string text() const override { return "{}"; }

private:
    std::string field_;
};

class LimitedFields : public Bench {};

TEST_F(LimitedFields, areReadWhereALimitAsksForThem) {
    positions(1, 4);
    field<std::uint16_t>("a", {{1, 2, 3, 5}});
    field<double>("b", {{1, 3, 2, 7}});
    field<double>("short", {{1, 3}});
    const auto select = [&](const Brush& brush) {
        Kesh::VertexSelection selection(vertices(), &brush);
        const auto selected = selection.of(id(0), 4);
        return Indices(selected.begin(), selected.end());
    };
    const auto odd = [](const char* name) { return std::make_shared<Odd>(name); };
    EXPECT_EQ(select(Brush(odd("a"))), (Indices{0, 2, 3}));
    EXPECT_EQ(select(Brush(allOf({inBox({{1, 0, 0}, {9, 0, 0}}), odd("b"), odd("a")}))), (Indices{3}));
    EXPECT_EQ(select(Brush()), Indices());
    EXPECT_THROW(select(Brush(odd("none"))), std::runtime_error);
    EXPECT_THROW(select(Brush(odd("short"))), std::runtime_error);
}

} // namespace
} // namespace corvane::test

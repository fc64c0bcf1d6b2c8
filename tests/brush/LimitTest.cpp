// SPDX-License-Identifier: Apache-2.0
// Brushes with limits: every fast way selects what the plain test selects.
#include "Fiber/FragmentBox.hpp"
#include "Kesh/editing/VertexSelection.hpp"
#include "Kesh/values/VValue.hpp"
#include "Views.hpp"
#include "limit/Limits.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace corvane::test {
namespace {

using Kesh::BoxPart;
using Kesh::LimitPtr;
using Kesh::PointColumns;
using Indices = std::vector<std::uint32_t>;
using Trait = Kesh::VValueTrait<Brush>;
constexpr double Infinite = std::numeric_limits<double>::infinity();

/// A star, with a hole, and a square beside it that overlaps.
PolygonSet polygonsAt(const glm::dvec2& middle, double size) {
    const auto at = [&](double x, double y) { return fmt::format("{} {}", middle.x + size * x, middle.y + size * y); };
    const std::string star = fmt::format("POLYGON(({},{},{},{},{},{}),({},{},{}))", at(-1, -1), at(0, -.6), at(1, -1),
                                         at(.6, 0), at(1, 1), at(-.7, .8), at(-.2, -.2), at(.2, -.1), at(0, .2));
    const std::string square = fmt::format("POLYGON(({},{},{},{}))", at(.5, .1), at(1.4, .1), at(1.4, .5), at(.5, .5));
    return readPolygons(std::vector<std::string>{star, square});
}

LimitPtr randomLimit(Random& random, int kind) {
    const Point middle = random.point(Home, 10);
    switch (kind) {
    case 0:
        return insidePolygons(polygonsAt(glm::dvec2(middle), random(5, 25)));
    case 1:
        return inBox({middle, random.point(Home, 25)});
    case 2:
        return betweenHeights(middle.z - random(0, 5), random(0, 1) < .3 ? Infinite : middle.z + random(0, 8));
    default:
        return allOf({randomLimit(random, 0), randomLimit(random, 2), randomLimit(random, 1)});
    }
}

/// Some of them on the faces and corners of limits.
std::vector<Point> pointsAround(Random& random, const Brush& brush) {
    std::vector<Point> points(1500);
    for (auto& p : points) p = random.point(Home, 30);
    const auto box = brush.limit()->bounds();
    for (std::size_t i = 0; i < points.size(); i += 5)
        for (int axis = 0; axis < 3; ++axis)
            if (const double face = (i % 2 ? box.minimum : box.maximum)[axis]; std::isfinite(face) && random(0, 2) > 1)
                points[i][axis] = face;
    points[3].x = std::nan("");
    points[4].z = std::nan("");
    return points;
}

Indices plainly(const Brush& brush, const std::vector<Point>& points) {
    Indices indices;
    for (std::uint32_t i = 0; i < points.size(); ++i)
        if (brush.covers(points[i])) indices.push_back(i);
    return indices;
}

TEST(Limits, selectWhatThePlainTestSelects) {
    Random random;
    std::size_t selected = 0;
    for (int round = 0; round < 80; ++round) {
        const LimitPtr limit = randomLimit(random, round % 4);
        const auto seen = views();
        const Seen& in = seen[std::size_t(round) % seen.size()];
        for (const Brush& brush : {Brush(limit), Brush(in.view, Outline(in.lasso(random, 7)), limit)}) {
            const auto points = pointsAround(random, brush);
            const Indices expected = plainly(brush, points);
            ASSERT_EQ(indicesOf(brush, points), expected);
            selected += expected.size();
            const auto box = brush.computeBoundingBoxInWorldSpace();
            for (const auto i : expected)
                for (int axis : {0, 1}) {
                    ASSERT_LE(box.minimum[axis], points[i][axis]);
                    ASSERT_GE(box.maximum[axis], points[i][axis]);
                }
            Brush read;
            Trait::setValueFromText(read, Trait::Text(brush));
            ASSERT_EQ(read, brush);
            ASSERT_EQ(indicesOf(read, points), expected) << "as its text says";
        }
    }
    EXPECT_GT(selected, 5000u);
}

TEST(Limits, cullBoxesRightly) {
    Random random;
    int parts[3] = {};
    for (int i = 0; i < 3000; ++i) {
        const Brush brush(randomLimit(random, i % 4));
        const Point middle = random.point(Home, 25);
        std::vector<Point> points(12);
        for (auto& p : points) p = random.point(middle, random(0, 4));
        const BoxPart part = brush.partOf(Fiber::boundingBox(points));
        ++parts[int(part)];
        if (part == BoxPart::Some) continue;
        for (const Point& p : points) ASSERT_EQ(brush.covers(p), part == BoxPart::All);
    }
    for (const int count : parts) EXPECT_GT(count, 50);
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

TEST(Limits, readTheFieldsThatTheyAskFor) {
    using Holdfast::create;
    const auto representation = create<Fiber::Representation>();
    const auto add = [&]<class T>(const std::string& name, std::vector<T> values) {
        const auto array = create<Fiber::MemArray<T>>(values.size(), T());
        std::ranges::copy(values, array->chunk.values.begin());
        const auto field = create<Fiber::Field>(typeid(T));
        field->setPersistentData(create<Fiber::CreativeArrayBase>(Holdfast::StrongPtr<Fiber::MemBase>(array)),
                                 create<Fiber::FragmentID>(0));
        representation->makeField(representation->makeFieldID(name), field);
    };
    add.operator()<Point>(Fiber::PositionsName, {{0, 0, 0}, {0, 0, 1}, {0, 0, 2}, {0, 0, 3}});
    add.operator()<std::uint16_t>("a", {1, 2, 3, 5});
    add.operator()<double>("b", {1, 3, 2, 7});
    add.operator()<double>("short", {1, 3});
    const auto select = [&](const Brush& brush) {
        Kesh::VertexSelection selection(*representation, &brush);
        const auto selected = selection.of(create<Fiber::FragmentID>(0), 4);
        return Indices(selected.begin(), selected.end());
    };
    const auto odd = [](const char* field) { return std::make_shared<Odd>(field); };
    EXPECT_EQ(select(Brush(odd("a"))), (Indices{0, 2, 3}));
    EXPECT_EQ(select(Brush(allOf({betweenHeights(1, 9), odd("b"), odd("a")}))), (Indices{3}));
    EXPECT_EQ(select(Brush()), Indices());
    EXPECT_THROW(select(Brush(odd("none"))), std::runtime_error);
    EXPECT_THROW(select(Brush(odd("short"))), std::runtime_error);
}

} // namespace
} // namespace corvane::test

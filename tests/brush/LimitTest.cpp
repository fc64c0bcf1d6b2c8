// SPDX-License-Identifier: Apache-2.0
// What limits are by themselves; what they select is in SelectionTest.
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
constexpr double Infinite = std::numeric_limits<double>::infinity();

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

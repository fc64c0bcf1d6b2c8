// SPDX-License-Identifier: Apache-2.0
// Expressions as limits: compared with plain loops over the same columns, and what is wrong with a text.
#include "limit/Expression.hpp"
#include "../support/Messages.hpp"
#include "Kesh/values/Limit.hpp"
#include "limit/Limits.hpp"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace corvane::test {
namespace {

using Kesh::BoxPart;
using Point = Sextant::PhysicalSpace::point;
using Indices = std::vector<std::uint32_t>;

/// Points with a few fields; more than fit into one block, and no multiple of it.
struct Columns {
    explicit Columns(std::size_t count) {
        std::mt19937 random(7);
        std::uniform_real_distribution<double> place(-10, 10);
        std::uniform_int_distribution<int> small(0, 6);
        for (std::size_t i = 0; i < count; ++i) {
            positions.emplace_back(place(random), place(random), place(random));
            for (const char* name : {"Classification", "Intensity", "Scan Angle"})
                fields[name].push_back(small(random));
        }
        fields["Intensity"][3] = std::nan("");
    }

    Kesh::PointColumns of(const Kesh::Limit& limit) const {
        Kesh::PointColumns columns{positions, {}};
        for (const std::string& name : limit.fields()) columns.fields.emplace_back(fields.at(name));
        return columns;
    }

    std::vector<Point> positions;
    std::map<std::string, std::vector<double>> fields;
};

struct Case {
    std::string text;
    std::function<bool(const Point& p, double cls, double intensity, double angle)> plain;
};

const std::vector<Case> Cases{
    {"Z > 3", [](const Point& p, double, double, double) { return p.z > 3; }},
    {"z>=-2.5e0 && X<Y", [](const Point& p, double, double, double) { return p.z >= -2.5 && p.x < p.y; }},
    {"Classification = 2 or Classification == 3 and Z <= 0",
     [](const Point& p, double c, double, double) { return c == 2 || (c == 3 && p.z <= 0); }},
    {"not (Classification in (1, 5,2)) || Intensity <> 4",
     [](const Point&, double c, double i, double) { return !(c == 1 || c == 5 || c == 2) || i != 4; }},
    {"Classification not in (0)", [](const Point&, double c, double, double) { return c != 0; }},
    {"1 + 2 * Classification - -1 < 8 % 5 * Intensity / 2",
     [](const Point&, double c, double i, double) { return 1 + 2 * c - -1 < std::fmod(8, 5) * i / 2; }},
    {"10 - 3 - 2 == 5 && 12 / 3 / 2 == 2", [](const Point&, double, double, double) { return true; }},
    {"\"Scan Angle\" % 2 = 1 && !(Z > X)",
     [](const Point& p, double, double, double a) { return std::fmod(a, 2) == 1 && !(p.z > p.x); }},
    {"Classification[1:2] || Intensity!(2:4] and Z[:0)",
     [](const Point& p, double c, double i, double) { return (c >= 1 && c <= 2) || (!(i > 2 && i <= 4) && p.z < 0); }},
    {"Z / 0 > 1 && Intensity / 0 != 1",
     [](const Point& p, double, double i, double) { return p.z / 0. > 1 && i / 0. != 1; }},
};

TEST(Expression, holdsWhereAPlainLoopSaysSo) {
    const Columns columns(1300);
    for (const Case& one : Cases) {
        SCOPED_TRACE(one.text);
        const auto limit = where(one.text);
        const auto points = columns.of(*limit);
        Indices expected, selected, narrowed, some;
        for (std::uint32_t i = 0; i < columns.positions.size(); ++i) {
            const bool holds = one.plain(columns.positions[i], columns.fields.at("Classification")[i],
                                         columns.fields.at("Intensity")[i], columns.fields.at("Scan Angle")[i]);
            EXPECT_EQ(limit->holds(points, i), holds) << i;
            if (holds) expected.push_back(i);
            narrowed.push_back(i);
            if (i > 600 && i % 3 == 0) some.push_back(i); // the first blocks hold none
        }
        limit->select(points, selected);
        limit->narrow(points, narrowed);
        EXPECT_EQ(selected, expected);
        EXPECT_EQ(narrowed, expected);
        limit->narrow(points, some);
        std::erase_if(expected, [](std::uint32_t i) { return i <= 600 || i % 3 != 0; });
        EXPECT_EQ(some, expected);
    }
}

TEST(Expression, saysOfABoxNoMoreThanHolds) {
    const Columns columns(400);
    const std::vector<std::string> texts{"Z > 3",     "X + Y * 2 < Z", "X * Y >= 4", "-Z <= 1 || X == 0",
                                         "!(Z != X)", "Z in (1)",      "X / Y > 1",  "Z > 0 && Classification == 2"};
    std::mt19937 random(11);
    std::uniform_real_distribution<double> place(-6, 6), size(0, 3);
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        const auto limit = where(text);
        std::map<BoxPart, int> seen;
        for (int box = 0; box < 300; ++box) {
            const Point low(place(random), place(random), place(random));
            const Sextant::BoundingBox asked(low, low + Point(size(random), size(random), size(random)));
            const BoxPart part = limit->partOf(asked);
            ++seen[part];
            for (const double u : {0., 0.3, 1.})
                for (const double v : {0., 0.7, 1.}) {
                    const Point p = asked.minimum + Point(u, v, 1 - u) * (asked.maximum - asked.minimum);
                    Kesh::PointColumns one{{&p, 1}, {}};
                    const double value = 2;
                    for (std::size_t field = 0; field < limit->fields().size(); ++field)
                        one.fields.emplace_back(&value, 1);
                    if (part != BoxPart::Some) {
                        EXPECT_EQ(limit->holds(one, 0), part == BoxPart::All);
                    }
                }
        }
        if (text == "Z > 3" || text == "X + Y * 2 < Z") {
            EXPECT_EQ(seen.size(), 3u);
        }
    }
    EXPECT_FALSE(where("Classification == 2")->readsPositions());
    EXPECT_TRUE(where("Classification == 2 && Z > 0")->readsPositions());
}

TEST(Expression, pointsAtTheColumnOfWhatIsWrong) {
    const std::pair<std::string, std::pair<std::size_t, std::string>> table[] = {
        {"", {1, "the end"}},
        {"Z >", {4, "a number or a name"}},
        {"Z >> 3", {4, "\">\""}},
        {"Z > 3 &", {7, "\"&\""}},
        {"Z > 3)", {6, "should end"}},
        {"(Z > 3", {7, "\")\""}},
        {"1 < Z < 3", {7, "join two conditions"}},
        {"Classification == 2 or 3", {24, "a number was found"}},
        {"Withheld", {1, "Withheld == 1"}},
        {"Z + (X > 1) > 2", {5, "a condition was found"}},
        {"Classification in 2", {19, "\"(\""}},
        {"Classification in (2,)", {22, "a number"}},
        {"Z[1:2", {6, "\")\""}},
        {"\"Scan Angle > 1", {1, "not closed"}},
        {"Z > 1e999", {5, "a number"}},
        {"Z > 3m", {6, "behind a number"}},
        {"äöü > ", {7, "the end"}},
        {std::string(200, '(') + "Z", {102, "levels"}},
        {std::string(70000, ' '), {65537, "bytes"}},
    };
    for (const auto& [text, expected] : table) {
        try {
            parseExpression(text);
            ADD_FAILURE() << text << " was understood";
        } catch (const ExpressionError& error) {
            EXPECT_EQ(error.column, expected.first) << text.substr(0, 40) << ": " << error.what();
            EXPECT_TRUE(holds(error.what(), expected.second)) << error.what();
        }
    }
}

} // namespace
} // namespace corvane::test

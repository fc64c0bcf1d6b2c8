// SPDX-License-Identifier: Apache-2.0
#include "polygon/Polygons.hpp"
#include "../support/Files.hpp"
#include "../support/Messages.hpp"
#include "base/Failure.hpp"
#include "polygon/PolygonReader.hpp"

#include <array>
#include <cmath>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace corvane::test {
namespace {

class Polygons : public testing::Test {
protected:
    std::string file(const std::string& content) {
        const auto path = folder_ / ("area" + std::to_string(++files_));
        write(path, content);
        return path;
    }

    static PolygonSet read(const std::vector<std::string>& arguments) { return readPolygons(arguments); }

    const Folder folder_;
    int files_ = 0;
};

/// Of the inside: in a union, holes run the other way round than shells.
double area(const PolygonSet& set) {
    double twice = 0;
    for (const auto& ring : set.rings)
        for (std::size_t i = 0, last = ring.size() - 1; i < ring.size(); last = i++)
            twice += ring[last].x * ring[i].y - ring[i].x * ring[last].y;
    return std::abs(twice) / 2;
}

const std::string Square = R"({"type":"Polygon","coordinates":[[[0,0],[4,0],[4,4],[0,4],[0,0]]]})";
const std::string OpenHigh = R"({"type":"MultiPolygon","coordinates":[[[[9,0,7],[11,0,7],[11,2,8.5]]]]})";

std::string feature(const std::string& geometry) {
    return R"({"type":"Feature","properties":{"crs":"a word"},"geometry":)" + geometry + "}";
}

std::string collection(const std::string& features, const std::string& more = {}) {
    return R"({"type":"FeatureCollection",)" + more + R"("features":[)" + features + "]}";
}

TEST_F(Polygons, AcceptsWhatPeopleWrite) {
    const std::string hole = "POLYGON((0 0,4 0,4 4,0 4,0 0),(1 1,1 2,2 2,2 1,1 1))";
    const struct {
        std::vector<std::string> arguments;
        std::size_t rings;
        double area;
    } cases[] = {
        {{"POLYGON((0 0,0 4,4 4,4 0))"}, 1, 16}, // open, the other way round
        {{" \n srid = 25832 ; polygon z ((0 0 5, 4 0 6, 4 4 7))"}, 1, 8},
        {{"POLYGON ZM((0 0 5 1,4 0 5 1,4 4 5 1))"}, 1, 8},
        {{"POLYGON((0 0,-4e0 0,-4 .4e1))"}, 1, 8},
        {{hole, "POLYGON((1 1,2 1,2 2,1 2))"}, 1, 16}, // fills the hole
        {{hole, "POLYGON((1 1,2 1,2 2))"}, 2, 15.5},
        {{"MULTIPOLYGON(((0 0,4 0,4 4,0 4)),((9 0,11 0,11 2)))"}, 2, 18},
        {{"MULTIPOLYGON(((0 0,4 0,4 4,0 4)),((2 0,6 0,6 4,2 4)))"}, 1, 24}, // overlapping parts
        {{"POLYGON((0 0,4 0,4 4,0 4))", "POLYGON((4 0,8 0,8 4,4 4))"}, 1, 32},
        {{"POLYGON((0 0,9 0,9 9,0 9),(1 1,8 1,8 8,1 8))", "POLYGON((2 2,4 2,4 4,2 4))"}, 3, 36}, // island
        {{file("\xEF\xBB\xBF\r\nSRID=1;POLYGON((0 0,4 0,4 4))\r\n")}, 1, 8},
        {{file("POLYGON((0 0,4 0,4 4))\nMULTIPOLYGON(((0 0,4 4,0 4)))")}, 1, 16},
        {{file(Square)}, 1, 16},
        {{file("\xEF\xBB\xBF " + feature(OpenHigh))}, 1, 2},
        {{file(collection(feature(Square) + "," + feature("null") + "," + feature(OpenHigh), R"("crs":null,)"))},
         2,
         18},
        {{file(R"({"type":"GeometryCollection","geometries":[)" + Square + "," + OpenHigh + "]}")}, 2, 18},
        {{file(Square), "POLYGON((0 0,8 0,8 4,0 4))"}, 1, 32},
        {{file(feature(Square) + "\n\n" + feature(OpenHigh) + "\r\n")}, 2, 18}, // a document on each line
        {{file("\x1E" + feature(Square) + "\n\x1E" + feature(OpenHigh))}, 2, 18},
    };
    for (const auto& [arguments, rings, expected] : cases) {
        SCOPED_TRACE(arguments.back());
        PolygonSet set;
        ASSERT_NO_THROW(set = read(arguments));
        EXPECT_EQ(set.rings.size(), rings);
        EXPECT_NEAR(area(set), expected, 1e-6);
        for (const auto& ring : set.rings)
            EXPECT_FALSE(ring.front().x == ring.back().x && ring.front().y == ring.back().y) << "closed twice";
    }
}

TEST_F(Polygons, RefusesInOneSentenceThatSaysWhy) {
    const std::string linked = R"("crs":{"type":"link","properties":{"href":"crs.prj"}},)";
    const auto deep = R"({"type":"Polygon","coordinates":)" + std::string(200'000, '[');
    const auto big = file("POLYGON((0 0,4 0,4 4))");
    std::filesystem::resize_file(big, (64 << 20) + 1);
    const struct {
        std::string argument;
        std::vector<std::string> said;
    } cases[] = {
        {"POLYGON((0 0,4 4,4 0,0 4))", {"Self-intersection[2 2]", "draw its outline anew", "--repair-polygons"}},
        {"MULTIPOLYGON(((0 0,4 0,4 4)),((0 0,4 4,4 0,0 4)))", {"polygon 2 of 2", "Self-intersection[2 2]"}},
        {"POLYGON((0 0,4 0))", {"not valid", "Too few points"}},
        {"POLYGON((0 0,4 0,4 1e999))", {"the coordinate inf"}},
        {"POLYGON((0 0,4 0,4 -1e136))", {"the coordinate -1e+136", "1e+75"}},
        {"POLYGON((0 0,1e300 1e300,1e300 0,0 1e300))", {"the coordinate 1e+300"}},
        {"MULTIPOLYGON" + std::string(100'000, '('), {"Expected number"}},
        {"POLYGON((nan 0,4 0,4 4))", {"after 9 characters", "finite"}},
        {"POLYGON((0 0,4 0,4 4)", {"POLYGON((0 0,4 0,4 4):"}},
        {"POLYGON EMPTY", {"no polygon with an area"}},
        {"POINT(1 2)", {"found a POINT, expected POLYGON"}},
        {"GEOMETRYCOLLECTION(POLYGON((0 0,4 0,4 4)))", {"GEOMETRYCOLLECTION"}},
        {"POLYGON((0 0,4 0,4 4)) and more", {"after 23 characters", "\"and more\""}},
        {folder_ / ".", {folder_ / "."}},
        {file(""), {"begins with \"\""}},
        {file("9,0\n4,4"), {"begins with \"9,0 4,4\"", "GeoJSON"}},
        {file("POLYGON((0 0,4 4,4 0,0 4))"), {"area", "Self-intersection"}},
        {file("{\"type\":"), {"is not GeoJSON", "byte 9"}},
        {file(R"({"type":"Polygon","coordinates":[[[1,2],[3],[4,5]]]})"), {"at least two numbers"}},
        {file(R"({"type":"Polygon","coordinates":[[[1,2],[3,1e999],[4,5]]]})"), {"at /coordinates/0/1/1"}},
        {file(R"({"type":"Polygon","coordinates":[]})"), {"no polygon with an area"}},
        {file(R"({"type":"Point","coordinates":[1,2]})"), {"\"Point\""}},
        {file(collection(feature(Square), linked)), {"\"link\"", "EPSG::25832", "--polygon-crs"}},
        {file(feature(Square) + "\n" + feature(R"({"type":"Polygon","coordinates":[[[1]]]})")),
         {"line 2 at /geometry"}},
        {file(feature(Square) + "\n{"), {"line 2"}},
        {file(deep), {"nested"}},
        {big, {"67108865", "67108864"}},
    };
    for (const auto& [argument, said] : cases) {
        SCOPED_TRACE(argument.substr(0, 100));
        const auto message = messageOf<Failure>([&, &argument = argument] { read({argument}); });
        for (const auto& words : said) EXPECT_TRUE(holds(message, words)) << message;
        EXPECT_TRUE(message.ends_with('.')) << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
        EXPECT_THROW(read({"POLYGON((0 0,4 0,4 4))", argument}), Failure);
    }
}

TEST_F(Polygons, TextThatIsNeitherFileNorWktIsAWrongCall) {
    for (const std::string text : {"nowhere.wkt", "POLYGON", "polygon 0 0,1 1", "", "{\"type\":\"Polygon\"}"})
        EXPECT_THROW(read({text}), UsageError) << text;
    EXPECT_THROW(read({std::string(100'000, ' ') + std::string(100'000, 'x')}), UsageError);
    EXPECT_THROW(read({}), UsageError);
}

TEST_F(Polygons, PrintsTheUnionInFullPrecision) {
    const auto set = read({"POLYGON Z((500000.25 5200000.125 3,500001.25 5200000.125 3,500001.25 5200007.1 3))"});
    EXPECT_EQ(read({set.wkt}).wkt, set.wkt);
    EXPECT_NE(set.wkt.find("500001.25 5200007.1"), std::string::npos) << set.wkt;
    const auto huge =
        read({"POLYGON((0 0,1e75 0,1e75 1e75),(1e74 1e73,2e74 1e73,2e74 2e73))", "POLYGON((-1 -1,-1 -2,-2 -2))"});
    EXPECT_EQ(huge.rings.size(), 3u);
    EXPECT_EQ(read({huge.wkt}).wkt, huge.wkt);
    EXPECT_EQ((std::array{set.minimum.x, set.minimum.y}), (std::array{500000.25, 5200000.125}));
    EXPECT_EQ((std::array{set.maximum.x, set.maximum.y}), (std::array{500001.25, 5200007.1}));
}

TEST_F(Polygons, AreRepairedWhereThatIsWanted) {
    const auto repaired = [](const std::string& wkt) {
        PolygonReader reader(true);
        reader.addText(wkt, "a text");
        return reader.take();
    };
    const struct {
        std::string wkt;
        double area;
        std::vector<std::string> told;
    } cases[] = {
        {"POLYGON((0 0,4 4,4 0,0 4))", 8, {"polygon 1 of 1", "[2 2]", "was 0 and is 8"}},
        {"POLYGON((0 0,4 0,4 4,0 4,0 2,-3 2,0 2))", 16, {"is 16"}}, // a spike
        {"POLYGON((0 0,9 0,9 9,0 9),(9 0,9 4,5 4,9 0,12 0))", 73, {"is 73"}},
        {"MULTIPOLYGON(((20 0,24 0,24 4,20 4)),((0 0,4 4,4 0,0 4)))", 24, {"polygon 2 of 2"}},
        {"POLYGON((0 0,8 0,8 8,2 8,2 2,6 2,6 6,0 6))", 60, {"is 60"}}, // what is gone around twice is inside
        {"POLYGON((0 0,4 0,4 4))", 8, {}},
    };
    for (const auto& [wkt, expected, told] : cases) {
        SCOPED_TRACE(wkt);
        const GivenPolygons given = repaired(wkt);
        EXPECT_NEAR(area(unitePolygons(given.features.at(0).polygons)), expected, 1e-9);
        EXPECT_EQ(given.notices.empty(), told.empty());
        for (const std::string& words : told) EXPECT_TRUE(holds(given.notices.at(0), words)) << given.notices.at(0);
    }
    EXPECT_TRUE(holds(messageOf<Failure>([&] { repaired("POLYGON((0 0,4 0,8 0))"); }), "no polygon with an area"));
}

TEST_F(Polygons, KeepWhatTheyState) {
    PolygonReader reader(false, "CLASS");
    const std::string crs = R"("crs":{"type":"name","properties":{"name":"urn:ogc:def:crs:EPSG::2056"}},)";
    const auto of = [](const std::string& value, const std::string& geometry) {
        return R"({"type":"Feature","properties":{"id":7,"Class":)" + value + R"(},"geometry":)" + geometry + "}";
    };
    const std::string both = R"({"type":"GeometryCollection","geometries":[)" + Square + "," + OpenHigh + "]}";
    reader.addText(collection(of("2", Square) + "," + of("null", "null") + "," + of("\"6.0\"", both) + "," +
                                  of("\"water\"", OpenHigh),
                              crs),
                   "a file");
    const GivenPolygons given = reader.take();
    ASSERT_EQ(given.features.size(), 3u);
    std::string all;
    for (const GivenFeature& feature : given.features)
        all += fmt::format("{} {} {} {};", feature.name, feature.crs, feature.value.value_or("none"),
                           feature.polygons.size());
    EXPECT_EQ(all, "feature 1 urn:ogc:def:crs:EPSG::2056 2 1;feature 3 urn:ogc:def:crs:EPSG::2056 6 2;"
                   "feature 4 urn:ogc:def:crs:EPSG::2056 water 1;");
    const auto refusal = [&](const std::string& value) {
        return messageOf<Failure>([&] { reader.addText(of(value, Square), "a file"); });
    };
    EXPECT_TRUE(holds(refusal("null"), "feature 1 is null, expected a number or a text")) << refusal("null");
    EXPECT_TRUE(holds(refusal("[2]"), "is [2]"));
    EXPECT_TRUE(holds(messageOf<UsageError>([&] { reader.addText(feature(Square), "a file"); }), "\"crs\""));
    EXPECT_TRUE(holds(messageOf<UsageError>([&] { reader.addText(Square, "a file"); }), "no feature"));
    EXPECT_TRUE(
        holds(messageOf<UsageError>([&] { reader.addText("POLYGON((0 0,4 0,4 4))", "a text"); }), "no attributes"));
}

TEST_F(Polygons, ComeOutOfAPipeToo) {
    const std::string pipe = folder_ / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::string wkt = "MULTIPOLYGON(((0 0,4 0,4 4,0 4,0 0))"; // longer than what a pipe holds at once
    for (int i = 1; i <= 5000; ++i) wkt += fmt::format(",(({0} 0,{1} 0,{1} 4,{0} 4,{0} 0))", 8 * i, 8 * i + 4);
    std::thread writer([&] { write(pipe, wkt + ")"); });
    const PolygonSet set = read({pipe});
    writer.join();
    EXPECT_EQ(set.rings.size(), 5001u);
}

TEST_F(Polygons, SaysWhenTheyMissTheSurvey) {
    const auto metres = read({"POLYGON((500 500,600 500,600 600))"});
    const auto degrees = read({"POLYGON((9 47,10 47,10 48))"});
    EXPECT_EQ(describeMiss(metres, {600, 600}, {900, 900}), "") << "touching is meeting";
    EXPECT_NE(describeMiss(metres, {601, 0}, {900, 900}).find("x 500 to 600"), std::string::npos);
    EXPECT_NE(describeMiss(metres, {0, 0}, {900, 499}), "");
    EXPECT_EQ(describeMiss(metres, {601, 0}, {900, 900}).find("degrees"), std::string::npos);
    EXPECT_NE(describeMiss(degrees, {500000, 5e6}, {500900, 6e6}).find("look like degrees"), std::string::npos);
    EXPECT_EQ(describeMiss(degrees, {11, 47}, {12, 48}).find("look like degrees"), std::string::npos);
    EXPECT_TRUE(holds(describeMiss(degrees, {47, 9}, {48, 10}), "x and y look exchanged"));
    EXPECT_FALSE(holds(describeMiss(metres, {601, 601}, {900, 900}), "exchanged"));
}

} // namespace
} // namespace corvane::test

// SPDX-License-Identifier: Apache-2.0
// Strokes as network files and the command line give them.
#include "../shell/ProgramTestSupport.hpp"
#include "network/StrokeText.hpp"

#include <glm/common.hpp>

namespace corvane::test {
namespace {

class Draw : public Program {
protected:
    void SetUp() override {
        Program::SetUp();
        survey_ = std::make_shared<const Survey>(in);
    }

    Kesh::Brush read(const std::string& stroke) const {
        const ::json::Document document(stroke, "net");
        const ::json::Reader reader(document);
        return drawing(reader, [&] { return brushOf(readStroke(reader), *survey_); });
    }

private:
    std::shared_ptr<const Survey> survey_;
};

TEST_F(Draw, everyKindOfStrokeInEveryView) {
    const std::string eye = R"("view": {"perspective": {"eye": [500000, 5200000, 500], "target": [500000, 5200100, 500],
        "up": [0, 0, 1], "fov": 90, "aspect": 2, "near": 10, "far": 1000}})";
    const std::string slice =
        R"("view": {"profile": {"from": [500000, 5200000], "to": [500100, 5200000], "width": 4}})";
    const auto drawn = [](const std::string& view, const std::string& stroke) {
        return "{" + view + ", " + stroke + "}";
    };
    const std::vector<std::tuple<std::string, std::vector<glm::dvec3>, std::vector<glm::dvec3>>> cases{
        {R"j({"polygon": "POLYGON((500000 5200000, 500009 5200000, 500009 5200009))"})j",
         {{500005, 5200001, -9e5}, {500005, 5200001, 9e5}},
         {{500001, 5200005, 0}}},
        {R"({"view": "above", "lasso": "0 0, 10 0, 10 10, 0 10, 0 0, 4 4, 4 6, 6 6, 6 4, 4 4"})",
         {{1, 1, 0}, {5, 9, 0}},
         {{5, 5, 0}, {11, 5, 0}}},
        {R"({"rectangle": [500010, 5200010, 500000, 5200000], "depth": [400, 390.5]})",
         {{500000, 5200000, 390.5}, {500009.99, 5200009.99, 400}},
         {{500005, 5200005, 390.49}, {500005, 5200005, 400.01}, {500010, 5200005, 395}}},
        {R"({"circle": [500000, 5200000, 5]})", {{500003, 5200003.9, 0}}, {{500004, 5200004, 0}}},
        {R"({"path": "500000 5200000, 500010 5200000,500005 5200005, 500005 5199990", "radius": 2})",
         {{500005, 5200000, 7}, {500011.9, 5200000, 0}, {500005, 5199988.1, 0}},
         {{500012.1, 5200000, 0}, {500002.5, 5200003, 0}}},
        {drawn(slice, R"j("polygon": "POLYGON((10 400, 20 400, 20 410))")j"),
         {{500015, 5200000, 402}, {500015, 5200002, 402}, {500015, 5199998, 402}},
         {{500015, 5200000, 408}, {500015, 5200002.01, 402}, {500015, 5199997.99, 402}}},
        {drawn(slice, R"("rectangle": [0, 0, 100, 900], "depth": [0.5, 2])"),
         {{500050, 5200000.5, 5}, {500050, 5200002, 5}},
         {{500050, 5200000.4, 5}, {500050, 5199999, 5}}},
        {drawn(slice, R"("above": "10 400, 20 410, 30 410")"),
         {{500015, 5200000, 406}, {500015, 5200000, 99999}},
         {{500015, 5200000, 404}, {500009, 5200000, 500}, {500030.1, 5200000, 500}}},
        {drawn(slice, R"("below": "10 400, 20 410")"), {{500015, 5200000, -99999}}, {{500015, 5200000, 406}}},
        {drawn(eye, R"("rectangle": [-1, -1, 1, 1])"),
         {{500000, 5200010, 509}, {500199, 5200100, 500}, {500000, 5200999, 500}},
         {{500000, 5200010, 511}, {500201, 5200100, 500}, {500000, 5201001, 500}, {500000, 5199990, 500}}},
        {drawn(eye, R"("circle": [0, 0, 0.5], "depth": [50, 60])"),
         {{500049, 5200050, 500}, {500000, 5200060, 500}},
         {{500000, 5200049, 500}, {500000, 5200061, 500}, {500051, 5200050, 500}}},
        {R"({"circle": [500000, 5200000, 5], "limit": {"heights": [null, 7], "box": [500000, 0, 0, 6e5, 6e6, 9]}})",
         {{500003, 5200003.9, 0}, {500000, 5200000, 7}},
         {{499999, 5200000, 0}, {500003, 5200003.9, 7.1}, {500004, 5200004, 0}}},
        {R"j({"limit": [{"polygon": ["POLYGON((0 0, 4 0, 4 4))", "POLYGON((3 0, 9 0, 9 4))"]}, {"heights": [3, 3]}]})j",
         {{2, 1, 3}, {8, 1, 3}},
         {{2, 1, 4}, {1, 2, 3}, {4.1, 1, 3}}},
        {drawn(eye, R"("below": "-1 0, 1 0")"), {{500000, 5200100, 499}}, {{500000, 5200100, 501}}},
    };
    for (const auto& [stroke, inside, outside] : cases) {
        SCOPED_TRACE(stroke);
        const Kesh::Brush brush = read(stroke);
        for (const auto& p : inside) EXPECT_TRUE(brush.covers(p)) << p.x << ' ' << p.y << ' ' << p.z;
        for (const auto& p : outside) EXPECT_FALSE(brush.covers(p)) << p.x << ' ' << p.y << ' ' << p.z;
        const ::json::Document text(stroke);
        EXPECT_EQ(read(strokeAsJson(readStroke(::json::Reader(text))).dump()), brush) << "written and read again";
    }
}

TEST_F(Draw, mistakesAreToldWithTheirPlace) {
    const std::vector<std::array<std::string, 2>> cases{
        {R"({})", "net: a stroke is one of"},
        {R"j({"polygone": "POLYGON((0 0, 9 0, 9 9))"})j", "polygon"},
        {R"({"circle": [0, 0, -1]})", "net at /circle: a radius is more than 0"},
        {R"({"circle": [0, 0, 1], "radius": 2})", "net at /radius: only"},
        {R"({"path": "0 0, 1", "radius": 1})", "net at /path: after 6 characters a number"},
        {R"({"lasso": "0 0, 1 nan, 2 2"})", "net at /lasso: after 7 characters a number"},
        {R"({"above": "0 0, 2 2, 1 3"})", "net at /above: a line runs to one side"},
        {R"j({"view": "side", "polygon": "POLYGON((0 0, 9 0, 9 9))"})j", "net at /view: a view is"},
        {R"({"view": {"profile": {"from": [0, 0], "to": [0, 0], "width": 1}}, "lasso": "0 0, 1 1, 2 0"})",
         "net at /view: a profile runs between"},
        {R"({"view": {"perspective": {"eye": [0, 0, 0], "target": [0, 9, 0], "fov": 190, "near": 1, "far": 9}},
             "lasso": "0 0, 1 1, 2 0"})",
         "net at /view: the field of view"},
        {R"({"circle": [0, 0, 1], "depth": [5, 5]})", "net at /depth: two different depths"},
        {R"({"limit": {"heights": [5, 4]}})", "net at /limit/heights: the lower bound 5 is above the upper one, 4"},
        {R"({"limit": []})", "net at /limit: [] was found where a limit"},
        {R"({"limit": {"polygon": "nowhere.wkt"}})", "\"nowhere.wkt\" is neither"},
        {R"({"limit": {"heights": [1, 2]}, "depth": [1, 2]})", "net at /depth: only an outline"},
    };
    for (const auto& [stroke, says] : cases) {
        const auto failure = messageOf<std::exception>([&, &stroke = stroke] { read(stroke); });
        EXPECT_TRUE(holds(failure, says)) << stroke << ": " << failure;
    }
}

TEST_F(Draw, theProgramPrintsTheShapeOfAPolygon) {
    const std::string polygon = "POLYGON((500001 5200001, 500005 5200001, 500003 5200004))";
    const json line = corvane({"shape", in, "--within", polygon, "--viewdepth", "0", "--json"}).document();
    EXPECT_EQ(line["type"], "LineString");
    ASSERT_EQ(line["coordinates"].size(), 4u);
    EXPECT_EQ(line["coordinates"][0], line["coordinates"][3]);
    const RawPoints points(bytesOf(in));
    std::set<std::pair<double, double>> corners;
    for (const json& p : line["coordinates"]) {
        corners.emplace(double(p[0]), double(p[1]));
        EXPECT_NEAR(double(p[2]), points.get<double>(211), 1e-6) << "the highest point of the survey";
    }
    EXPECT_EQ(corners, (std::set<std::pair<double, double>>{{500001, 5200001}, {500005, 5200001}, {500003, 5200004}}));
    EXPECT_TRUE(corvane({"shape", in, "--within", polygon}).out.starts_with("LINESTRING Z (50000"));
    expectRefused({"shape", in, "--within", polygon, "--viewdepth", "nan"}, 2, {"--viewdepth"});
}

} // namespace
} // namespace corvane::test

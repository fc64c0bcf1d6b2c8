// SPDX-License-Identifier: Apache-2.0
// Edits inside polygons, compared with what another library says of each point.
#include "ProgramTestSupport.hpp"

#include <geos_c.h>

namespace corvane::test {
namespace {

enum class Side { In, Out, Boundary };

struct Shape {
    std::string wkt;
    double tolerance;
};

/// Where points lie, by GEOS; what is nearer to an edge than a millionth of the polygon's size counts as boundary.
std::vector<Side> sidesOf(const RawPoints& points, const Shape& shape) {
    const auto context = GEOS_init_r();
    const auto reader = GEOSWKTReader_create_r(context);
    const auto polygon = GEOSWKTReader_read_r(context, reader, shape.wkt.c_str());
    const auto boundary = GEOSBoundary_r(context, polygon);
    const auto area = GEOSPrepare_r(context, polygon), edges = GEOSPrepare_r(context, boundary);
    std::vector<Side> sides;
    for (std::uint64_t i = 0; i < points.count(); ++i) {
        const auto point = GEOSGeom_createPointFromXY_r(context, points.coordinate(i, 0), points.coordinate(i, 1));
        const bool near = GEOSPreparedDistanceWithin_r(context, edges, point, shape.tolerance) == 1;
        const bool in = GEOSPreparedContains_r(context, area, point) == 1;
        sides.push_back(near ? Side::Boundary : in ? Side::In : Side::Out);
        GEOSGeom_destroy_r(context, point);
    }
    for (const auto prepared : {area, edges}) GEOSPreparedGeom_destroy_r(context, prepared);
    for (const auto geometry : {boundary, polygon}) GEOSGeom_destroy_r(context, geometry);
    GEOSWKTReader_destroy_r(context, reader);
    GEOS_finish_r(context);
    return sides;
}

/// A triangle and a square with a hole that both cut the survey, and a line of points as well.
std::vector<Shape> shapesOver(const RawPoints& points) {
    const auto [x0, y0, x1, y1] = points.box();
    const double w = std::max(x1 - x0, 1.0), h = std::max(y1 - y0, 1.0), tolerance = 1e-6 * std::max(w, h);
    const auto ring = [&, x = x0, y = y0](std::vector<std::array<double, 2>> corners) {
        std::string text = "(";
        for (const auto& [u, v] : corners) text += fmt::format("{} {},", x + u * w, y + v * h);
        return text + fmt::format("{} {})", x + corners[0][0] * w, y + corners[0][1] * h);
    };
    const auto square = [&](double a, double b) { return ring({{a, a}, {b, a}, {b, b}, {a, b}}); };
    return {{"POLYGON(" + ring({{-0.31, -0.17}, {1.13, -0.11}, {0.29, 0.93}}) + ")", tolerance},
            {"POLYGON(" + square(-0.013, 0.787) + "," + square(0.233, 0.517) + ")", tolerance}};
}

/// Up to three classes that occur, the commonest among them.
std::vector<int> sourcesIn(const json& counts) {
    std::vector<std::pair<int, int>> byCount;
    for (const auto& [value, count] : counts.items()) byCount.push_back({-count.get<int>(), std::stoi(value)});
    std::sort(byCount.begin(), byCount.end());
    std::vector<int> sources;
    for (const auto& [count, value] : byCount)
        if (sources.size() < 3) sources.push_back(value);
    return sources;
}

class Edits : public RealSurveys {
protected:
    /// Edits in.las inside the shape and compares with the points one by one; returns how many lay clearly inside.
    std::uint64_t editAndCompare(const RawPoints& before, const Shape& shape, const std::vector<int>& from, int to) {
        Arguments more{"--to", std::to_string(to), "--within", shape.wkt, "--json", "--overwrite"};
        for (const int source : from) more.push_back(fmt::format("--from={}", source));
        if (before.count() > 100'000) more.push_back("--memory=1M"); // less than they take
        const json report = reclassify(more).document();
        const RawPoints after(bytesOf(out));
        EXPECT_EQ(after.bytes().size(), before.bytes().size());

        const std::vector<Side> sides = sidesOf(before, shape);
        RawPoints expected = before;
        std::uint64_t inside = 0, onBoundary = 0;
        for (std::uint64_t i = 0; i < before.count(); ++i) {
            const Side side = sides[i];
            inside += side == Side::In;
            onBoundary += side == Side::Boundary;
            const bool source = std::find(from.begin(), from.end(), before.classOf(i)) != from.end();
            const bool changed = side == Side::Boundary ? after.classOf(i) == to : side == Side::In;
            if (source && changed) expected.setClass(i, to);
        }
        EXPECT_TRUE(after.bytes() == expected.bytes()) << changedRecords(expected, after) << " points are wrong";
        EXPECT_LE(onBoundary, before.count() / 100);
        EXPECT_EQ(report["before"], before.classCounts());
        EXPECT_EQ(report["after"], after.classCounts());
        EXPECT_EQ(report["changed"], changedRecords(before, after));
        return inside;
    }

    /// Both shapes over a survey whose flags were scrambled; the classes are as `counts` says.
    void editEverywhere(RawPoints points) {
        points.scrambleFlags();
        write(in, points.bytes());
        const json counts = points.classCounts();
        for (const Shape& shape : shapesOver(points)) {
            SCOPED_TRACE(shape.wkt);
            const std::uint64_t inside = editAndCompare(points, shape, sourcesIn(counts), 30);
            if (points.count() > 100000) break; // one shape is enough for what takes long
            if (points.count() < 100) continue;
            EXPECT_GT(inside, 0u) << "the shape must cut the survey";
            EXPECT_LT(inside, points.count()) << "the shape must cut the survey";
        }
    }
};

TEST_F(Edits, insidePolygonsChangeTheClassOfThePointsInsideAndNothingElse) {
    int edited = 0;
    for (const std::string& name : named("", ".las")) {
        SCOPED_TRACE(name);
        const RawPoints points(bytesOf(Data / name));
        if (points.count() == 0) continue;
        json counts = json::object();
        for (const auto& [value, of] : facts[name]["classes"].items()) counts[value] = of["count"];
        EXPECT_EQ(points.classCounts(), counts);
        editEverywhere(points);
        ++edited;
    }
    EXPECT_GE(edited, 25);
}

TEST_F(Edits, insidePolygonsWorkInThePointFormatsThatNoRealSurveyHas) {
    for (const char* format : {"4", "5", "7", "8", "9", "10"}) {
        SCOPED_TRACE(format);
        const Outcome made = corvane({"sample", out, "--points", "3000", "--point-format", format, "--overwrite"});
        ASSERT_EQ(made.status, 0) << made.err;
        editEverywhere(RawPoints(bytesOf(out)));
    }
}

TEST_F(Edits, findAllPointsWhenTheHeadersBoundsAreWrong) {
    RawPoints points(bytesOf(Data / "point10_pf0.las"));
    for (std::size_t i = 0; i < 6; ++i) points.put(179 + 8 * i, 0.0);
    write(in, points.bytes());
    const Shape shape = shapesOver(points).front();
    EXPECT_GT(editAndCompare(points, shape, {1, 2}, 9), 100u);
    const Outcome run = reclassify({"--from", "1", "--to", "9", "--within", shape.wkt, "--overwrite"});
    EXPECT_TRUE(holds(run.err, "corvane: warning: " + in + ": The header's bounds are wrong")) << run.err;
}

} // namespace
} // namespace corvane::test

// SPDX-License-Identifier: Apache-2.0
// What the program loads for polygons, and where these may come from.
#include "ProgramTestSupport.hpp"

#include <cmath>
#include <random>

namespace corvane::test {
namespace {

class PolygonsOfPrograms : public Program {
protected:
    void SetUp() override {
        Program::SetUp();
        const auto [x0, y0, x1, y1] = RawPoints(bytesOf(in)).box();
        square = fmt::format("POLYGON(({0} {1},{2} {1},{2} {3},{0} {3}))", x0, y0, (x0 + x1) / 2, y1);
    }

    /// A network that edits inside the polygon, in a file.
    std::string network(const std::string& polygon) const {
        write(folder / "net.json", fmt::format(R"({{"survey": "{}", "objects": [
            {{"name": "points", "type": "Field"}}, {{"name": "lasso", "type": "Brush"}},
            {{"name": "editor", "type": "Edit/ModifyClassification",
              "parameters": {{"newvalue": 30, "from0": 2, "from1": 3, "from2": 4, "from3": 5}}}}],
            "connections": [{{"from": "points.field", "to": "editor.labelfield"}},
                            {{"from": "lasso.brush", "to": "editor.brush"}}],
            "actions": [{{"draw": {{"lasso.brush": {{"polygon": "{}"}}}}, "press": "editor.assign"}}]}})",
                                               in, polygon));
        return folder / "net.json";
    }

    /// What the loader of libraries tells while the program runs.
    static std::string loads(const Arguments& call) {
        const Outcome run = execute("/usr/bin/env", Arguments{"LD_DEBUG=files", CORVANE_PROGRAM} + call);
        EXPECT_EQ(run.status, 0) << run.out;
        EXPECT_TRUE(holds(run.err, "libKesh")) << "nothing is told";
        return run.err;
    }

    std::string square;
};

TEST_F(PolygonsOfPrograms, loadProjAndGdalOnlyWhereSystemsDiffer) {
    for (const Arguments& call : {Arguments{"--version"}, Arguments{"catalogue"}, Arguments{"info", in},
                                  Arguments{"run", network(square), "--discard"},
                                  Arguments{"run", network("SRID=32632;" + square), "--discard"}}) {
        const std::string loaded = loads(call);
        EXPECT_FALSE(holds(loaded, "libproj") || holds(loaded, "libgdal")) << fmt::format("{}", fmt::join(call, " "));
    }
    EXPECT_TRUE(holds(loads({"run", network("SRID=4326;POLYGON((8 46,10 46,9 48))"), "--discard"}), "libproj"));
}

TEST_F(PolygonsOfPrograms, needNoSuchLibraryUnlessSystemsDiffer) {
    const Outcome installed = execute(CORVANE_CMAKE, {"--install", CORVANE_BUILD, "--prefix", folder / "there"});
    ASSERT_EQ(installed.status, 0) << installed.err;
    const std::string program = folder / "there/bin/corvane";
    const auto call = [&](const std::string& polygon) {
        return execute(program, {"run", network(polygon), "--discard"});
    };
    const std::string degrees = "SRID=4326;POLYGON((8 46,10 46,9 48))";
    EXPECT_EQ(call(degrees).status, 0) << call(degrees).err;
    for (const auto& file : std::filesystem::recursive_directory_iterator(folder / "there"))
        if (file.path().filename() == "CorvaneGeo.so") std::filesystem::remove(file.path());
    EXPECT_EQ(call("SRID=32632;" + square).status, 0);
    const Outcome refused = call(degrees);
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(holds(refused.complaint(), "corvane-geo")) << refused.err;
}

TEST_F(PolygonsOfPrograms, andNetworksComeOutOfPipes) {
    std::filesystem::copy(network(square), folder / "kept.json");
    const std::string file = folder / "kept.json", wkt = folder / "area.wkt";
    write(wkt, square);
    ASSERT_EQ(corvane({"run", file, "--save", out}).status, 0);
    const std::string expected = bytesOf(out);
    const auto shell = [&](const std::string& line) {
        const Outcome run = execute("/bin/bash", {"-c", line, CORVANE_PROGRAM, file, out, wkt, network("/dev/fd/9")});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_TRUE(bytesOf(out) == expected) << line;
    };
    shell(R"("$0" run - --save "$2" --overwrite < "$1")");
    shell(R"(cat "$1" | "$0" run - --save "$2" --overwrite)");
    shell(R"("$0" run <(cat "$1") --save "$2" --overwrite)");
    shell(R"("$0" run "$4" --save "$2" --overwrite 9< <(cat "$3"))");
    const Outcome nothing = execute("/bin/bash", {"-c", R"("$0" run - < /dev/null)", CORVANE_PROGRAM});
    EXPECT_EQ(nothing.status, 2) << nothing.err;
    const Outcome endless = execute("/bin/bash", {"-c", R"("$0" run - < /dev/zero)", CORVANE_PROGRAM});
    EXPECT_EQ(endless.status, 1) << endless.err;
    EXPECT_TRUE(holds(endless.err, "standard input: has more than the 67108864 bytes")) << endless.err;
}

/// Triangles over the survey, each with a class of its own; no point of the survey lies on an edge.
class Features : public Program {
protected:
    struct Triangle {
        std::array<std::array<double, 2>, 3> corners;
        int value;
        std::string status;

        bool contains(double x, double y) const {
            int left = 0;
            for (std::size_t i = 0; i < 3; ++i) {
                const auto [ax, ay] = corners[i];
                const auto [bx, by] = corners[(i + 1) % 3];
                left += (bx - ax) * (y - ay) - (by - ay) * (x - ax) > 0;
            }
            return left % 3 == 0;
        }

        std::string ring(const char* point, const char* between) const {
            std::string text;
            for (const std::size_t i : {0, 1, 2, 0})
                text += (text.empty() ? "" : between) + fmt::format(fmt::runtime(point), corners[i][0], corners[i][1]);
            return text;
        }
    };

    void SetUp() override {
        Program::SetUp();
        const auto [x0, y0, x1, y1] = RawPoints(bytesOf(in)).box();
        std::mt19937 random(10);
        const auto between = [&](double low, double high) {
            return std::round(std::uniform_real_distribution(low, high)(random) * 100) / 100 + 0.00371;
        };
        for (int i = 0; i < 12; ++i) {
            Triangle triangle{{}, i + 30, i % 3 == 0 ? "draft" : "approved"};
            for (auto& corner : triangle.corners) corner = {between(x0, x1), between(y0, y1)};
            triangles.push_back(triangle);
        }
    }

    /// As features, the last one with a name for its class and the first with a real number.
    std::string geoJson() const {
        std::string features;
        for (const Triangle& t : triangles) {
            const std::string value = t.value == 41 ? "\"Water\"" : t.value == 30 ? "30.0" : std::to_string(t.value);
            features += fmt::format(R"({}{{"type": "Feature", "properties": {{"Class": {}, "status": "{}"}}, "geometry":
                {{"type": "Polygon", "coordinates": [[{}]]}}}})",
                                    features.empty() ? "" : ",", value, t.status, t.ring("[{},{}]", ","));
        }
        write(folder / "areas.geojson", R"({"type": "FeatureCollection", "crs": {"type": "name", "properties":
            {"name": "urn:ogc:def:crs:EPSG::32632"}}, "features": [)" +
                                            features + "]}");
        return folder / "areas.geojson";
    }

    std::string csv() const {
        std::string lines = "id;WKT;class;status\r\n";
        for (const Triangle& t : triangles)
            lines +=
                fmt::format("7;POLYGON(({}));{};{}\r\n", t.ring("{} {}", ","), t.value == 41 ? 9 : t.value, t.status);
        write(folder / "areas.csv", lines);
        return folder / "areas.csv";
    }

    /// The classes that points get, those of the first triangle around them.
    RawPoints expected(const std::string& status) const {
        RawPoints points(bytesOf(in));
        for (std::uint64_t i = 0; i < points.count(); ++i)
            for (const Triangle& t : triangles)
                if (t.contains(points.coordinate(i, 0), points.coordinate(i, 1)) &&
                    (status.empty() || t.status == status)) {
                    points.setClass(i, t.value == 41 ? 9 : t.value);
                    break;
                }
        return points;
    }

    std::vector<Triangle> triangles;
};

TEST_F(Features, giveTheirClassesAsAPlainLoopDoes) {
    const struct {
        std::string file, status;
    } cases[] = {{geoJson(), ""}, {csv(), ""}, {csv(), "approved"}, {geoJson(), "draft"}};
    for (const auto& [file, status] : cases) {
        SCOPED_TRACE(file + status);
        Arguments call{"--from", "any", "--class-from", "class", "--within", file, "--overwrite", "--json"};
        if (!status.empty()) call = call + Arguments{"--where-feature", fmt::format("status = '{}'", status)};
        const Outcome run = reclassify(call);
        ASSERT_EQ(run.status, 0) << run.err;
        const RawPoints before(bytesOf(in)), loop = expected(status);
        EXPECT_GT(changedRecords(before, loop), 300u);
        EXPECT_EQ(run.document()["changed"], changedRecords(before, loop));
        EXPECT_TRUE(bytesOf(out) == loop.bytes());
    }
}

TEST_F(Features, thatMakeNoSenseAreRefused) {
    const std::string file = geoJson();
    const Arguments call{"reclassify", in, out, "--from", "any"};
    expectRefused(call, {
                            {{"--class-from", "clas", "--within", file}, {"feature 1", "Did you mean \"Class\"?"}},
                            {{"--class-from", "status", "--within", file}, {"draft"}},
                            {{"--class-from", "class", "--within", "POLYGON((0 0,1 0,1 1))"}, {"no attributes"}},
                            {{"--class-from", "class", "--within", file, "--where-feature", "state = 1"}, {"state"}},
                            {{"--class-from", "class", "--within", file, "--polygon-crs", "utm"}, {"--polygon-crs"}},
                        });
}

} // namespace
} // namespace corvane::test

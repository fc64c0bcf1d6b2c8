// SPDX-License-Identifier: Apache-2.0
// points: the right ones, with what the file says of them.
#include "ProgramTestSupport.hpp"

#include <cmath>
#include <sstream>

namespace corvane::test {
namespace {

class Points : public Program {
protected:
    static std::vector<std::string> lines(const std::string& text) {
        std::vector<std::string> found;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) found.push_back(line);
        return found;
    }
};

TEST_F(Points, areThoseThatAreAskedFor) {
    RawPoints points(bytesOf(in));
    for (std::uint64_t i = 0; i < points.count(); ++i) points.setClass(i, i % 500 == 3 ? 18 : 2);
    write(in, points.bytes());
    const Outcome few = corvane({"points", in, "--class", "7,15-20"});
    ASSERT_EQ(few.status, 0) << few.err;
    ASSERT_EQ(lines(few.out).size(), 5u) << few.out;
    EXPECT_TRUE(holds(lines(few.out)[2], fmt::format("503 {:>12.2f} {:>13.2f} {:>10.2f}", points.coordinate(503, 0),
                                                     points.coordinate(503, 1), points.coordinate(503, 2))))
        << few.out;
    EXPECT_TRUE(holds(lines(few.out)[2], "18 High Noise"));
    EXPECT_EQ(few.err, "");

    const Outcome many = corvane({"points", in, "--class", "2"});
    EXPECT_EQ(lines(many.out).size(), 101u);
    EXPECT_TRUE(holds(many.err, "more than these 100 points")) << many.err;
    EXPECT_EQ(lines(corvane({"points", in, "--limit", "7"}).out).size(), 8u);
    const Outcome single = corvane({"points", in, "--index", "1999,0", "--format", "csv"});
    ASSERT_EQ(lines(single.out).size(), 3u) << single.out;
    EXPECT_TRUE(lines(single.out)[1].starts_with("1999,") && lines(single.out)[2].starts_with("0,"));
}

/// The same limits in the commands that look at single records, against the plain loop.
TEST_F(Points, ofLimitsAreTheSameInAllCommands) {
    RawPoints before(bytesOf(in));
    for (std::uint64_t i = 0; i < before.count(); ++i) before.setClass(i, i % 9 == 0 ? 26 : 2);
    write(in, before.bytes());
    RawPoints after = before;
    for (std::uint64_t i = 0; i < after.count(); i += 5) after.setClass(i, 6);
    write(out, after.bytes());
    const auto [left, lower, right, upper] = before.box();
    const double x = (left + right) / 2, y = (lower + upper) / 2;
    std::uint64_t meant = 0, reserved = 0, changed = 0;
    for (std::uint64_t i = 0; i < before.count(); ++i) {
        const bool inside =
            before.coordinate(i, 0) <= x && before.coordinate(i, 1) <= y && (before.byteAt(i, 14) & 0x0F) == 1;
        meant += inside;
        reserved += inside && i % 9 == 0;
        changed += inside && i % 5 == 0;
    }
    ASSERT_GT(reserved, 3u);
    const Arguments limits{"--box", fmt::format("{:.3f},{:.3f},{:.3f},{:.3f}", left - 1, lower - 1, x, y), "--where",
                           "ReturnNumber == 1"};
    EXPECT_EQ(lines(corvane(Arguments{"points", in, "--format", "csv"} + limits).out).size(), meant + 1);
    const json linted = corvane(Arguments{"lint", in, "--json"} + limits).document();
    EXPECT_EQ(linted["points"], meant);
    ASSERT_EQ(linted["findings"].size(), 1u) << "nothing about all points";
    EXPECT_EQ(linted["findings"][0]["count"], reserved);
    const json compared = corvane(Arguments{"compare", in, out, "--json"} + limits).document();
    EXPECT_EQ(compared["unchanged"], meant - changed);
    const json drawn =
        corvane(Arguments{"picture", in, folder / "a.svg", "--size", "1800x600", "--json"} + limits).document();
    EXPECT_EQ(drawn["points"], meant);
    EXPECT_TRUE(holds(bytesOf(folder / "a.svg"), "where ReturnNumber == 1"));
    for (const char* command : {"points", "lint"})
        expectRefused({command, in, "--z", "9000..9001"}, 1, {in, "--z 9000..9001"});
    expectRefused({"compare", in, out, "--z", "9000.."}, 1, {in, "--z 9000.."});
    expectRefused({"picture", in, folder / "b.svg", "--z", "9000.."}, 1, {in, "--z 9000.."});
}

/// Commands that look at points, on a folder with a survey that has a finding and one that is none.
TEST_F(Points, ofManyFilesAreLookedAtInOneCall) {
    const std::string tiles = folder / "tiles", maps = folder / "maps";
    std::filesystem::create_directory(tiles);
    RawPoints points(bytesOf(in));
    write(tiles + "/a.las", points.bytes());
    points.setClass(5, 23);
    write(tiles + "/b.las", points.bytes());
    const json linted = corvane({"lint", tiles, "--json", "--jobs", "2"}).document();
    ASSERT_EQ(linted["files"].size(), 2u) << linted;
    EXPECT_EQ(linted["total"]["findings"], json::parse(R"([{"name": "reserved-class", "findings": 1, "points": 1}])"));
    const Outcome text = corvane({"lint", tiles});
    EXPECT_EQ(text.status, 3);
    EXPECT_TRUE(holds(text.out, tiles + "/a.las: no findings") && holds(text.out, tiles + "/b.las: reserved-class: "))
        << text.out;
    EXPECT_EQ(corvane({"info", tiles, "--json"}).document()["total"]["points"], 4000);
    const Arguments draw{"picture", tiles, "--out-dir", maps, "--suffix", "_map.svg", "--size", "700x600"};
    EXPECT_EQ(corvane(draw).status, 0);
    for (const char* name : {"/a_map.svg", "/b_map.svg"}) EXPECT_TRUE(holds(bytesOf(maps + name), "2,000 points"));
    write(tiles + "/c.las", "no survey");
    const Outcome damaged = corvane(draw + Arguments{"--overwrite"});
    EXPECT_EQ(damaged.status, 1);
    EXPECT_TRUE(holds(damaged.err, "c.las") && holds(damaged.out, "b_map.svg")) << damaged.err << damaged.out;
    EXPECT_EQ(corvane({"picture", tiles}).status, 2);
}

/// Every value of every point, read back.
TEST_F(Points, keepEveryValueInFiles) {
    const std::string csv = folder / "all.csv", geoJson = folder / "all.geojson";
    for (const std::string& file : {csv, geoJson}) EXPECT_EQ(corvane({"points", in, "--out", file}).status, 0);
    const RawPoints points(bytesOf(in));
    const std::vector<std::string> rows = lines(bytesOf(csv));
    const json features = json::parse(bytesOf(geoJson))["features"];
    ASSERT_EQ(rows.size(), points.count() + 1);
    ASSERT_EQ(features.size(), points.count());
    std::vector<std::string> names;
    std::istringstream head(rows.front());
    for (std::string name; std::getline(head, name, ',');) names.push_back(name);
    for (std::uint64_t i = 0; i < points.count(); i += 37) {
        const json& properties = features[i]["properties"];
        std::istringstream row(rows[i + 1]);
        std::size_t column = 0;
        for (std::string cell; std::getline(row, cell, ','); ++column) {
            if (column >= 1 && column <= 3)
                EXPECT_NEAR(std::stod(cell), points.coordinate(i, column - 1), 1e-6);
            else
                EXPECT_EQ(json::parse(cell), properties[names[column]]) << names[column];
        }
        EXPECT_EQ(column, names.size());
        EXPECT_EQ(properties["GpsTime"], points.get<double>(points.place(i, 22)));
        EXPECT_EQ(properties["Intensity"], points.get<std::uint16_t>(points.place(i, 12)));
        EXPECT_EQ(properties["Classification"], points.classOf(i));
    }
}

TEST_F(Points, areRefusedInASentence) {
    expectRefused({"points"}, {{{in, "--index", "2000"}, {"--index 2000", "2000 points"}},
                               {{in, "--index", "1", "--class", "2"}, {"--class"}},
                               {{in, "--class", "grund"}, {"grund", "Ground"}},
                               {{in, "--format", "shp"}, {"--format"}},
                               {{in, "--out", folder / "a.gpkg"}, {".csv", ".geojson"}},
                               {{in, "--overwrite"}, {"--out"}}});
}

} // namespace
} // namespace corvane::test

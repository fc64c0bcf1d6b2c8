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
                               {{in, "--class", "ground."}, {"ground."}},
                               {{in, "--format", "shp"}, {"--format"}},
                               {{in, "--out", folder / "a.gpkg"}, {".csv", ".geojson"}},
                               {{in, "--overwrite"}, {"--out"}}});
}

} // namespace
} // namespace corvane::test

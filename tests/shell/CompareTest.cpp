// SPDX-License-Identifier: Apache-2.0
// What the program finds between a survey and a copy that somebody tampered with.
#include "ProgramTestSupport.hpp"

#include "base/Failure.hpp"
#include "check/SurveyComparison.hpp"

#include <cmath>
#include <functional>
#include <limits>

namespace corvane::test {
namespace {

constexpr std::size_t Flags = 15, GpsTime = 22, Intensity = 12; // bytes of a record of point format 6
constexpr std::size_t Software = 58, PointCount = 247, ScaleX = 131;

/// Without some of the points.
RawPoints without(const RawPoints& points, const std::set<std::uint64_t>& dropped) {
    std::string bytes = points.bytes();
    const std::size_t length = points.place(1, 0) - points.place(0, 0);
    for (auto point = dropped.rbegin(); point != dropped.rend(); ++point) bytes.erase(points.place(*point, 0), length);
    RawPoints rest(bytes);
    rest.put(PointCount, points.count() - dropped.size());
    return RawPoints(rest.bytes());
}

RawPoints reversed(const RawPoints& points) {
    std::string bytes = points.bytes();
    const std::size_t length = points.place(1, 0) - points.place(0, 0);
    for (std::uint64_t i = 0; i < points.count(); ++i)
        bytes.replace(points.place(points.count() - 1 - i, 0), length, points.bytes(), points.place(i, 0), length);
    return RawPoints(bytes);
}

/// The same numbers, or nearly, in another unit.
void rescale(RawPoints& points, double scale, int factor) {
    points.put(ScaleX, scale);
    for (std::uint64_t i = 0; i < points.count(); ++i)
        points.put(points.place(i, 0), points.get<std::int32_t>(points.place(i, 0)) * factor);
}

void setNumber(RawPoints& points, std::uint64_t point, double time) { points.put(points.place(point, GpsTime), time); }

class Compare : public Program {
protected:
    json compared(const RawPoints& before, const RawPoints& after) const {
        write(in, before.bytes());
        write(out, after.bytes());
        return corvane({"compare", in, out, "--json"}).document();
    }

    RawPoints points() const { return RawPoints(bytesOf(in)); }
};

TEST_F(Compare, namesTheUsualCulprits) {
    struct Case {
        const char* sentence; // empty: none may be said
        json differing;
        std::function<void(RawPoints& before, RawPoints& after)> tamper;
    };
    const std::vector<Case> cases{
        {"Of 3 points with a value above 31, 2 have its remainder modulo 32 now (64 became 0)",
         {"Classification"},
         [](auto& before, auto& after) {
             before.setClass(4, 64), before.setClass(9, 99), before.setClass(7, 77);
             after.setClass(4, 0), after.setClass(9, 3), after.setClass(7, 2);
         }},
        {"",
         {"Classification"},
         [](auto& before, auto& after) {
             before.setClass(4, 64), before.setClass(9, 99);
             after.setClass(4, 0), after.setClass(9, 99);
         }},
        {"Withheld was cleared: set in 2 points before",
         {"Withheld"},
         [](auto& before, auto& after) {
             for (const int point : {3, 1999}) after.setByte(point, Flags, before.byteAt(point, Flags) & ~4);
             for (const int point : {3, 1999}) before.setByte(point, Flags, before.byteAt(point, Flags) | 4);
         }},
        {"",
         {"Overlap"},
         [](auto& before, auto& after) {
             for (const int point : {3, 1999}) before.setByte(point, Flags, before.byteAt(point, Flags) | 8);
             after.setByte(1999, Flags, before.byteAt(1999, Flags));
         }},
        {"Scale of the coordinates changed: none moved by that",
         {"Scale"},
         [](auto&, auto& after) { rescale(after, 0.001, 10); }},
        {"Scale of the coordinates changed: they moved in X by at most 0.25.",
         {"X", "Scale"},
         [](auto&, auto& after) {
             rescale(after, 0.001, 10);
             after.put(after.place(5, 0), after.template get<std::int32_t>(after.place(5, 0)) + 250);
         }},
        {"2 points were dropped, the first of them with index 7;",
         {"Points", "Intensity", "PointCount"},
         [](auto&, auto& after) {
             after.setByte(20, Intensity, after.byteAt(20, Intensity) ^ 1);
             after = without(after, {7, 9});
         }},
        {"1 points were added, the first of them with index 1999;",
         {"Points", "PointCount"},
         [](auto& before, auto&) { before = without(before, {1999}); }},
        {"stand in another order", {"PointOrder"}, [](auto&, auto& after) { after = reversed(after); }},
        {"cannot be compared one by one", {"UnmatchedPoints", "PointCount"}, [](auto&, auto& after) {
             setNumber(after, 1000, 1.0);
             after = without(after, {7});
         }}};
    const RawPoints original = points();
    for (const Case& one : cases) {
        RawPoints before = original, after = original;
        one.tamper(before, after);
        const json report = compared(before, after);
        SCOPED_TRACE(report.dump(2));
        EXPECT_EQ(report["differing"], one.differing);
        EXPECT_EQ(report["culprits"].size(), *one.sentence == '\0' ? 0u : 1u);
        for (const json& sentence : report["culprits"]) EXPECT_TRUE(holds(sentence, one.sentence)) << one.sentence;
    }
}

TEST_F(Compare, tellsWhereDimensionsDifferAndFromWhatToWhat) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    RawPoints before = points(), after = before;
    for (const int point : {3, 4}) setNumber(before, point, nan);
    for (const int point : {3, 5}) setNumber(after, point, nan);
    setNumber(after, 4, 0.5);
    setNumber(before, 5, -2);
    after.put(after.place(9, 0), after.get<std::int32_t>(after.place(9, 0)) + 1);
    const json report = compared(before, after);
    const json time{{"name", "GpsTime"}, {"points", 2}, {"first", 4}, {"before", "nan"}, {"after", 0.5}};
    ASSERT_EQ(report["dimensions"].size(), 2u);
    EXPECT_EQ(report["dimensions"][1], time);
    const json& x = report["dimensions"][0];
    EXPECT_EQ(x["first"], 9);
    EXPECT_NEAR(x["after"].get<double>() - x["before"].get<double>(), after.get<double>(ScaleX), 1e-9);
    EXPECT_EQ(report["unchanged"], 2000);
}

TEST_F(Compare, findsPointsBeyondTheFirstPieceThatIsRead) {
    ASSERT_EQ(corvane({"sample", in, "--points", "60000", "-q", "--overwrite"}).status, 0);
    const RawPoints before = points();
    RawPoints after = before;
    after.setClass(59'999, 200);
    std::set<std::uint64_t> dropped;
    for (std::uint64_t point = 17'000; point < 40'000; ++point) dropped.insert(point);
    const json report = compared(before, without(after, dropped));
    const json matching{{"kind", "dropped"}, {"missing", 23'000}, {"first", 17'000}};
    EXPECT_EQ(report["points"], matching);
    EXPECT_EQ(report["unchanged"], 36'999);
    EXPECT_EQ(report["dimensions"][0]["first"], 36'999);
    EXPECT_EQ(report["dimensions"][0]["after"], 200);
    EXPECT_EQ(compared(before, after)["dimensions"][0]["first"], 59'999);
}

TEST_F(Compare, provesWhatReclassifyChangedAndThatNothingElseDid) {
    ASSERT_EQ(reclassify({"--from", "2", "--to", "6"}).status, 0);
    const int ground = points().classCounts()["2"];
    const Outcome proof = corvane({"compare", in, out, "--only", "classification"});
    EXPECT_EQ(proof.status, 0) << proof.err;
    EXPECT_TRUE(holds(proof.out, fmt::format("\n{:>7} {:>7} {:>13}\n", 2, 6, ground))) << proof.out;
    EXPECT_EQ(corvane({"compare", in, out, "--json"}).document()["unchanged"], 2000 - ground);

    RawPoints worse(bytesOf(out));
    worse.setByte(1234, Intensity, worse.byteAt(1234, Intensity) ^ 1);
    worse.put(Software, 'x');
    write(out, worse.bytes());
    expectRefused({"compare", in, out, "--only", "class"}, 3, {out, "Intensity, GeneratingSoftware, expected"});
    EXPECT_EQ(corvane({"compare", in, out, "--only", "Class,Intensity,GeneratingSoftware"}).status, 0);
}

/// In another order, and with points that only one of them has.
TEST_F(Compare, findsPointsByPositionAndTime) {
    const RawPoints before = points();
    RawPoints after = before;
    for (int i = 0; i < 5; ++i) after.setClass(std::uint64_t(i), 99);
    const auto counted = [](const json& report) {
        int changed = 0;
        for (const json& one : report["transitions"])
            if (one["from"] != one["to"]) changed += one["points"].get<int>();
        return changed;
    };
    const json order = compared(before, reversed(after));
    EXPECT_EQ(order["points"]["kind"], "reordered");
    EXPECT_EQ(order["matched"], 2000);
    EXPECT_EQ(order["unchanged"], 1995);
    EXPECT_EQ(counted(order), 5);
    EXPECT_EQ(order["countsBefore"], before.classCounts());
    EXPECT_EQ(order["countsAfter"], after.classCounts());
    EXPECT_EQ(corvane({"compare", in, out}).status, 0) << "every point was found";
    EXPECT_EQ(corvane({"compare", in, out, "--memory", "1K"}).status, 0);
    expectRefused({"compare", in, out, "--only", "Classification"}, 3, {"PointOrder"});

    const json fewer = compared(before, without(reversed(after), {3, 4, 5}));
    EXPECT_EQ(fewer["points"]["kind"], "unknown");
    EXPECT_EQ(fewer["matched"], 1997);
    EXPECT_EQ(fewer["pointsOnlyBefore"], 3);
    EXPECT_EQ(counted(fewer), 5);
    expectRefused({"compare", in, out}, 3, {"could not be compared"});

    RawPoints twice = before; // two points that nothing tells apart, with different classes
    const std::size_t length = before.place(1, 0) - before.place(0, 0);
    std::string bytes = twice.bytes();
    bytes.replace(twice.place(1, 0), length, twice.bytes(), twice.place(0, 0), length);
    twice = RawPoints(bytes);
    twice.setClass(1, 77);
    RawPoints same = twice;
    EXPECT_EQ(compared(twice, reversed(same))["matched"], 2000);
    same.setClass(0, 78);
    const json unclear = compared(twice, reversed(same));
    EXPECT_EQ(unclear["matched"], 1998);
    EXPECT_EQ(unclear["notToldApart"], 2);
}

TEST_F(Compare, writesWherePointsChanged) {
    RawPoints before = points();
    const auto place = [&](std::uint64_t point, int x, int y) {
        before.put(before.place(point, 0), std::int32_t{x}), before.put(before.place(point, 4), std::int32_t{y});
        before.setClass(point, 2);
    };
    place(1, 1000, 2000), place(2, 1010, 2005), place(3, 1012, 2150); // centimetres
    place(4, 9000, 9000), place(5, 1005, 2002);
    RawPoints after = before;
    for (const std::uint64_t point : {1, 2, 3, 4}) after.setClass(point, 6);
    after.setClass(5, 9);
    const std::string changes = folder / "changes.geojson";
    for (const bool turned : {false, true}) {
        write(in, before.bytes()), write(out, turned ? reversed(after).bytes() : after.bytes());
        EXPECT_EQ(corvane({"compare", in, out, "--changes", changes, "--overwrite", "--distance", "2"}).status, 0);
        const json features = json::parse(bytesOf(changes))["features"];
        ASSERT_EQ(features.size(), 3u) << features;
        const json& largest = features[0];
        EXPECT_EQ(largest["properties"]["points"], 3);
        EXPECT_EQ(largest["properties"]["fromName"], "Ground");
        EXPECT_EQ(largest["properties"]["to"], 6);
        const json& ring = largest["geometry"]["coordinates"][0];
        const double left = before.coordinate(1, 0), right = before.coordinate(3, 0), upper = before.coordinate(3, 1);
        ASSERT_EQ(ring.size(), 5u);
        EXPECT_NEAR(ring[0][0], left, 1e-6);
        EXPECT_NEAR(ring[2][0], right, 1e-6);
        EXPECT_NEAR(ring[2][1], upper, 1e-6);
    }
    expectRefused({"compare", in, out, "--changes", changes}, 1, {changes, "--overwrite"});
    expectRefused({"compare", in, out, "--changes", folder / "changes.csv"}, 2, {".geojson"});
}

TEST_F(Compare, permitsWhatWritingLabelsChanges) {
    const Outcome edited = corvane({"relabel", in, out, "--assign", "6", "--editable", "2,6", "--with-labels"});
    ASSERT_EQ(edited.status, 0) << edited.err;
    EXPECT_EQ(corvane({"compare", in, out, "--only", "Classification"}).status, 3);
    EXPECT_EQ(corvane({"compare", in, out, "--only", "Classification,labels"}).status, 0);
}

TEST_F(Compare, comparesPointFormatsByTheNamesOfDimensions) {
    ASSERT_EQ(corvane({"sample", out, "--points", "2000", "-q", "--las-version", "1.2", "--point-format", "3"}).status,
              0);
    const RawPoints before = points();
    const json report = corvane({"compare", in, out, "--json"}).document();
    EXPECT_EQ(report["onlyBefore"], json({"Overlap", "ScanChannel", "ScanAngle"}));
    EXPECT_EQ(report["onlyAfter"], json({"ScanAngleRank", "Red", "Green", "Blue"}));
    EXPECT_TRUE(
        holds(report["culprits"].dump(), "Overlap was set in some points; the point format has no such flag now"));
    const RawPoints after(bytesOf(out));
    int changed = 0; // the older formats have other classes
    for (std::uint64_t i = 0; i < 2000; ++i) changed += before.classOf(i) != after.classOf(i);
    EXPECT_EQ(report["dimensions"][0]["name"], "Classification");
    EXPECT_EQ(report["dimensions"][0]["points"], changed);
    const auto fields = report["header"].dump();
    EXPECT_TRUE(holds(fields, R"({"after":"3","before":"6","name":"PointFormat"})")) << fields;
    EXPECT_TRUE(holds(fields, R"({"after":null,"before":"2000","name":"PointCount"})")) << fields;
}

TEST_F(Compare, takesSurveysWithoutPointsAndNamesThatAreNoText) {
    const std::string odd = folder / "odd\xff\x1b[31m.las";
    ASSERT_EQ(corvane({"sample", odd, "--points", "0", "-q"}).status, 0);
    EXPECT_TRUE(holds(corvane({"compare", odd, odd}).out, "They are the same.\n"));
    const std::string said = corvane({"compare", in, odd}).out;
    EXPECT_TRUE(holds(said, "2000 points were dropped, the first of them with index 0")) << said;
    EXPECT_TRUE(holds(said, "odd\\xFF\\x1B[31m.las: 0 points")) << said;
    const json report = corvane({"compare", in, odd, "--json"}).document();
    EXPECT_TRUE(report["after"]["file"].get<std::string>().ends_with("odd\\xFF\\x1B[31m.las")) << report["after"];
}

TEST_F(Compare, refusesWhatItCannotCompare) {
    expectRefused({"compare", in, in, "--field", "GpsTime"}, 2, {"GpsTime", in, "Classification"});
    expectRefused({"compare", in, in, "--only", "Classification,GeneratingSoftwear"}, 2,
                  {"Did you mean \"GeneratingSoftware\"?"});
}

class CompareFiles : public RealSurveys {
protected:
    /// The names that differ when one byte is another; none when the file is refused.
    std::optional<std::vector<std::string>> differingWith(std::string bytes, std::size_t flipped) const {
        write(in, bytes);
        bytes[flipped] = static_cast<char>(bytes[flipped] ^ 0x10);
        write(out, bytes);
        try {
            const LasFile before = LasFile::open(in), after = LasFile::open(out);
            return compareSurveys(before, after, ClassificationName, {}).differing();
        } catch (const Failure&) {
            return std::nullopt;
        }
    }
};

TEST_F(CompareFiles, noByteOfAFileCanChangeUnseen) {
    for (const char* name : {"unregistered_extra_bytes_pf6.las", "5points_14.las", "1.2_3_one_point.las"}) {
        const std::string bytes = bytesOf(Data / name) + "and more";
        std::size_t seen = 0;
        for (std::size_t place = 0; place < bytes.size(); ++place)
            if (const auto differing = differingWith(bytes, place)) {
                EXPECT_FALSE(differing->empty()) << name << " with another byte at " << place;
                ++seen;
            }
        EXPECT_GT(seen, bytes.size() * 9 / 10) << name;
    }
}

TEST_F(CompareFiles, namesTheRecordsThatWereChanged) {
    const std::string bytes = bytesOf(Data / "evlr_pf6.las");
    const LasFile las = LasFile::open(Data / "evlr_pf6.las");
    ASSERT_FALSE(las.evlrs.empty());
    const LasRecord& record = las.evlrs.front();
    const std::string name = fmt::format("{}/{}", record.userId, record.recordId);
    for (const std::size_t place : {record.payloadOffset + record.payloadLength - 1, record.payloadOffset - 32})
        EXPECT_EQ(differingWith(bytes, place), std::vector{name}) << place;
    const std::string renamed = fmt::format("{}/{}", record.userId, record.recordId ^ 0x10);
    EXPECT_EQ(differingWith(bytes, record.payloadOffset - 42), (std::vector{name, renamed})) << "its number";
}

} // namespace
} // namespace corvane::test

// SPDX-License-Identifier: Apache-2.0
// lint: what it finds in surveys that were tampered with, and in real ones.
#include "ProgramTestSupport.hpp"

#include "check/Lint.hpp"
#include "survey/Survey.hpp"

#include <cmath>
#include <functional>

namespace corvane::test {
namespace {

constexpr int Ground = 2;
constexpr std::size_t Z = 2, LegacyFlags = 15, Flags = 15; // bytes of a record

/// Puts a record behind the header.
void addVlr(RawPoints& points, const std::string& userId, std::uint16_t recordId, const std::string& payload) {
    std::string vlr(54, '\0'), bytes = points.bytes();
    const auto length = static_cast<std::uint16_t>(payload.size());
    vlr.replace(2, userId.size(), userId);
    std::memcpy(&vlr[18], &recordId, 2);
    std::memcpy(&vlr[20], &length, 2);
    bytes.insert(points.get<std::uint16_t>(94), vlr + payload);
    RawPoints longer(bytes);
    longer.put<std::uint32_t>(96, points.get<std::uint32_t>(96) + static_cast<std::uint32_t>(vlr.size() + length));
    longer.put<std::uint32_t>(100, points.get<std::uint32_t>(100) + 1);
    points = longer;
}

template <class... Points>
void setClasses(RawPoints& points, int value, Points... which) {
    (points.setClass(which, value), ...);
}

void setHeight(RawPoints& points, std::uint64_t point, double height) {
    points.put(points.place(point, 4 * Z), static_cast<std::int32_t>(height * 100));
}

/// A height with as much ground above as below.
double middleOfGround(const RawPoints& points) {
    std::vector<double> heights;
    for (std::uint64_t i = 0; i < points.count(); ++i)
        if (points.classOf(i) == Ground) heights.push_back(points.coordinate(i, Z));
    std::nth_element(heights.begin(), heights.begin() + heights.size() / 2, heights.end());
    return heights[heights.size() / 2];
}

template <class T>
void add(RawPoints& points, std::size_t offset, T summand) {
    points.put(offset, static_cast<T>(points.get<T>(offset) + summand));
}

/// Ground 100 metres below all else, and noise between the two.
void sinkOneGroundPoint(RawPoints& points) {
    const double lowest = points.get<double>(219);
    points.setClass(10, Ground);
    setHeight(points, 10, lowest - 100);
    points.setClass(11, 7);
    setHeight(points, 11, lowest - 50);
    points.put(219, lowest - 100);
}

/// The colours of format 3 become extra bytes of format 1, the first two a dimension: 40 in the points 3 and 4.
void giveWideClasses(RawPoints& points, int kept) {
    points.put<std::uint8_t>(104, 1);
    std::string descriptor(192, '\0');
    descriptor[2] = 3; // uint16
    descriptor.replace(4, 13, "OriginalClass");
    addVlr(points, "LASF_Spec", 4, descriptor);
    for (std::uint64_t i = 0; i < points.count(); ++i)
        points.put<std::uint16_t>(points.place(i, 28), i == 3 || i == 4 ? 40 : 1);
    setClasses(points, kept, 3, 4);
}

std::string lookup(int value, std::string name) {
    name.resize(15);
    return static_cast<char>(value) + name;
}

struct Tampering {
    const char* what;
    std::function<void(RawPoints&)> with;
    const char* finding = nullptr; ///< nullptr: there must be none
    int count = 0, example = -1;   ///< -1: no example
    const char* says = "";
};

const Tampering Extended[] = {
    {"nothing", [](RawPoints&) {}},
    {"classes of users and of water depths", [](RawPoints& p) { p.setClass(5, 64), p.setClass(6, 45); }},
    {"class 8", [](RawPoints& p) { setClasses(p, 8, 5, 9); }, "keypoint-class", 2, 5, "KeyPoint flag"},
    {"class 12", [](RawPoints& p) { p.setClass(7, 12); }, "overlap-class", 1, 7, "Overlap flag"},
    {"class 23", [](RawPoints& p) { setClasses(p, 23, 1, 2, 1999); }, "reserved-class", 3, 1, "Class 23"},
    {"withheld ground", [](RawPoints& p) { setClasses(p, Ground, 3, 4), p.setByte(4, Flags, 4); }, "withheld-ground", 1,
     4},
    {"low noise in ground", [](RawPoints& p) { setHeight(p, 8, middleOfGround(p)), p.setClass(8, 7); },
     "noise-in-ground", 1, 8, "may be ground"},
    {"high noise in ground", [](RawPoints& p) { setHeight(p, 9, middleOfGround(p)), p.setClass(9, 18); },
     "noise-in-ground", 1, 9},
    {"noise below ground but for an outlier", sinkOneGroundPoint},
    {"points of return 1", [](RawPoints& p) { add<std::uint64_t>(p, 255, 3); }, "header-counts", 3, -1,
     "at offset 255 are not"},
    {"more points than there are", [](RawPoints& p) { p.put<std::uint64_t>(263, 11157594); }, "header-counts", 2000, -1,
     "return 2: 11157594 stated"},
    {"a point of return 0",
     [](RawPoints& p) {
         const int returns = p.byteAt(6, 14), number = returns & 15;
         p.setByte(6, 14, returns & ~15);
         add<std::uint64_t>(p, 247 + 8 * static_cast<std::size_t>(number), -1);
     },
     "return-number", 1, 6, "count from 1"},
    {"older counts without those of returns", [](RawPoints& p) { p.put<std::uint32_t>(107, 2000); }, "legacy-counts",
     2000, -1, "return 1: 0 stated"},
    {"bounds wrong by a unit", [](RawPoints& p) { add<double>(p, 179, -0.01), add<double>(p, 187, -0.01); }},
    {"bounds too narrow by two units", [](RawPoints& p) { setHeight(p, 6, p.get<double>(211) + 0.025); },
     "header-bounds", 1, 6, "Z: "},
    {"bounds too wide", [](RawPoints& p) { add<double>(p, 195, 1); }, "header-bounds", 0, -1, "Y: "},
    {"bounds that are no numbers", [](RawPoints& p) { p.put<double>(187, NAN); }, "header-bounds", 2000, 0, "X: nan"},
    {"bit of WKT off", [](RawPoints& p) { p.put<std::uint16_t>(6, 1); }, "wkt-bit-missing", 0, -1, "bit 4"},
    {"no bit, no WKT", [](RawPoints& p) { p.put<std::uint16_t>(6, 1), p.put<char>(377, 'x'); }, "wkt-bit-missing", 0,
     -1, "point format 6"},
    {"no WKT", [](RawPoints& p) { p.put<char>(377, 'x'); }, "wkt-record-missing", 0, -1, "2112"},
};

const Tampering Legacy[] = {
    {"nothing", [](RawPoints&) {}},
    {"classes 8 and 12", [](RawPoints& p) { p.setClass(5, 8), p.setClass(6, 12); }},
    {"flags as they occur: ground key-point, synthetic water, withheld",
     [](RawPoints& p) {
         p.setByte(1, LegacyFlags, 66), p.setByte(2, LegacyFlags, 41), p.setByte(3, LegacyFlags, 129);
     }},
    {"class 64 as a byte", [](RawPoints& p) { p.setByte(5, LegacyFlags, 64), p.setByte(8, LegacyFlags, 64); },
     "squeezed-class", 2, 5, "may have had class 64,"},
    {"class 10", [](RawPoints& p) { p.setClass(9, 10); }, "reserved-class", 1, 9, "class 42"},
    {"class 18, no noise here", [](RawPoints& p) { setHeight(p, 9, middleOfGround(p)), p.setClass(9, 18); },
     "reserved-class", 1, 9, "High Noise"},
    {"withheld ground", [](RawPoints& p) { p.setByte(4, LegacyFlags, 128 + Ground); }, "withheld-ground", 1, 4},
    {"extra bytes with the classes", [](RawPoints& p) { giveWideClasses(p, 8); }, "squeezed-class", 2, 3,
     "\"OriginalClass\""},
    {"extra bytes with other values", [](RawPoints& p) { giveWideClasses(p, 1); }},
    {"lookup with a class above 31",
     [](RawPoints& p) { addVlr(p, "LASF_Spec", 0, lookup(73, "Quay")), setClasses(p, 9, 2, 4); }, "squeezed-class", 2,
     2, "73 (\"Quay\")"},
    {"lookup with the whole table",
     [](RawPoints& p) {
         addVlr(p, "LASF_Spec", 0, lookup(33, "Reserved") + lookup(65, "User Definable") + lookup(92, "Quay"));
     }},
};

class Lint : public Program {
protected:
    /// Expects exactly this finding, or none, in a copy of in.las.
    void expect(const Tampering& tampering) const {
        SCOPED_TRACE(tampering.what);
        RawPoints points(bytesOf(in));
        for (std::uint64_t i = 0; i < points.count(); ++i)
            if (points.classOf(i) == 9) points.setClass(i, 1); // so that counts of water do not hang on the sample
        tampering.with(points);
        write(out, points.bytes());
        const Outcome run = corvane({"lint", out, "--json", "-q"});
        EXPECT_EQ(run.status, tampering.finding ? 3 : 0) << run.err;
        const json report = json::parse(run.out);
        EXPECT_EQ(report["points"], points.count());
        ASSERT_EQ(report["findings"].size(), tampering.finding ? 1u : 0u) << run.out;
        if (!tampering.finding) return;
        const json& found = report["findings"][0];
        EXPECT_EQ(found["name"], tampering.finding);
        EXPECT_EQ(found["count"], tampering.count);
        EXPECT_TRUE(holds(found["text"], tampering.says)) << found["text"];
        ASSERT_EQ(found.contains("example"), tampering.example >= 0) << found;
        if (tampering.example < 0) return;
        const auto point = static_cast<std::uint64_t>(tampering.example);
        EXPECT_EQ(found["example"]["index"], point);
        EXPECT_EQ(found["example"]["class"], points.classOf(point));
        for (std::size_t axis = 0; axis < 3; ++axis)
            EXPECT_DOUBLE_EQ(found["example"]["position"][axis], points.coordinate(point, axis));
    }

    void sample(const Arguments& more) const {
        ASSERT_EQ(corvane(Arguments{"sample", in, "-q", "--overwrite"} + more).status, 0);
    }
};

TEST_F(Lint, findsWhatWasTamperedWithAndNothingElse) {
    for (const Tampering& tampering : Extended) expect(tampering);
    sample({"--points", "2000", "--las-version", "1.2", "--point-format", "3"});
    for (const Tampering& tampering : Legacy) expect(tampering);
    sample({"--points", "2000", "--las-version", "1.4", "--point-format", "3"});
    expect({"a wrong older count", [](RawPoints& p) { add<std::uint32_t>(p, 111, 4); }, "legacy-counts", 4, -1,
            "at offset 111 are not those of the points (return 1: "});
    expect({"no older counts", [](RawPoints& p) { p.put<std::array<std::uint32_t, 6>>(107, {}); }});
}

TEST_F(Lint, findsNothingInSamplesOfAnySize) {
    for (const char* points : {"0", "1", "2", "3", "100", "70001"}) {
        sample({"--points", points});
        const Outcome run = corvane({"lint", in});
        EXPECT_TRUE(holds(run.out, fmt::format("no findings: {} point", points))) << run.out;
    }
}

TEST_F(Lint, saysWhatItFoundBeforeItFails) {
    RawPoints points(bytesOf(in));
    points.setByte(3, 16, 202);
    points.setByte(5, 16, 41);
    write(out, points.bytes());
    const Outcome good = corvane({"lint", out});
    EXPECT_EQ(good.status, 0) << good.err;
    EXPECT_TRUE(holds(good.out, "note: 1 point ") && holds(good.out, "no findings: 2000 points")) << good.out;
    points.put<std::uint16_t>(6, 1);
    points.setByte(7, 16, 40 - 1);
    write(out, points.bytes());
    const Outcome bad = corvane({"lint", out});
    EXPECT_TRUE(holds(bad.out, "wkt-bit-missing: ")) << bad.out;
    EXPECT_TRUE(holds(bad.out, fmt::format("1 point, the first: point 7 at {:.2f} {:.2f} {:.2f}, class 39",
                                           points.coordinate(7, 0), points.coordinate(7, 1), points.coordinate(7, 2))))
        << bad.out;
    expectRefused({"lint", out}, 3, {out, "2 findings", "2000 points"});
}

TEST_F(Lint, canBeShownASurveyWithItsEdits) {
    const Survey survey(in);
    const auto field = survey.points().findField(ClassificationName);
    const Fiber::Field::Fragment fragment = field->fragments().begin()->second;
    const auto edited = fragment.array->privateCopy();
    edited->writableData<std::uint8_t>()->writableValues()[7] = 23;
    field->setPersistentData(edited, fragment.id);
    EXPECT_TRUE(lint(survey.las(), {}, Watch()).findings.empty());
    const LintReport report = lint(survey.edited(), {}, Watch());
    ASSERT_EQ(report.findings.size(), 1u);
    EXPECT_EQ(report.findings[0].name, "reserved-class");
    EXPECT_EQ(report.findings[0].example->index, 7u);
    EXPECT_EQ(report.findings[0].example->value, 23);
}

TEST_F(Lint, knowsWhatWasAgreed) {
    RawPoints points(bytesOf(in));
    for (std::uint64_t i = 0; i < points.count(); ++i) {
        points.setClass(i, i < 7 ? 26 : 2);
        points.setByte(i, Flags, i == 11 ? 8 : 0); // overlap
        setHeight(points, i, i == 5 ? 9000 : 400);
    }
    points.put<double>(211, 9000.0), points.put<double>(219, 400.0);
    write(out, points.bytes());
    const auto found = [&](const Arguments& more) {
        std::map<std::string, int> counts;
        const json report = corvane(Arguments{"lint", out, "--json", "-q"} + more).document();
        for (const json& finding : report["findings"]) counts[finding["name"]] += finding["count"].get<int>();
        return counts;
    };
    const std::string contract = folder / "contract.json";
    const auto agreed = [&](const std::string& text) {
        write(contract, text);
        return found({"--rules", contract});
    };
    using Found = std::map<std::string, int>;
    EXPECT_EQ(found({}), (Found{{"reserved-class", 7}}));
    EXPECT_EQ(found({"--ignore", "reserved-class"}), Found());
    EXPECT_EQ(found({"--classes", "1,2,20-30"}), Found());
    EXPECT_EQ(found({"--classes", "26"}), (Found{{"class-not-allowed", 1993}}));
    EXPECT_EQ(agreed(R"({"classes": [2, "26-27"], "version": ["1.2", "1.4"], "pointFormat": 6, "crs": "epsg:32632",
                         "heights": [400, 9000], "density": [0.001, null], "flags": {"Overlap": true}})"),
              Found());
    EXPECT_EQ(agreed(R"({"version": "1.2", "pointFormat": [7, 8], "crs": "EPSG:25832", "heights": [null, 400],
                         "density": [1e6, null], "flags": {"Overlap": false, "Withheld": false},
                         "ignore": "reserved-class"})"),
              (Found{{"contract-version", 0},
                     {"contract-format", 0},
                     {"contract-crs", 0},
                     {"contract-heights", 1},
                     {"contract-density", 0},
                     {"contract-flag", 1}}));
    for (const char* wrong :
         {"{\"clases\": []}", "{\"classes\": [256]}", "{\"classes\": [\"9-2\"]}", "[1]", "{\"heights\": [5]}",
          "{\"heights\": [5, 1]}", "{\"flags\": {\"Wihheld\": true}}", "{\"ignore\": \"reserved\"}", "{"}) {
        write(contract, wrong);
        const Outcome run = corvane({"lint", out, "--rules", contract});
        EXPECT_TRUE(run.status == 1 || run.status == 2) << wrong << run.err;
        EXPECT_TRUE(holds(run.err, contract)) << run.err;
    }
    expectRefused({"lint", in, "--classes", "2,x"}, 2, {"--classes x", "no class of that name"});
    expectRefused({"lint", in, "--ignore", "reservd-class"}, 2, {"reservd-class", "\"reserved-class\""});
}

TEST_F(Lint, writesThePointsThatItFinds) {
    RawPoints points(bytesOf(in));
    setClasses(points, 23, 7, 9), setClasses(points, 8, 12);
    write(out, points.bytes());
    const std::string csv = folder / "found.csv", geoJson = folder / "found.geojson";
    for (const std::string& file : {csv, geoJson}) EXPECT_EQ(corvane({"lint", out, "--points", file}).status, 3);
    const std::string text = bytesOf(csv);
    EXPECT_TRUE(text.starts_with("Rule,Index,X,Y,Z,Intensity,")) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4) << text;
    EXPECT_TRUE(holds(text, fmt::format("\nreserved-class,7,{:.2f},{:.2f},{:.2f},", points.coordinate(7, 0),
                                        points.coordinate(7, 1), points.coordinate(7, 2))))
        << text;
    EXPECT_TRUE(holds(text, "\nkeypoint-class,12,")) << text;
    const json features = json::parse(bytesOf(geoJson));
    EXPECT_EQ(features["crs"]["properties"]["name"], "urn:ogc:def:crs:EPSG::32632");
    ASSERT_EQ(features["features"].size(), 3u);
    const json& second = features["features"][1];
    EXPECT_EQ(second["properties"]["Index"], 9);
    EXPECT_EQ(second["properties"]["Classification"], 23);
    EXPECT_DOUBLE_EQ(second["geometry"]["coordinates"][2], std::round(points.coordinate(9, Z) * 100) / 100);
    expectRefused({"lint", out, "--points", csv}, 1, {csv, "--overwrite"});
    expectRefused({"lint", out, "--points", folder / "found.shp"}, 2, {".csv", ".geojson"});
}

/// Every finding that says which points it is about must find as many of them again.
TEST_F(Lint, findsThePointsAgainThatItCounted) {
    const std::string csv = folder / "found.csv";
    const auto expectAll = [&](const Tampering& tampering) {
        RawPoints points(bytesOf(in));
        tampering.with(points);
        write(out, points.bytes());
        const json report = corvane({"lint", out, "--json", "-q", "--points", csv, "--overwrite"}).document();
        std::int64_t counted = 0;
        for (const json& finding : report["findings"])
            if (finding.contains("example")) counted += finding["count"].get<std::int64_t>();
        const std::string text = bytesOf(csv);
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n') - 1, counted) << tampering.what << report.dump();
    };
    for (const Tampering& tampering : Extended) expectAll(tampering);
    sample({"--points", "2000", "--las-version", "1.2", "--point-format", "3"});
    for (const Tampering& tampering : Legacy) expectAll(tampering);
}

/// Findings about the header and the return numbers.
std::multiset<std::string> expectedOf(const json& known) {
    std::multiset<std::string> expected;
    const bool legacy = known["point_format"] < 6;
    bool wkt = false, sameBounds = true;
    for (const json& record : known["vlrs"])
        wkt |= record.get<std::string>().starts_with("LASF_Projection/2112:") && record != "LASF_Projection/2112:0";
    for (std::size_t axis = 0; axis < 3 && known["points"] > 0; ++axis)
        for (std::size_t end = 0; end < 2; ++end) {
            const std::string name(1, "xyz"[axis]);
            const double stated = known["header_bounds"][name][end], found = known["bounds"][name][end];
            sameBounds &= std::abs(stated - found) <= 1.01 * known["scale"][axis].get<double>();
        }
    const bool bit = (known["global_encoding"].get<int>() & 16) != 0;
    if (!sameBounds) expected.insert("header-bounds");
    if (!bit && (wkt || !legacy)) expected.insert("wkt-bit-missing");
    if (bit && !wkt) expected.insert("wkt-record-missing");
    if (known.value("returns", json::object()).contains("0")) expected.insert("return-number");
    return expected;
}

using LintOfRealSurveys = RealSurveys;

TEST_F(LintOfRealSurveys, agreesWithTheirFacts) {
    const std::set<std::string> known{"header-bounds", "return-number", "wkt-bit-missing", "wkt-record-missing"};
    int seen = 0;
    for (const std::string& name : named("", ".las")) {
        SCOPED_TRACE(name);
        const Outcome run = corvane({"lint", Data / name, "--json"});
        const json report = json::parse(run.out);
        EXPECT_EQ(report["points"], facts[name]["points"]);
        EXPECT_EQ(run.status, report["findings"].empty() ? 0 : 3) << run.err;
        std::multiset<std::string> found;
        for (const json& finding : report["findings"])
            if (known.contains(finding["name"])) found.insert(finding["name"]);
        EXPECT_EQ(found, expectedOf(facts[name]));
        ++seen;
    }
    EXPECT_GE(seen, 25);
}

} // namespace
} // namespace corvane::test

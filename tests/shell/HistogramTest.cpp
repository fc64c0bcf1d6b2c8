// SPDX-License-Identifier: Apache-2.0
// Counts of the program against plain loops over the raw bytes, and against facts found out without it.
#include "ProgramTestSupport.hpp"

#include "Fiber/FragmentBox.hpp"
#include "base/Failure.hpp"
#include "limit/Limits.hpp"
#include "network/Counting.hpp"
#include "plugin/Plugin.hpp"
#include "survey/Survey.hpp"

namespace corvane::test {
namespace {

constexpr std::size_t UserData = 17; // byte of a record of point format 6

/// {"2": 17} of the values of a histogram.
json countsOf(const json& histogram) {
    json counts = json::object();
    for (const json& entry : histogram["values"]) counts[std::to_string(entry["value"].get<int>())] = entry["count"];
    return counts;
}

class Histogram : public Program {
protected:
    json histogram(const Arguments& more) const {
        return corvane(Arguments{"histogram", in, "--json", "-q"} + more).document();
    }

    RawPoints points() const { return RawPoints(bytesOf(in)); }

    /// The polygon's box is that of the middle of the survey, in parts.
    std::string diamond(double part) const {
        const auto [x0, y0, x1, y1] = points().box();
        const double x = (x0 + x1) / 2, y = (y0 + y1) / 2, w = (x1 - x0) / 2 * part, h = (y1 - y0) / 2 * part;
        return fmt::format("POLYGON(({} {}, {} {}, {} {}, {} {}))", x - w, y, x, y - h, x + w, y, x, y + h);
    }
};

TEST_F(Histogram, countsInABoxAgreeWithAPlainLoop) {
    const RawPoints raw = points();
    const auto [x0, y0, x1, y1] = raw.box();
    const double x = raw.coordinate(5, 0), y = raw.coordinate(9, 1); // faces with a point on them
    std::map<int, std::set<int>> plain;                              // intensities by class
    std::uint64_t total = 0;
    for (std::uint64_t i = 0; i < raw.count(); ++i) {
        if (raw.coordinate(i, 0) < x || raw.coordinate(i, 1) > y) continue;
        plain[raw.classOf(i)].insert(raw.get<std::uint16_t>(raw.place(i, 12)));
        ++total;
    }
    const json found =
        histogram({"--box", fmt::format("{},{},-1e9,{},{},1e9", x, y0 - 1, x1 + 1, y), "--secondary", "intensity"});
    EXPECT_EQ(found["secondary"], "Intensity");
    EXPECT_EQ(found["total"], total);
    ASSERT_EQ(found["values"].size(), plain.size());
    for (const json& entry : found["values"]) {
        EXPECT_EQ(entry["minimum"], *plain[entry["value"]].begin());
        EXPECT_EQ(entry["maximum"], *plain[entry["value"]].rbegin());
    }
}

TEST_F(Histogram, countsUnderAPolygonAreThoseThatAnEditSelects) {
    for (const double part : {0.1, 0.4, 1.2}) {
        const std::string polygon = diamond(part);
        const json found = histogram({"--within", polygon, "--secondary", "Z"});
        EXPECT_EQ(found["title"], "Brush");
        std::uint64_t total = 0;
        for (const json& entry : found["values"]) {
            const std::string value = std::to_string(entry["value"].get<int>());
            const json edit =
                reclassify({"--from", value, "--to", "99", "--within", polygon, "--dry-run", "--json", "-q"})
                    .document();
            EXPECT_EQ(entry["count"], edit["changed"]) << "class " << value << ", part " << part;
            total += edit["changed"].get<std::uint64_t>();
        }
        EXPECT_EQ(found["total"], total);
        const json throughMask = histogram({"--within", polygon, "--secondary", "Z", "--memory", "40K"});
        EXPECT_EQ(throughMask["title"], "Mask") << "when memory is short";
        EXPECT_EQ(countsOf(throughMask), countsOf(found));
    }
}

TEST_F(Histogram, tellsOfAPolygonThatMissesTheSurvey) {
    const Outcome run = corvane({"histogram", in, "--within", "POLYGON((5 52, 6 52, 6 53))"});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(holds(run.err, "degrees")) << run.err;
    EXPECT_EQ(corvane({"histogram", in, "--within", "POLYGON((5 52, 6 52, 6 53))", "--allow-miss"}).status, 0);
}

TEST_F(Histogram, countsThroughAnyFieldOfEightBits) {
    RawPoints raw = points();
    json expected = json::object();
    for (std::uint64_t i = 0; i < raw.count(); ++i) {
        raw.setByte(i, UserData, i % 3 == 0 ? int(i % 250) : 0);
        if (i % 3 != 0 || i % 250 == 0) continue;
        json& count = expected[std::to_string(raw.classOf(i))];
        count = count.is_null() ? 1 : count.get<int>() + 1;
    }
    write(in, raw.bytes());
    EXPECT_EQ(countsOf(histogram({"--mask", "userdata"})), expected);
}

TEST_F(Histogram, reportsWithNamesAndKeepsToTheModule) {
    write(folder / "labels.json", R"({"labels": [{"value": 2, "name": "Boden"}]})");
    const Outcome run = corvane({"histogram", in, "--labels", folder / "labels.json", "-q"});
    EXPECT_TRUE(holds(run.out, "%  Boden\n")) << run.out;
    EXPECT_TRUE(run.out.ends_with("2000 points\n")) << run.out;
    const json named = histogram({});
    EXPECT_EQ(countsOf(named), points().classCounts());
    EXPECT_EQ(named["values"][1]["label"], "Ground");
    EXPECT_EQ(named["values"][1]["mean"], json());

    write(folder / "net.json", R"({"objects": [{"name": "points", "type": "Field"},
        {"name": "counts", "type": "Compute/PointCloudHistogram", "parameters": {"scope": "WholeDataset"}}],
        "connections": [{"from": "points.field", "to": "counts.inputfield"}],
        "actions": [{"report": "counts"}, {"press": "counts.compute", "report": ["counts", "points"]}]})");
    const Arguments network{"run", folder / "net.json", "--survey", in, "-q"};
    const json reports = corvane(network + Arguments{"--json"}).document()["reports"];
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_EQ(reports[0]["histogram"]["total"], 0) << "nothing was asked for yet";
    EXPECT_EQ(countsOf(reports[1]["histogram"]), points().classCounts());
    EXPECT_EQ(reports[2]["counts"], points().classCounts());
    const Outcome told = corvane({"run", folder / "net.json", "--survey", in, "--verbose"});
    EXPECT_TRUE(holds(told.out, "counts, Classification:\n") && holds(told.out, "2000 points\n")) << told.out;
    EXPECT_FALSE(holds(told.out, "WholeDataset")) << told.out;
    EXPECT_TRUE(holds(told.err, "counts: WholeDataset: 2000 points")) << told.err; // in the module's own words
}

TEST_F(Histogram, refusesWhatCannotBeCounted) {
    expectRefused({"histogram", in}, {{{"--box", "1,2,3"}, {"--box", "4 or 6"}},
                                      {{"--box", "1,2,3,4,5,6,7"}, {"--box", "7 numbers"}},
                                      {{"--box", "1,2,3,4,5,nan"}, {"--box", "\"nan\""}},
                                      {{"--box", "1-2-3-4-5-6"}, {"--box", "1-2-3"}},
                                      {{"--box", ""}, {"--box", "empty"}},
                                      {{"--field", "Clasification"}, {"no field", "\"Classification\""}},
                                      {{"--field", "GpsTime"}, {"--field GpsTime", "double", "uint8 and uint16"}},
                                      {{"--mask", "Intensity"}, {"--mask Intensity", "uint16", "uint8"}},
                                      {{"--secondary", "Positions.z"}, {"no field \"Positions.z\"", "\"Positions\""}},
                                      {{"--secondary", "Positions"}, {"--secondary Positions", "X, Y or Z"}},
                                      {{"--mask", "UserData", "--box", "1,2,3,4,5,6"}, {"--mask", "no other limit"}}});
}

TEST_F(Histogram, takesTheBoundsOfThePointsWhenTheHeaderIsWrong) {
    const json right = histogram({"--secondary", "Z"});
    RawPoints raw = points();
    raw.put(179, raw.get<double>(179) + 1000); // largest X
    write(in, raw.bytes());
    EXPECT_EQ(histogram({"--secondary", "Z"}), right);
}

TEST_F(Histogram, ofNoPointsIsComplete) {
    ASSERT_EQ(corvane({"sample", out, "--points", "0", "-q"}).status, 0);
    for (const Arguments& more : {Arguments{}, Arguments{"--secondary", "Z"}}) {
        const Outcome run = corvane(Arguments{"histogram", out, "--json"} + more);
        EXPECT_TRUE(holds(run.err, "has no points")) << run.err;
        EXPECT_EQ(run.document()["complete"], true);
        EXPECT_EQ(run.document()["total"], 0);
    }
}

TEST_F(Histogram, leavesNothingBehindWheneverItIsStopped) {
    const Plugin plugin(CORVANE_PLUGIN);
    for (const std::size_t memory : {40'000u, 4'000'000u}) { // through a mask, and under the brush
        const Survey survey(in, {.memoryBytes = memory, .fragmentPoints = 500});
        const CountTask task{.field = survey.selector("Classification"),
                             .region = Kesh::Brush(insidePolygons(readPolygons(std::vector{diamond(0.5)})))};
        const std::uint64_t whole = countPoints(survey, task).histogram.total();
        EXPECT_GT(whole, 0u);
        const std::size_t fields = survey.points().numberOfFields();
        int stopped = 0;
        for (bool ended = false; !ended; ++stopped) {
            int left = stopped;
            try {
                const Count counted = countPoints(survey, task, Watch([&](auto...) { return left-- > 0; }));
                EXPECT_EQ(counted.histogram.total(), whole);
                ended = true;
            } catch (const Interrupted& interruption) {
                EXPECT_TRUE(holds(interruption.what(), " was interrupted.")) << interruption.what();
            }
            EXPECT_EQ(survey.points().numberOfFields(), fields);
        }
        EXPECT_GT(stopped, 4) << "it was stopped before every fragment";
    }
}

TEST_F(Histogram, findsBoxesOnTheWayWhenABrushIsExpected) {
    const Plugin plugin(CORVANE_PLUGIN);
    RawPoints raw = points();
    raw.put(131, -raw.get<double>(131)); // scale of X
    write(out, raw.bytes());
    for (const std::string& file : {in, out}) {
        const Survey expecting(file, {.fragmentPoints = 700}), other(file, {.fragmentPoints = 700});
        expecting.expectBrush();
        for (const Survey* survey : {&expecting, &other})
            countPoints(*survey, {.field = survey->selector("Classification")});
        const auto found = expecting.points().findField(Fiber::PositionsName);
        const auto positions = other.points().findField(Fiber::PositionsName);
        for (const auto& [number, fragment] : found->fragments()) {
            EXPECT_FALSE(Fiber::knownFragmentBBox(*positions, fragment.id));
            const auto box = Fiber::knownFragmentBBox(*found, fragment.id);
            ASSERT_TRUE(box);
            const auto expected = Fiber::getFragmentBBox(*positions, fragment.id);
            EXPECT_EQ(box->minimum, expected.minimum);
            EXPECT_EQ(box->maximum, expected.maximum);
            EXPECT_FALSE(fragment.array->hasData());
        }
    }
}

class HistogramOfRealSurveys : public RealSurveys {};

TEST_F(HistogramOfRealSurveys, agreesWithTheirFacts) {
    int checked = 0;
    for (const std::string& name : named("", ".las")) {
        SCOPED_TRACE(name);
        const json& classes = facts[name]["classes"];
        const json all = corvane({"histogram", Data / name, "--json", "-q"}).document();
        const json heights = corvane({"histogram", Data / name, "--secondary", "Z", "--json", "-q"}).document();
        EXPECT_EQ(all["total"], facts[name]["points"]);
        EXPECT_EQ(all["values"].size(), classes.size());
        EXPECT_EQ(countsOf(all), countsOf(heights));
        for (const json& entry : heights["values"]) {
            const json& known = classes[std::to_string(entry["value"].get<int>())];
            const double tolerance = 1e-9 * std::max(1.0, std::abs(known["z_max"].get<double>()));
            EXPECT_EQ(entry["count"], known["count"]);
            EXPECT_NEAR(entry["minimum"], known["z_min"], tolerance);
            EXPECT_NEAR(entry["maximum"], known["z_max"], tolerance);
            EXPECT_NEAR(entry["mean"], known["z_mean"], 1e-4 + tolerance);
        }
        ++checked;
    }
    EXPECT_GT(checked, 20);
}

} // namespace
} // namespace corvane::test

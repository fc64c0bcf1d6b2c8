// SPDX-License-Identifier: Apache-2.0
// Classes by name, limits, tables and features, compared with plain loops over the raw bytes.
#include "ProgramTestSupport.hpp"

#include <array>
#include <functional>
#include <optional>
#include <random>
#include <utility>

namespace corvane::test {
namespace {

/// A survey of point format 6.
class Selecting : public Program {
protected:
    void SetUp() override {
        ASSERT_EQ(corvane({"sample", in, "--points", "20000", "-q"}).status, 0);
        points.emplace(bytesOf(in));
        const auto [x0, y0, x1, y1] = points->box();
        middle = {(x0 + x1) / 2, (y0 + y1) / 2};
        for (std::uint64_t i = 0; i < points->count(); ++i) heights.push_back(points->coordinate(i, 2));
        std::nth_element(heights.begin(), heights.begin() + 10000, heights.end());
        height = heights[10000];
    }

    static constexpr std::size_t FlagByte = 15, WithheldBit = 4, KeyPointBit = 2;

    /// The survey after `edit` was called with each point.
    std::string expected(const std::function<void(RawPoints&, std::uint64_t)>& edit) const {
        RawPoints edited = *points;
        for (std::uint64_t i = 0; i < edited.count(); ++i) edit(edited, i);
        return edited.bytes();
    }

    void expectEdit(const Arguments& more, const std::function<void(RawPoints&, std::uint64_t)>& edit) const {
        SCOPED_TRACE(fmt::format("{}", fmt::join(more, " ")));
        const Outcome run = reclassify(more + Arguments{"--overwrite"});
        EXPECT_EQ(run.status, 0) << run.err;
        const RawPoints wanted(expected(edit)), got(bytesOf(out));
        EXPECT_GT(changedRecords(*points, wanted), 0u) << "the call must change something";
        EXPECT_EQ(changedRecords(wanted, got), 0u);
        EXPECT_TRUE(holds(run.out, fmt::format("{} points changed\nwrote ", changedRecords(*points, wanted))))
            << run.out;
    }

    std::optional<RawPoints> points;
    std::array<double, 2> middle{};
    std::vector<double> heights;
    double height = 0; // half of the points are above
};

TEST_F(Selecting, classesByNumberNameRangeAndList) {
    const auto replace = [](std::set<int> from, int to) {
        return [=](RawPoints& p, std::uint64_t i) {
            if (from.contains(p.classOf(i))) p.setClass(i, to);
        };
    };
    expectEdit({"--from", "ground", "--to", "Building"}, replace({2}, 6));
    expectEdit({"--from", "high vegetation", "3-4", "--to", "low-vegetation"}, replace({3, 4, 5}, 3));
    expectEdit({"--from", "2,3", "--from", "road surface", "--to", "9"}, replace({2, 3, 11}, 9));
    expectEdit({"--from", "1-7", "--to", "40"}, replace({1, 2, 3, 4, 5, 6, 7}, 40)); // more than the module's four
    expectEdit({"--from", "any", "--to", "1"}, [](RawPoints& p, std::uint64_t i) { p.setClass(i, 1); });
    expectRefused({"reclassify", in, folder / "new.las"},
                  {{{"--from", "grund", "--to", "2"}, {"--from grund", "Ground"}},
                   {{"--from", "2", "--to", "2,3"}, {"--to 2,3", "one class"}},
                   {{"--from", "5-2", "--to", "2"}, {"5-2", "smaller"}},
                   {{"--from", "2,,3", "--to", "2"}, {"--from", "empty"}},
                   {{"--from", "2", "--to", "300"}, {"--to 300", "0 to 255"}}});
    EXPECT_EQ(corvane({"reclassify", "--from", "2", "3", in, out, "--to", "6", "--overwrite"}).status, 0);
}

TEST_F(Selecting, tablesLookAtTheValuesAsTheyWere) {
    expectEdit({"--map", "2:5,5:2"}, [](RawPoints& p, std::uint64_t i) {
        const int was = p.classOf(i);
        p.setClass(i, was == 2 ? 5 : was == 5 ? 2 : was);
    });
    const auto setFlag = [](RawPoints& p, std::uint64_t i, std::size_t bit, bool set) {
        const int byte = p.byteAt(i, FlagByte), mask = static_cast<int>(bit);
        p.setByte(i, FlagByte, set ? byte | mask : byte & ~mask);
    };
    expectEdit({"--map", "ground:6+KeyPoint", "--map", "9:+Withheld"}, [&](RawPoints& p, std::uint64_t i) {
        if (p.classOf(i) == 9) setFlag(p, i, WithheldBit, true);
        if (p.classOf(i) != 2) return;
        p.setClass(i, 6);
        setFlag(p, i, KeyPointBit, true);
    });

    // A condition on a flag, and one that is cleared.
    ASSERT_EQ(corvane({"reclassify", in, folder / "marked.las", "--map", "9:+Withheld,2:+KeyPoint", "-q"}).status, 0);
    RawPoints wanted(bytesOf(folder / "marked.las"));
    for (std::uint64_t i = 0; i < wanted.count(); ++i) {
        if ((wanted.byteAt(i, FlagByte) & WithheldBit) != 0)
            wanted.setClass(i, 7);
        else if (wanted.classOf(i) == 2)
            setFlag(wanted, i, KeyPointBit, false);
    }
    const Outcome run =
        corvane({"reclassify", folder / "marked.las", out, "--overwrite", "--map", "any+Withheld:7,2:-KeyPoint"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(changedRecords(wanted, RawPoints(bytesOf(out))), 0u);
    expectRefused({"reclassify", in, folder / "new.las", "--map"}, {{{"3"}, {"--map", "\"3\"", "FROM:TO"}},
                                                                    {{"3:"}, {"\"3:\"", "right"}},
                                                                    {{"3:4,1-5:2,3:6"}, {"\"3:6\"", "before it"}},
                                                                    {{"3:4+Witheld"}, {"Withheld"}},
                                                                    {{"3:grund"}, {"--map grund", "Ground"}},
                                                                    {{"3:4", "--to", "5"}, {"--map", "--to"}}});
}

TEST_F(Selecting, limitsAddUp) {
    const auto [x, y] = middle;
    const std::string polygon = fmt::format("POLYGON(({0} {1}, {0} {3}, {2} {3}, {2} {1}))", x - 0.0005, y - 0.0005,
                                            x + 1e4 + 0.0005, y + 1e4 + 0.0005);
    const auto inCorner = [&](const RawPoints& p, std::uint64_t i) {
        return p.coordinate(i, 0) > x && p.coordinate(i, 1) > y;
    };
    const auto all = [&](auto condition) {
        return [=](RawPoints& p, std::uint64_t i) {
            if (condition(p, i)) p.setClass(i, 40);
        };
    };
    const Arguments edit{"--from", "any", "--to", "40"};
    expectEdit(
        edit + Arguments{"--within", polygon, "--z", fmt::format("{}..", height)},
        all([&](const RawPoints& p, std::uint64_t i) { return inCorner(p, i) && p.coordinate(i, 2) >= height; }));
    expectEdit(
        edit + Arguments{"--box", fmt::format("{},{},{},{}", x, y, x + 20, y + 20), "--z", fmt::format("..{}", height)},
        all([&](const RawPoints& p, std::uint64_t i) {
            return p.coordinate(i, 0) >= x && p.coordinate(i, 0) <= x + 20 && p.coordinate(i, 1) >= y &&
                   p.coordinate(i, 1) <= y + 20 && p.coordinate(i, 2) <= height;
        }));
    const std::string condition = fmt::format("returnnumber = 1 and Z > {} and not Classification in (2, 3)", height);
    const auto meets = [&](const RawPoints& p, std::uint64_t i) {
        return (p.byteAt(i, 14) & 15) == 1 && p.coordinate(i, 2) > height && p.classOf(i) != 2 && p.classOf(i) != 3;
    };
    expectEdit(edit + Arguments{"--where", condition}, all(meets));
    expectEdit(edit + Arguments{"--where", condition, "--within", polygon},
               all([&](const RawPoints& p, std::uint64_t i) { return meets(p, i) && inCorner(p, i); }));

    std::uint64_t count = 0;
    for (std::uint64_t i = 0; i < points->count(); ++i) count += meets(*points, i);
    std::uint64_t counted = 0;
    const json histogram = corvane({"histogram", in, "--where", condition, "--json"}).document();
    for (const json& value : histogram["values"]) counted += value["count"].get<std::uint64_t>();
    EXPECT_EQ(counted, count);

    const Outcome network = reclassify(edit + Arguments{"--where", condition, "--print-network"});
    write(folder / "net.json", json::parse(network.out).dump());
    std::filesystem::remove(out);
    EXPECT_EQ(corvane({"run", folder / "net.json"}).status, 0);
    EXPECT_EQ(changedRecords(RawPoints(expected(all(meets))), RawPoints(bytesOf(out))), 0u);
}

TEST_F(Selecting, whatMeetsNoPointIsAMiss) {
    const Arguments edit{"reclassify", in, out, "--from", "2", "--to", "6"};
    expectRefused(edit, {{{"--z", "9000.."}, {in, "--z 9000..", "Nothing was written"}, 1},
                         {{"--z", "9..1"}, {"--z 9..1", "smaller"}},
                         {{"--z", "high"}, {"--z", "A..B"}},
                         {{"--box", "1,2,3"}, {"--box", "4 or 6"}},
                         {{"--box", "3,0,1,9"}, {"--box", "X", "lower corner"}},
                         {{"--where", "Z > 9000"}, {"--where \"Z > 9000\""}, 1},
                         {{"--where", "Intensty > 1"}, {"--where", "Intensty", "Did you mean"}},
                         {{"--where", "Positions > 1"}, {"Positions", "X, Y or Z"}},
                         {{"--where", "Z > "}, {"column 5"}}});
    const Outcome allowed = corvane(edit + Arguments{"--z", "9000..", "--allow-miss"});
    EXPECT_EQ(allowed.status, 0) << allowed.err;
    EXPECT_TRUE(bytesOf(out) == bytesOf(in));
    EXPECT_EQ(corvane(edit + Arguments{"--overwrite", "--where", "Classification = 99 or Z < 9000"}).status, 0);
}

TEST_F(Selecting, eachFeatureGivesItsOwnClass) {
    const auto [x, y] = middle;
    const auto square = [&](double from, double to) {
        return json{
            {"type", "Polygon"},
            {"coordinates",
             {{{x + from, y + from}, {x + to, y + from}, {x + to, y + to}, {x + from, y + to}, {x + from, y + from}}}}};
    };
    const auto feature = [&](const json& value, double from, double to) {
        return json{{"type", "Feature"}, {"properties", {{"class", value}}}, {"geometry", square(from, to)}};
    };
    write(folder / "areas.geojson",
          json{{"type", "FeatureCollection"},
               {"features", {feature("water", -10.0005, 4.0005), feature(40, 0.0005, 15.0005)}}}
              .dump());
    const Arguments call{"reclassify",   in,     out, "--overwrite", "--within", folder / "areas.geojson",
                         "--class-from", "CLASS"};
    const auto inside = [&](std::uint64_t i, double from, double to) {
        const double dx = points->coordinate(i, 0) - x, dy = points->coordinate(i, 1) - y;
        return dx > from && dx < to && dy > from && dy < to;
    };
    std::uint64_t overlaps = 0;
    const std::string wanted = expected([&](RawPoints& p, std::uint64_t i) {
        const bool first = inside(i, -10.0005, 4.0005), second = inside(i, 0.0005, 15.0005);
        overlaps += first && second;
        if (first || second) p.setClass(i, first ? 9 : 40);
    });
    const json report = corvane(call + Arguments{"--json"}).document();
    EXPECT_EQ(changedRecords(RawPoints(wanted), RawPoints(bytesOf(out))), 0u);
    ASSERT_EQ(report["tally"]["rules"].size(), 2u);
    EXPECT_GT(overlaps, 0u);
    EXPECT_EQ(report["tally"]["rules"][1]["overlaps"], overlaps);
    EXPECT_EQ(report["changed"], changedRecords(*points, RawPoints(wanted)));
    expectRefused(call, {{{"--to", "3"}, {"--class-from", "--to"}},
                         {{"--within", "POLYGON((0 0, 1 0, 1 1))"}, {"one --within"}}});

    // Many of them, all over the survey and over each other.
    std::mt19937 random(4);
    std::vector<std::array<double, 2>> squares;
    json many;
    for (int i = 0; i < 60; ++i) {
        const double from = double(random() % 40) - 20.0005;
        squares.push_back({from, from + 1.0 + double(random() % 9)});
        many.push_back(feature(i % 2 ? 40 : 9, squares.back()[0], squares.back()[1]));
    }
    write(folder / "areas.geojson", json{{"type", "FeatureCollection"}, {"features", many}}.dump());
    std::vector<std::uint64_t> insides(squares.size());
    const std::string wantedOfMany = expected([&](RawPoints& p, std::uint64_t i) {
        bool free = true;
        for (std::size_t s = 0; s < squares.size(); ++s) {
            if (!inside(i, squares[s][0], squares[s][1])) continue;
            ++insides[s];
            if (std::exchange(free, false)) p.setClass(i, s % 2 ? 40 : 9);
        }
    });
    const json reportOfMany = corvane(call + Arguments{"--json"}).document();
    EXPECT_EQ(changedRecords(RawPoints(wantedOfMany), RawPoints(bytesOf(out))), 0u);
    for (std::size_t s = 0; s < squares.size(); ++s)
        EXPECT_EQ(reportOfMany["tally"]["rules"][s]["inside"], insides[s]) << s;
}

} // namespace
} // namespace corvane::test

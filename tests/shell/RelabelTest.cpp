// SPDX-License-Identifier: Apache-2.0
// Masked edits of a real survey, compared with what plain loops over the raw bytes say.
#include "ProgramTestSupport.hpp"

#include <cmath>
#include <functional>
#include <optional>

namespace corvane::test {
namespace {

class Relabelling : public RealSurveys {
protected:
    void SetUp() override {
        RealSurveys::SetUp();
        if (!IsSkipped()) points.emplace(bytesOf(tile));
    }

    using Inside = std::function<bool(double x, double y, double z)>;

    /// The tile with `target` in every point inside whose class is one of these.
    std::string expected(const Inside& inside, const std::set<int>& editable, int target) const {
        RawPoints edited = *points;
        for (std::uint64_t i = 0; i < edited.count(); ++i)
            if (editable.contains(edited.classOf(i)) &&
                inside(edited.coordinate(i, 0), edited.coordinate(i, 1), edited.coordinate(i, 2)))
                edited.setClass(i, target);
        return edited.bytes();
    }

    /// A rectangle whose sides no point lies on, from and to in parts of the tile.
    std::array<double, 4> rectangle(double from, double to) const {
        const auto [x0, y0, x1, y1] = points->box();
        const double w = x1 - x0, h = y1 - y0, aside = 0.0005; // half of the tile's scale
        const auto place = [&](double low, double size, double part) { return std::round(low + part * size) + aside; };
        return {place(x0, w, from), place(y0, h, from), place(x0, w, to), place(y0, h, to)};
    }
    static std::string polygonOf(const std::array<double, 4>& r) {
        return fmt::format("POLYGON(({0} {1}, {2} {1}, {2} {3}, {0} {3}))", r[0], r[1], r[2], r[3]);
    }
    static Inside inside(std::array<double, 4> r) {
        return [=](double x, double y, double) { return x > r[0] && x < r[2] && y > r[1] && y < r[3]; };
    }

    Outcome relabel(const Arguments& more) const { return corvane(Arguments{"relabel", tile, out} + more); }

    const std::string tile = Data / "ahn3_pf1.las"; // classes 1, 2, 6, 9 and 26
    std::optional<RawPoints> points;
};

TEST_F(Relabelling, polygonsSelectAndUnselectInEditableClassesOnly) {
    const auto first = rectangle(0.1, 0.7), second = rectangle(0.3, 0.5);
    const Arguments edit{"--assign",       "6",          "--editable",     "1,6", "--within",
                         polygonOf(first), "--unselect", polygonOf(second)};
    const Outcome run = relabel(edit);
    ASSERT_EQ(run.status, 0) << run.err;
    const auto wanted = [&](double x, double y, double z) {
        return inside(first)(x, y, z) && !inside(second)(x, y, z);
    };
    EXPECT_TRUE(bytesOf(out) == expected(wanted, {1, 6}, 6));

    json network = json::parse(relabel(edit + Arguments{"--print-network"}).out);
    network["actions"].back() = {{"undo", "editor"}, {"save", folder / "undone.las"}};
    write(folder / "net.json", network.dump());
    const Outcome undone = corvane({"run", folder / "net.json"});
    ASSERT_EQ(undone.status, 0) << undone.err;
    EXPECT_TRUE(bytesOf(folder / "undone.las") == points->bytes());
}

TEST_F(Relabelling, aProfileTellsHighFromLowInsideThePolygonsThatLimitIt) {
    const auto [x0, y0, x1, y1] = rectangle(0.1, 0.9);
    const auto limit = rectangle(0.1, 0.3);
    const double width = 20, height = points->coordinate(0, 2) + 0.0005;
    const Inside above = [&, x0 = x0, y0 = y0, x1 = x1, y1 = y1](double x, double y, double z) {
        const double length = std::hypot(x1 - x0, y1 - y0), ux = (x1 - x0) / length, uy = (y1 - y0) / length;
        const double along = (x - x0) * ux + (y - y0) * uy, across = (x - x0) * uy - (y - y0) * ux;
        return along > 0 && along < 300.00013 && std::abs(across) < width / 2 && z > height;
    };
    const Arguments strokes{"--assign",   "1",
                            "--editable", "1,2,6",
                            "--profile",  fmt::format("{},{},{},{},{}", x0, y0, x1, y1, width),
                            "--above",    fmt::format("0,{} 300.00013,{}", height, height)};
    ASSERT_EQ(relabel(strokes).status, 0);
    const std::string all = expected(above, {1, 2, 6}, 1);
    EXPECT_EQ(changedRecords(RawPoints(all), RawPoints(bytesOf(out))), 0u);
    ASSERT_EQ(relabel(strokes + Arguments{"--within", polygonOf(limit), "--overwrite"}).status, 0);
    const auto both = [&](double x, double y, double z) { return inside(limit)(x, y, z) && above(x, y, z); };
    const std::string limited = expected(both, {1, 2, 6}, 1);
    EXPECT_GT(changedRecords(*points, RawPoints(limited)), 50u);
    EXPECT_GT(changedRecords(RawPoints(limited), RawPoints(all)), 50u);
    EXPECT_EQ(changedRecords(RawPoints(limited), RawPoints(bytesOf(out))), 0u);
}

TEST_F(Relabelling, whatMakesNoSenseIsRefused) {
    write(folder / "labels.json", R"({"labels": [{"value": 1}, {"value": 6}]})");
    write(folder / "damaged.json", R"({"labels": [{"value": 1)");
    expectRefused(
        {"relabel", tile, out},
        {{{"--assign", "6", "--editable", "1"}, {"--assign 6", "not editable", "--force"}},
         {{"--assign", "6", "--labels", folder / "labels.json"}, {"--editable", "flag them"}},
         {{"--assign", "6", "--editable", "1,6", "--labels", folder / "damaged.json"}, {"damaged.json"}, 1},
         {{"--assign", "40", "--editable", "1,40"}, {"--assign 40", "0 to 31", "6 to 10"}},
         {{"--assign", "6", "--editable", "6", "--above", "0,0 1,1"}, {"--profile"}},
         {{"--assign", "6", "--editable", "1,6", "--expect", "0..3"}, {"--expect", "nothing was written"}, 1}});
}

TEST_F(Relabelling, namesGoIntoTheFileOnRequest) {
    const auto edit = relabel({"--assign", "6", "--editable", "1,6", "--with-labels"});
    ASSERT_EQ(edit.status, 0) << edit.err;
    const auto labels = corvane({"labels", out, "--json"}).document();
    ASSERT_EQ(labels["labels"].size(), 2u);
    EXPECT_EQ(labels["labels"][1]["name"], "Building");
    const RawPoints saved(bytesOf(out)), wanted(expected([](double, double, double) { return true; }, {1, 6}, 6));
    EXPECT_TRUE(saved.bytes().substr(saved.place(0, 0)) == wanted.bytes().substr(wanted.place(0, 0)));
}

} // namespace
} // namespace corvane::test

// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/values/BoxValue.hpp"
#include "Kesh/values/LabelSet.hpp"
#include "Kesh/values/VHistogram.hpp"
#include "LoadedPlugin.hpp"

#include <glm/common.hpp>
#include <random>
#include <set>

namespace corvane::test {
namespace {

using Bytes = std::vector<unsigned char>;
using Loads = std::vector<int>;
using Kesh::StatusGrade;
using Kesh::VHistogram;

const std::string Classes = "Classification";
const std::string OutOfDate =
    "Histogram is out of date: the data changed since it was counted. Press compute to refresh.";

std::string noteFor(const std::string& secondary) {
    return "\n  NOTE: no statistics for \"" + secondary +
           "\". Most likely the scope: WholeDataset does not cross-tabulate at all, by design - use Region, Mask or "
           "Brush. Otherwise the field was not found (elevation is spelled \"Z\", not \"Positions.z\"), is not of a "
           "numeric type, or - Brush only - is not resident, since that scope never loads from disc.";
}

/// Stops the work at the call of that number.
class Stopper : public Kesh::VActionNotifier {
public:
    explicit Stopper(int at) : left_(at) {}

private:
    bool progress(std::uint64_t, std::uint64_t, const std::string&) override { return --left_ > 0; }
    int left_;
};

/// Three fragments of four points: x is 10 per fragment and 1 per point, z is 100 and a quarter.
class PointCloudHistogram : public LoadedPlugin {
protected:
    PointCloudHistogram() {
        field<unsigned char>(Classes, {{2, 2, 5, 6}, {5, 5, 2, 2}, {9, 2, 5, 5}});
        std::vector<std::vector<Point>> points(3);
        for (int f = 0; f < 3; ++f)
            for (int i = 0; i < 4; ++i) points[std::size_t(f)].emplace_back(10 * f + i, 0, 100 * f + 0.25 * i);
        field<Point>(Fiber::PositionsName, points);
        module = creator("PointCloudHistogram")->create("counts", nullptr);
        select(Classes);
    }

    void select(const std::string& name) { set(pool, *module, "inputfield", selector(name)); }
    void scope(const std::string& name) {
        Kesh::Enum scope{"WholeDataset", "Region", "Mask", "Brush"};
        for (int i = 0; i < 4; ++i)
            if (scope[i] == name) scope.select(i);
        set(pool, *module, "scope", scope);
    }
    void box(const Point& a, const Point& b) {
        set(pool, *module, "Bounding Box", Kesh::BoxPtr(std::make_shared<Sextant::BoundingBox>(a, b)));
    }
    void secondary(const std::string& name) { set(pool, *module, "secondaryfield", name); }
    std::string compute() {
        press(*module, "compute");
        return update(*module);
    }
    std::string countIn(const std::string& name) {
        scope(name);
        return update(*module);
    }
    VHistogram histogram() { return Kesh::TypedSlot<VHistogram>(module->findOutput("histogram"), {}).get(*pool); }
    StatusGrade grade() { return module->status(*pool).grade; }

    /// An edit of another object, of the fragment that has the class.
    void edit(int from, int to) {
        const auto editor = creator("ModifyClassification")->create("editor", nullptr);
        set(pool, *editor, "labelfield", selector(Classes));
        for (const char* source : {"from0", "from1", "from2", "from3"}) set(pool, *editor, source, from);
        set(pool, *editor, "newvalue", to);
        press(*editor, "assign");
        update(*editor);
    }

    StrongPtr<Kesh::VObject> module;
};

TEST_F(PointCloudHistogram, countsAllOnlyWhenAskedAndReadsOnlyWhatChanged) {
    EXPECT_EQ(countIn("WholeDataset"), "");
    EXPECT_EQ(loads(Classes), (Loads{0, 0, 0}));
    const std::string all = "WholeDataset: 12 points\n  2: 5\n  5: 5\n  6: 1\n  9: 1";
    EXPECT_EQ(compute(), all);
    EXPECT_TRUE(histogram().complete);
    EXPECT_EQ(histogram().region, "<not applicable to this scope; Bounding Box ignored>");
    EXPECT_EQ(update(*module), all) << "right after a count nothing is out of date, and what was said stands";
    EXPECT_EQ(compute(), all);
    EXPECT_EQ(loads(Classes), (Loads{1, 1, 1})) << "served from the caches";

    edit(9, 7);
    const VHistogram before = histogram();
    EXPECT_EQ(update(*module), OutOfDate);
    EXPECT_EQ(grade(), StatusGrade::Warning);
    EXPECT_EQ(histogram(), before);
    EXPECT_TRUE(histogram().outOfDate);
    edit(7, 8);
    module->clearStatus(*pool);
    EXPECT_EQ(update(*module), "") << "warned of once";
    EXPECT_TRUE(histogram().outOfDate);
    EXPECT_EQ(compute(), "WholeDataset: 12 points\n  2: 5\n  5: 5\n  6: 1\n  8: 1");
    EXPECT_FALSE(histogram().outOfDate);
    edit(8, 9);
    select("Nothing");
    EXPECT_TRUE(update(*module).starts_with("There is no field"));
    select(Classes);
    EXPECT_EQ(update(*module), OutOfDate) << "a count warns anew, whatever failed since the edit";
    EXPECT_TRUE(histogram().outOfDate);

    EXPECT_EQ(compute(), "WholeDataset: 12 points\n  2: 5\n  5: 5\n  6: 1\n  9: 1");
    edit(9, 3);
    const auto positions = vertices().findField(Fiber::PositionsName);
    vertices().removeField(Fiber::PositionsName);
    EXPECT_EQ(compute(), "No Positions available for this representation.");
    vertices().makeField(vertices().makeFieldID(Fiber::PositionsName), positions);
    EXPECT_EQ(update(*module), OutOfDate) << "a press that failed has not brought it up to date";
    Fiber::History(vertices(), Classes).undo(find(Classes), Ageable::nextTime());
    EXPECT_EQ(compute(), "WholeDataset: 12 points\n  2: 5\n  5: 5\n  6: 1\n  9: 1") << "undone";
    Fiber::History(vertices(), Classes).redo(find(Classes), Ageable::nextTime());
    EXPECT_EQ(compute(), "WholeDataset: 12 points\n  2: 5\n  3: 1\n  5: 5\n  6: 1") << "redone";
    edit(3, 9);

    secondary("Z");
    EXPECT_EQ(compute(), "WholeDataset: 12 points" + noteFor("Z") + "\n  2: 5\n  5: 5\n  6: 1\n  9: 1");
}

TEST_F(PointCloudHistogram, dropsWhatDescribesSomethingElse) {
    scope("WholeDataset");
    compute();
    EXPECT_TRUE(histogram().isConsistent());
    field<unsigned char>("Other", {{1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}});
    select("Other");
    EXPECT_EQ(update(*module), "");
    EXPECT_FALSE(histogram().isConsistent());
    EXPECT_EQ(compute(), "WholeDataset: 12 points\n  1: 12");
    EXPECT_EQ(countIn("Region"), "The Region scope needs a Bounding Box connected.");
    EXPECT_FALSE(histogram().isConsistent());
    field<float>("Heights", {{1, 2, 3, 4}});
    select("Heights");
    scope("WholeDataset");
    EXPECT_EQ(compute(), "no histogram") << "no error: there was nothing that could be counted";
    EXPECT_EQ(grade(), StatusGrade::Info);
    EXPECT_FALSE(histogram().isConsistent());
}

TEST_F(PointCloudHistogram, countsInABoxFacesIncluded) {
    std::mt19937 engine(4);
    std::vector<Bytes> classes(4, Bytes(500));
    std::vector<std::vector<Point>> points(4, std::vector<Point>(500));
    const Point low(2, 3, 1), high(7, 7, 4);
    std::map<int, std::multiset<double>> plain; // heights by class
    for (std::size_t f = 0; f < 4; ++f)
        for (std::size_t i = 0; i < 500; ++i) {
            classes[f][i] = static_cast<unsigned char>(engine() % 4);
            Point& p = points[f][i];
            p = {engine() % 10, engine() % 10, engine() % 5}; // whole numbers, so that many lie on the faces
            if (f == 3) p += 20.0;                            // the last fragment is somewhere else
            if (glm::clamp(p, low, high) == p) plain[classes[f][i]].insert(p.z);
        }
    field<unsigned char>(Classes, classes);
    field<Point>(Fiber::PositionsName, points);
    box(high, low);
    secondary("z");
    countIn("Region");
    const VHistogram found = histogram();
    EXPECT_EQ(found.region, "{2,3,1};{7,7,4}");
    EXPECT_EQ(found.secondaryName, "z");
    ASSERT_EQ(found.size(), plain.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        const auto& heights = plain[int(found.value(i))];
        EXPECT_EQ(found.counts[i], heights.size());
        EXPECT_EQ(found.minimum[i], *heights.begin());
        EXPECT_EQ(found.maximum[i], *heights.rbegin());
        EXPECT_EQ(found.sum[i], std::accumulate(heights.begin(), heights.end(), 0.0));
    }
    EXPECT_EQ(loads(Classes), (Loads{1, 1, 1, 0})) << "where no point can be, none is looked at";
    update(*module);
    EXPECT_EQ(loads(Fiber::PositionsName)[3], 1) << "boxes are known from then on";
}

TEST_F(PointCloudHistogram, reportsToTheLetter) {
    Kesh::LabelSet labels;
    labels[2].name = "Ground";
    labels[5]; // without a name
    set(pool, *module, "labels", labels);
    box({0, 0, 0}, {12, 0, 100.5});
    secondary("Z");
    EXPECT_EQ(countIn("Region"), "Region: 7 points\n"
                                 "  2 (Ground): 3  Z 0 .. 100.5, mean 33.583333333333336\n"
                                 "  5: 3  Z 0.5 .. 100.25, mean 66.91666666666667\n"
                                 "  6: 1  Z 0.75 .. 0.75, mean 0.75");
    for (const char* unavailable : {"Positions.z", "Positions", "Nothing"}) {
        secondary(unavailable);
        EXPECT_EQ(update(*module),
                  std::string("Region: 7 points") + noteFor(unavailable) + "\n  2 (Ground): 3\n  5: 3\n  6: 1");
        EXPECT_EQ(histogram().region, "{0,0,0};{12,0,100.5} -- SECONDARY FIELD UNAVAILABLE on 2 fragments");
    }
    field<std::int32_t>("Tall", {{1, 2, 300000, -4}, {}, {}});
    secondary("Tall");
    EXPECT_EQ(update(*module), "Region: 7 points\n"
                               "  2 (Ground): 3  Tall 1 .. 2, mean 1\n"
                               "  5: 3  Tall 3e+05 .. 3e+05, mean 1e+05\n"
                               "  6: 1  Tall -4 .. -4, mean -4")
        << "numbers are as short as they can be";
    EXPECT_EQ(histogram().region, "{0,0,0};{12,0,100.5} -- SECONDARY FIELD UNAVAILABLE on 1 fragments");
    EXPECT_EQ(histogram().withoutSecondary, 1u);
    EXPECT_EQ(histogram().fragments, 2u);

    std::vector<unsigned short> many(33);
    std::iota(many.begin(), many.end(), static_cast<unsigned short>(700));
    field<unsigned short>("Many", {many});
    positions(1, 33);
    select("Many");
    secondary("");
    box({0, 0, 0}, {100, 0, 0});
    const std::string text = update(*module);
    EXPECT_TRUE(text.starts_with("Region: 33 points\n  700: 1\n  701: 1\n")) << text;
    EXPECT_TRUE(text.ends_with("\n  731: 1\n  ... and 1 further values (the full histogram is on the output slot)"));
    EXPECT_EQ(histogram().size(), 33u);
    scope("WholeDataset");
    EXPECT_EQ("Region" + compute().substr(std::string("WholeDataset").size()), text);
}

TEST_F(PointCloudHistogram, countsUnderAMask) {
    EXPECT_EQ(countIn("Mask"), "Mask: 0 points (INCOMPLETE - some fragments were not available)");
    field<unsigned char>("mask", {{0, 255, 0, 1}, {0, 0, 0, 0}, {255, 255, 255, 255}});
    secondary("Z");
    EXPECT_EQ(update(*module), "Mask: 6 points\n  2: 2  Z 0.25 .. 200.25, mean 100.25\n"
                               "  5: 2  Z 200.5 .. 200.75, mean 200.625\n  6: 1  Z 0.75 .. 0.75, mean 0.75\n"
                               "  9: 1  Z 200 .. 200, mean 200");
    EXPECT_EQ(loads(Classes), (Loads{1, 0, 1}));
    field<unsigned char>("short", {{255, 255, 255}, {0, 0, 0, 0}, {0, 0, 255, 0}});
    set(pool, *module, "maskfield", std::string("short"));
    secondary("");
    EXPECT_EQ(update(*module), "Mask: 1 points (INCOMPLETE - some fragments were not available)\n  5: 1");
}

TEST_F(PointCloudHistogram, countsUnderTheBrushWithoutLoading) {
    EXPECT_EQ(countIn("Brush"), "No brush to count under.");
    set(pool, *module, "brush", Kesh::Brush(Sextant::View::fromAbove({Point(-100), Point(100)}), Sextant::Outline()));
    EXPECT_EQ(update(*module), "No brush to count under.");
    draw(*module, 1, 1);
    EXPECT_EQ(update(*module), "Brush has no world-space extent.");
    draw(*module, 0.5, 11.5);
    EXPECT_EQ(update(*module), "Brush: 0 points (INCOMPLETE - some fragments were not available)");
    EXPECT_EQ(loads(Classes), (Loads{0, 0, 0}));
    EXPECT_EQ(loads(Fiber::PositionsName), (Loads{0, 0, 0}));

    for (std::uint32_t f = 0; f < 3; ++f) {
        Fiber::getFragmentBBox(find(Fiber::PositionsName), id(f));
        if (f < 2) find(Classes).getData(id(f));
    }
    EXPECT_EQ(update(*module), "Brush: 5 points\n  2: 1\n  5: 3\n  6: 1") << "the third does not meet it";
    find(Fiber::PositionsName).getCreator(id(1))->discardCreation();
    const std::string first = "Brush: 3 points (INCOMPLETE - some fragments were not available)";
    EXPECT_EQ(update(*module), first + "\n  2: 1\n  5: 1\n  6: 1");
    find(Fiber::PositionsName).getData(id(1));
    find(Classes).getCreator(id(1))->discardCreation();
    EXPECT_EQ(update(*module), first + "\n  2: 1\n  5: 1\n  6: 1");
    field<double>("Tall", {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}});
    secondary("Tall");
    EXPECT_EQ(update(*module), first + noteFor("Tall") + "\n  2: 1\n  5: 1\n  6: 1");
    EXPECT_EQ(loads("Tall"), (Loads{0, 0, 0}));
    EXPECT_EQ(loads(Classes), (Loads{1, 1, 0}));
    EXPECT_EQ(loads(Fiber::PositionsName), (Loads{1, 2, 1}));
}

TEST_F(PointCloudHistogram, failuresLeaveWhatWasPublished) {
    box({0, 0, 0}, {50, 0, 500});
    countIn("Region");
    const VHistogram published = histogram();
    const auto expectFailure = [&](const std::string& text) {
        EXPECT_EQ(update(*module), text);
        EXPECT_EQ(grade(), StatusGrade::Error);
        EXPECT_EQ(histogram(), published);
    };
    set(pool, *module, "Bounding Box", Kesh::BoxPtr());
    expectFailure("The Region scope needs a Bounding Box connected.");
    set(pool, *module, "Bounding Box", Kesh::BoxPtr(std::make_shared<Sextant::BoundingBox>()));
    expectFailure("The Region scope needs a Bounding Box connected.");
    box({0, 0, 0}, {50, 0, 500});
    const auto classes = vertices().findField(Classes);
    field<float>(Classes, {{1, 2, 3, 4}});
    expectFailure("Field type is not a supported label type.");
    vertices().makeField(vertices().makeFieldID(Classes), classes);
    vertices().removeField(Fiber::PositionsName);
    expectFailure("No Positions available for this representation.");
}

TEST_F(PointCloudHistogram, interruptedCountSaysThatItIsIncomplete) {
    box({0, 0, 0}, {50, 0, 500});
    {
        const auto stopper = Holdfast::create<Stopper>(2);
        Kesh::VActionNotifier::activate(StrongPtr<Kesh::VActionNotifier>(stopper));
        EXPECT_EQ(countIn("Region"),
                  "Region: 4 points (INCOMPLETE - some fragments were not available)\n  2: 2\n  5: 1\n  6: 1");
    }
    EXPECT_EQ(update(*module), "Region: 12 points\n  2: 5\n  5: 5\n  6: 1\n  9: 1");
}

TEST_F(PointCloudHistogram, tellsOfRecountsThatChangeNothing) {
    box({0, 0, 0}, {50, 0, 500});
    scope("Region");
    heard.clear();
    Kesh::setVerbosity(100);
    for (int i = 0; i < 3; ++i) update(*module);
    EXPECT_EQ(heard, "");
    update(*module);
    compute(); // begins anew
    for (int i = 0; i < 2; ++i) update(*module);
    for (int i = 0; i < 4; ++i) { // no recounts: they are of another region
        box({0, 0, 0}, {50, 0, 501 + i});
        update(*module);
    }
    Kesh::setVerbosity(0);
    EXPECT_EQ(heard, "counts: three recounts in a row gave the same histogram.\n");
}

TEST_F(PointCloudHistogram, dataOutlivesThePluginThatCountedIt) {
    scope("WholeDataset");
    compute();
    const VHistogram published = histogram();
    const std::string text = Kesh::VValueTrait<VHistogram>::Text(published);
    module.reset();
    pool.reset();
    unload();
    ASSERT_FALSE(isLoaded());
    EXPECT_EQ(Kesh::VValueTrait<VHistogram>::Text(published), text);
    EXPECT_TRUE(find(Classes).getCreator(id(0))->attributes().getAttribute("Histogram." + Classes));
}

} // namespace
} // namespace corvane::test

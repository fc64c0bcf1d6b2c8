// SPDX-License-Identifier: Apache-2.0
// Compressed surveys, as people use them: by the program.
#include "ProgramTestSupport.hpp"

#include "las/LasFile.hpp"
#include "limit/Limits.hpp"
#include "network/Network.hpp"
#include "network/Stroke.hpp"
#include "plugin/Plugin.hpp"
#include "survey/Survey.hpp"

#include <functional>
#include <map>

namespace corvane::test {
namespace {

class Compressed : public RealSurveys {
protected:
    void expectSame(const std::string& before, const std::string& after, const Arguments& only = {}) const {
        const Outcome compared =
            corvane(Arguments{"compare", before, after, "--only"} + (only.empty() ? Arguments{"X"} : only));
        EXPECT_EQ(compared.status, 0) << before << ": " << compared.err << compared.out;
    }

    /// Points by class.
    static std::map<int, std::uint64_t> counted(const Outcome& histogram) {
        std::map<int, std::uint64_t> counts;
        const json document = histogram.document();
        for (const json& value : document["values"]) counts[value["value"]] = value["count"];
        return counts;
    }

    const std::string laz = folder / "out.laz", las = folder / "expanded.las";
};

TEST_F(Compressed, surveysAreCountedEditedAndUnpacked) {
    for (const auto& name : named("", ".laz")) {
        if (facts[name]["bytes"] > 1'000'000) continue;
        SCOPED_TRACE(name);
        const std::string from = Data / name;
        std::map<int, std::uint64_t> expected;
        for (const auto& [value, of] : facts[name]["classes"].items()) expected[std::stoi(value)] = of["count"];
        EXPECT_EQ(counted(corvane({"histogram", from, "--json"})), expected);

        const Outcome edited = corvane({"reclassify", from, laz, "--from", "2", "--to", "9", "--json", "--overwrite"});
        EXPECT_EQ(edited.document()["changed"], expected[2]);
        expectSame(from, laz, {"Classification"});
        EXPECT_EQ(corvane({"convert", laz, las, "--overwrite"}).status, 0);
        expectSame(laz, las);
        EXPECT_EQ(corvane({"info", las, "--json"}).document()["compression"], nullptr);
        const json info = corvane({"info", laz, "--json"}).document();
        EXPECT_EQ(info["compression"]["kind"], name.ends_with(".copc.laz") ? "COPC" : "LAZ");
        EXPECT_EQ(info["pointFormat"], facts[name]["point_format"]);
    }
}

TEST_F(Compressed, outputIsWhatItsNameSays) {
    const std::string from = Data / "point_time_color_pf3.las";
    EXPECT_EQ(corvane({"reclassify", from, laz, "--from", "1", "--to", "3"}).status, 0);
    EXPECT_EQ(corvane({"info", laz, "--json"}).document()["compression"]["chunkPoints"], 50000);
    EXPECT_EQ(corvane({"reclassify", laz, las, "--from", "3", "--to", "1"}).status, 0);
    EXPECT_TRUE(bytesOf(las) == bytesOf(from));
    expectRefused({"convert", from, folder / "new.las", "--chunk", "100"}, 2, {"--chunk", "has no chunks"});
    EXPECT_EQ(corvane({"convert", laz, folder / "new.laz", "--chunk", "100"}).status, 0);
    EXPECT_EQ(corvane({"info", folder / "new.laz", "--json"}).document()["compression"]["chunks"], 11);
    expectSame(laz, folder / "new.laz");
}

TEST_F(Compressed, pointFormatsCarryEverythingOverOrRefuse) {
    const std::string from = Data / "autzen_thin_pf3.las", wide = folder / "wide.laz", back = folder / "back.las";
    EXPECT_EQ(corvane({"convert", from, wide, "--point-format", "7"}).status, 0);
    const json info = corvane({"info", wide, "--json"}).document();
    EXPECT_EQ(info["version"], "1.4");
    EXPECT_EQ(info["pointFormat"], 7);
    const json was = corvane({"compare", from, wide, "--json"}).document();
    EXPECT_EQ(was["unchanged"], 10653);
    for (const json& dimension : was["dimensions"]) ADD_FAILURE() << dimension;
    EXPECT_EQ(corvane({"reclassify", wide, folder / "high.laz", "--from", "2", "--to", "200"}).status, 0);
    expectRefused({"convert", folder / "high.laz", back, "--point-format", "3"}, 1, {"class 200", "no room"});
    expectRefused({"convert", from, back, "--point-format", "6"}, 1, {"\"Red\"", "format 6 lacks"});
    EXPECT_EQ(corvane({"convert", wide, back, "--point-format", "3"}).status, 0);
    const json same = corvane({"compare", from, back, "--json"}).document();
    for (const json& dimension : same["dimensions"]) ADD_FAILURE() << dimension;
}

TEST_F(Compressed, octreesAreWrittenReadAndEdited) {
    const std::string from = Data / "semis_2023_pf6.laz", octree = folder / "out.copc.laz";
    EXPECT_EQ(corvane({"convert", from, octree, "--copc", "--memory", "2M"}).status, 0);
    EXPECT_EQ(corvane({"info", octree, "--json"}).document()["compression"]["kind"], "COPC");
    EXPECT_EQ(counted(corvane({"histogram", octree, "--json"})), counted(corvane({"histogram", from, "--json"})));
    EXPECT_EQ(corvane({"reclassify", octree, laz, "--from", "2", "--to", "9"}).status, 0);
    EXPECT_EQ(corvane({"info", laz, "--json"}).document()["compression"]["kind"], "COPC");
    expectSame(octree, laz, {"Classification"});
    expectRefused({"convert", Data / "ahn3_pf1.laz", folder / "no.copc.laz", "--copc"}, 1,
                  {"format 1", "convert them"});
    expectRefused({"convert", from, folder / "no.las", "--copc"}, 2, {"--copc", "not compressed"});
    // The name says it, too.
    EXPECT_EQ(corvane({"convert", from, folder / "named.copc.laz"}).status, 0);
    EXPECT_EQ(corvane({"info", folder / "named.copc.laz", "--json"}).document()["compression"]["kind"], "COPC");
    expectRefused({"convert", from, folder / "no.copc.laz", "--chunk", "100"}, 2, {"--chunk", "octree"});
}

TEST_F(Compressed, damageIsReadAroundAndToldButNotEdited) {
    struct Case {
        std::string name;
        std::function<void(std::string&)> harm;
        std::uint64_t least, most; ///< points that can be read
    };
    const auto chunk = LasFile::open(Data / "pdrf9-1.4.laz").compression()->chunks[1];
    constexpr std::size_t head = 59 + 4 + 10 * 4; // of a layered chunk of format 9
    const Case cases[] = {
        {"pdrf9-1.4.laz", [&](std::string& bytes) { bytes.replace(chunk.offset + head + 4, 60, 60, '\xFF'); }, 768,
         768},
        {"point_time_color_pf3.laz", [](std::string& bytes) { bytes.resize(bytes.size() * 6 / 10); }, 400, 800},
        {"point_time_color_pf3.las", [](std::string& bytes) { bytes.resize(bytes.size() / 2); }, 500, 540}};
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        std::string bytes = bytesOf(Data / one.name);
        one.harm(bytes);
        const std::string damaged = folder / ("damaged" + one.name);
        write(damaged, bytes);
        const Outcome histogram = corvane({"histogram", damaged, "--json"});
        EXPECT_EQ(histogram.status, Outcome::NotClean) << histogram.err;
        EXPECT_TRUE(holds(histogram.err, "corvane: warning: " + damaged)) << histogram.err;
        std::uint64_t points = 0;
        for (const auto& [value, count] : counted(histogram)) points += count;
        EXPECT_GE(points, one.least);
        EXPECT_LE(points, one.most);
        EXPECT_EQ(corvane({"info", damaged, "--json"}).status, one.name.starts_with("pdrf9") ? 0 : Outcome::NotClean);
        EXPECT_EQ(corvane({"lint", damaged}).status, Outcome::NotClean);
        expectRefused({"reclassify", damaged, las, "--from", "2", "--to", "3"}, 1, {damaged});

        const std::string saved = folder / ("saved" + one.name);
        EXPECT_EQ(corvane({"convert", damaged, saved}).status, Outcome::NotClean);
        EXPECT_EQ(corvane({"info", saved, "--json"}).document()["points"], points);
        EXPECT_EQ(corvane({"compare", damaged, saved, "--only", "X"}).status, Outcome::NotClean);
        const Outcome clean = corvane({"histogram", saved, "--json"});
        EXPECT_EQ(clean.status, 0) << clean.err;
        EXPECT_EQ(counted(clean), counted(histogram));
    }
}

/// How many fragments of a field have been read.
int residentOf(const Survey& survey, const std::string& field) {
    int resident = 0;
    for (const auto& [number, fragment] : survey.points().findField(field)->fragments())
        resident += fragment.array->hasData();
    return resident;
}

TEST_F(Compressed, strokesDecodeTheNodesThatTheyMeetAndNoOthers) {
    const auto survey = std::make_shared<const Survey>(Data / "simple_with_page.copc.laz");
    const Plugin plugin(findPlugin());
    Network network(survey);
    network.addObject("points", "Field");
    network.set("points.name", "Classification");
    network.addObject("lasso", "Brush");
    network.addObject("editor", "Edit/ModifyClassification");
    network.connect("points.field", "editor.labelfield");
    network.connect("lasso.brush", "editor.brush");
    network.set("editor.from0", 2);
    network.set("editor.newvalue", 6);
    const LasHeader& header = survey->las().header;
    Sextant::BoundingBox box; // a corner
    box.include({header.minimum[0], header.minimum[1], header.minimum[2]});
    box.include({header.minimum[0] + 400, header.minimum[1] + 400, header.maximum[2]});
    network.draw("lasso.brush", allWithin(inBox(box)));
    network.press("editor.assign");
    network.update();

    int met = 0;
    const Copc& copc = *survey->las().copc;
    for (const std::size_t node : copc.nodeOfChunk) {
        const Copc::Box cube = copc.boxOf(copc.entries[node]);
        met += cube.low[0] <= box.maximum.x && cube.low[1] <= box.maximum.y;
    }
    EXPECT_GT(met, 3);
    EXPECT_LT(met, 30);
    EXPECT_GT(residentOf(*survey, "Positions"), 0);
    EXPECT_LE(residentOf(*survey, "Positions"), met);
    EXPECT_LE(residentOf(*survey, "Classification"), met);
}

} // namespace
} // namespace corvane::test

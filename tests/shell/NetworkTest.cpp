// SPDX-License-Identifier: Apache-2.0
// Network files: undo and redo, what is said of mistakes in them, and the examples of their documentation.
#include "ProgramTestSupport.hpp"

namespace corvane::test {
namespace {

const char* const Everything = R"("objects": [
    {"name": "points", "type": "Field"},
    {"name": "lasso", "type": "Brush"},
    {"name": "editor", "type": "Edit/ModifyClassification",
     "parameters": {"newvalue": 30, "from0": 2, "from1": 3, "from2": 4, "from3": 5}}],
  "connections": [{"from": "points.field", "to": "editor.labelfield"}])";

const char* const WithBrush = R"("objects": [
    {"name": "points", "type": "Field"}, {"name": "lasso", "type": "Brush"},
    {"name": "editor", "type": "Edit/ModifyClassification",
     "parameters": {"newvalue": 30, "from0": 2, "from1": 3, "from2": 4, "from3": 5}}],
  "connections": [{"from": "points.field", "to": "editor.labelfield"}, {"from": "lasso.brush", "to": "editor.brush"}])";

class Networks : public Program {
protected:
    Outcome run(const std::string& network, const std::string& survey, const Arguments& more) const {
        write(file, network);
        return corvane(Arguments{"run", file, "--survey", survey} + more);
    }

    const std::string file = folder / "net.json";
};

TEST_F(Networks, undoRestoresEveryBitOfALargeSurveyAndRedoRepeatsTheEdit) {
    const std::string survey = Data / "ahn3_pf1.las";
    if (!std::filesystem::exists(survey)) GTEST_SKIP() << "there is no " << survey;
    const std::string once = folder / "once.las", twice = folder / "twice.las", undone = folder / "undone.las",
                      redone = folder / "redone.las";
    const Outcome ended = run(fmt::format(R"({{{}, "actions": [
            {{"undo": "editor"}}, {{"press": "editor.assign", "save": "{}"}},
            {{"set": {{"editor.newvalue": 9, "editor.from0": 30}}, "press": "editor.assign", "save": "{}"}},
            {{"undo": "editor"}}, {{"undo": "editor"}}, {{"undo": "editor", "save": "{}"}},
            {{"redo": "editor"}}, {{"redo": "editor"}}, {{"redo": "editor", "save": "{}"}},
            {{"undo": "editor", "save": "{}"}}]}})",
                                          Everything, once, twice, undone, redone, out),
                              survey, {"--memory", "1M"});
    ASSERT_EQ(ended.status, 0) << ended.err;
    const RawPoints before(bytesOf(survey)), first(bytesOf(once)), second(bytesOf(twice));
    EXPECT_GT(changedRecords(before, first), 100000u);
    EXPECT_GT(changedRecords(first, second), 100000u);
    EXPECT_TRUE(bytesOf(undone) == before.bytes());
    EXPECT_TRUE(bytesOf(redone) == second.bytes());
    EXPECT_TRUE(bytesOf(out) == first.bytes());
}

TEST_F(Networks, mayHoldGeoJsonWithACoordinateSystemOfItsOwn) {
    const auto [x0, y0, x1, y1] = RawPoints(bytesOf(in)).box();
    const std::string square =
        fmt::format("[[[{0},{1}],[{2},{1}],[{2},{3}],[{0},{3}],[{0},{1}]]]", x0, y0, (x0 + x1) / 2, y1);
    const std::string wkt = fmt::format("POLYGON(({0} {1},{2} {1},{2} {3},{0} {3}))", x0, y0, (x0 + x1) / 2, y1);
    const auto edited = [&](const std::string& stroke) {
        const Outcome ended =
            run(fmt::format(R"({{{}, "actions": [{{"draw": {{"lasso.brush": {}}}, "press": "editor.assign"}}]}})",
                            WithBrush, stroke),
                in, {"--save", out, "--overwrite"});
        EXPECT_EQ(ended.status, 0) << ended.err;
        return std::pair(bytesOf(out), ended.err);
    };
    const auto expected = edited(fmt::format(R"({{"polygon": "{}"}})", wkt));
    EXPECT_NE(expected.first, bytesOf(in));
    EXPECT_FALSE(holds(expected.second, "coordinate system")) << expected.second;
    const std::string polygon = R"({"type": "Polygon", "coordinates": )" + square + "}";
    const std::string crs = R"({"type": "name", "properties": {"name": "urn:ogc:def:crs:EPSG::32632"}})";
    for (const std::string& area :
         {polygon, "[" + polygon + "]",
          fmt::format(R"({{"type": "Feature", "properties": null, "geometry": {}}})", polygon),
          fmt::format(R"({{"type": "FeatureCollection", "crs": {}, "features": [{{"type": "Feature", "properties": {{}},
                          "geometry": {}}}]}})",
                      crs, polygon)})
        for (const char* stroke : {R"({{"polygon": {}}})", R"({{"limit": {{"polygon": {}}}}})"})
            EXPECT_TRUE(edited(fmt::format(fmt::runtime(stroke), area)) == expected) << area;
    const auto inDegrees =
        edited(R"({"polygon": {"type": "Polygon", "coordinates": [[[8, 46], [10, 46], [10, 48], [8, 48], [8, 46]]]}})");
    const auto everywhere = edited(fmt::format(R"({{"rectangle": [{}, {}, {}, {}]}})", x0 - 1, y0 - 1, x1 + 1, y1 + 1));
    EXPECT_TRUE(inDegrees.first == everywhere.first);
    EXPECT_TRUE(holds(inDegrees.second, "looks like degrees") &&
                holds(inDegrees.second, " m from where it is straight"))
        << inDegrees.second;
}

TEST_F(Networks, thatReclassifyPrintsDoTheSame) {
    const auto [x0, y0, x1, y1] = RawPoints(bytesOf(in)).box();
    const std::string within = fmt::format("MULTIPOLYGON((({0} {1}, {2} {1}, {0} {3})), (({2} {3}, {2} {4}, {5} {3})))",
                                           x0, y0, x1, y1, (y0 + y1) / 2, (x0 + x1) / 2);
    const Arguments edit{"--from", "2", "--from", "5", "--to", "30", "--within", within};
    const Outcome printed = reclassify(edit + Arguments{"--print-network"});
    ASSERT_EQ(printed.status, 0) << printed.err;
    EXPECT_FALSE(std::filesystem::exists(out));
    write(file, printed.out);
    EXPECT_EQ(corvane({"run", file}).status, 0);
    const std::string byNetwork = bytesOf(out);
    ASSERT_EQ(reclassify(edit + Arguments{"--overwrite"}).status, 0);
    EXPECT_TRUE(bytesOf(out) == byNetwork);
    EXPECT_TRUE(byNetwork != bytesOf(in));
}

struct Mistake {
    std::string network;
    std::vector<std::string> says;
    int status = 2;
};

/// A network with these objects beside what stands in `rest`.
std::string withObjects(const std::string& objects, const std::string& rest = "") {
    return fmt::format(R"({{"objects": [{}]{}}})", objects, rest);
}

std::string withEditor(const std::string& parameters) {
    return withObjects(R"({"name": "e", "type": "Edit/ModifyClassification", "parameters": {)" + parameters + "}}");
}

/// points, lasso and editor with one connection, which is /connections/1.
std::string withConnection(const std::string& connection) {
    std::string network = fmt::format("{{{}", Everything);
    network.pop_back(); // the bracket that closes the list
    return network + ", {" + connection + "}]}";
}

std::string withAction(const std::string& action) {
    return fmt::format(R"({{{}, "actions": [{{}}, {{{}}}]}})", Everything, action);
}

TEST_F(Networks, withMistakesSayWhereAndWhatIsNear) {
    const Mistake mistakes[] = {
        {"{\"objects\": [", {": is not JSON at byte 14"}},
        {withAction(R"("draw": {"lasso.brush": )" + std::string(100'000, '[')), {"nested more than 64 levels deep."}},
        {R"({"objects": {}})", {" at /objects: {} was found where a list is expected."}},
        {withObjects(R"({"name": "p"})"), {" at /objects/0:", "\"type\""}},
        {withObjects(R"({"name": "p", "type": "edit/ModifyClasification"})"),
         {"Did you mean", "\"Edit/ModifyClassification\""}},
        {withObjects(R"({"name": "p", "type": "Brush"}, {"name": "p", "type": "Brush"})"), {" at /objects/1", "\"p\""}},
        {withObjects(R"({"name": "p", "type": "Field", "parameters": {"name": "Clasification"}})"),
         {" at /objects/0/parameters/name", "Did you mean \"Classification\"?"}},
        {withEditor(R"("newvalu": 2)"), {" at /objects/0/parameters/newvalu", "Did you mean \"newvalue\"?"}},
        {withEditor(R"("newvalue": "high")"), {" at /objects/0/parameters/newvalue", "\"high\"", "whole number"}},
        {withEditor(R"("newvalue": -1)"), {" at /objects/0/parameters/newvalue", "-1", "from 0 to"}},
        {withEditor(R"("switch": "5")"), {" at /objects/0/parameters/switch", "\"5\"", "\"none\""}},
        {withConnection(R"("from": "lasso.brush", "to": "editor.labelfield")"), {" at /connections/1", "types"}},
        {withConnection(R"("from": "points.feld", "to": "editor.labelfield")"), {" at /connections/1", "\"field\"?"}},
        {withConnection(R"("from": "laso.brush", "to": "editor.brush")"), {" at /connections/1", "\"lasso\"?"}},
        {withConnection(R"("from": "points.field", "to": "points.field")"), {" at /connections/1", "circle"}},
        {withConnection(R"("from": "lasso.brush", "to": "editor.brush", "fromAnything": 1)"),
         {" at /connections/1/fromAnything: 1 was found"}},
        {withConnection(R"("from": "lasso.brush", "to": "editor.labelfield", "fromAnything": true)"),
         {" at /connections/1: lasso.brush cannot be connected to editor.labelfield, and no module supplies it.",
          " ModifyClassification: \"brush\" offers no field. ", " MaskedLabels: \"brush\" offers no field."}},
        {withObjects(R"({"name": "p", "type": "Field", "parameters": {"name": "GpsTime"}},
                        {"name": "e", "type": "Edit/ModifyClassification"})",
                     R"(, "connections": [{"from": "p.field", "to": "e.labelfield"}])"),
         {" at /connections/0", "GpsTime", "unsigned char"}},
        {withAction(R"("pres": "editor.assign")"),
         {" at /actions/1: the key \"pres\" was found where \"press\" is expected."}},
        {withAction(R"("press": "editor.asign")"), {" at /actions/1/press", "Did you mean \"assign\"?"}},
        {withAction(R"("press": ["editor.assign", "editor.newvalue"])"), {" at /actions/1/press/1", "editor.newvalue"}},
        {withAction(R"("set": {"editor.labelfield": "Red"})"), {" at /actions/1/set/editor.labelfield", "connection"}},
        {withAction(R"("set": {"editor.assign": 1})"), {" at /actions/1/set/editor.assign", "action"}},
        {withAction(R"j("draw": {"editor.from0": {"polygon": "POLYGON((0 0, 1 1, 1 0))"}})j"),
         {" at /actions/1/draw/editor.from0", "no brush"}},
        {withAction(R"j("draw": {"lasso.brush": {"polygon": "POLYGON((0 0"}})j"),
         {" at /actions/1", "POLYGON((0 0"},
         1},
        {withAction(R"("draw": {"lasso.brush": {"polygon": {"type": "Polygon", "coordinates": [[[0, 0], [1]]]}}})"),
         {" at /actions/1/draw/lasso.brush/polygon/coordinates/0/1", "at least two numbers"}},
        {withAction(R"("draw": {"lasso.brush": {"polygon": [{"type": "Point", "coordinates": [0, 0]}]}})"),
         {" at /actions/1", "\"Point\""},
         1},
        {withAction(R"("report": "lasso")"), {" at /actions/1/report", "\"lasso\"", "no field"}},
        {withAction(R"("save": "missing/out.las")"), {" at /actions/1", "missing/out.las"}, 1},
        {withAction(R"("set": {"points.name": "GpsTime"}, "press": "editor.assign")"), {" at /actions/1", "GpsTime"}},
        {withEditor(""), {"net.json", "No field is selected", "\"labelfield\""}, 1},
    };
    for (const Mistake& mistake : mistakes) {
        SCOPED_TRACE(mistake.network);
        write(file, mistake.network);
        auto says = mistake.says;
        says.push_back(file);
        expectRefused({"run", file, "--survey", in, "--save", out}, mistake.status, says);
        std::filesystem::remove(out);
    }
}

/// An editor that selects into a mask, with a module behind it that hands its field on.
const char* const Masked = R"("objects": [
    {"name": "points", "type": "Field"}, {"name": "lasso", "type": "Brush"},
    {"name": "editor", "type": "Edit/MaskedLabels", "parameters": {"labels": {"labels": [
        {"value": 2, "flags": {"editable": true}}, {"value": 300}], "selections": {"Assign": 2}}}},
    {"name": "counts", "type": "Compute/PointCloudHistogram", "parameters": {"scope": "WholeDataset"}}],
  "connections": [{"from": "points.field", "to": "editor.labelfield"}, {"from": "lasso.brush", "to": "editor.brush"},
                  {"from": "editor.labelfield", "to": "counts.inputfield"}])";

TEST_F(Networks, keepWhatModulesSaidWithOthersBehindThemAndTellWhatIsSelected) {
    const std::string everywhere =
        R"j({"draw": {"lasso.brush": {"limit": {"heights": [null, null]}}}, "report": "editor"})j";
    const Outcome ended =
        run(fmt::format(R"({{{}, "actions": [{}, {{"press": "editor.applySelection"}}, {{"report": "editor"}},
                            {{"press": "counts.compute", "report": "counts"}}, {{"undo": "editor"}},
                            {{"report": ["counts", "editor"]}}]}})",
                        Masked, everywhere),
            in, {"--json"});
    EXPECT_EQ(ended.status, Outcome::NotClean) << ended.err; // counted before undo
    const json reports = json::parse(ended.out)["reports"];
    const int ground = reports[0]["counts"]["2"];
    EXPECT_EQ(reports[0]["selected"], ground);
    EXPECT_EQ(reports[0]["status"], "");
    EXPECT_EQ(reports[1]["status"], fmt::format("{} vertex data have been modified.", ground));
    EXPECT_EQ(reports[2]["histogram"]["outOfDate"], false);
    EXPECT_EQ(reports[3]["histogram"]["outOfDate"], true);
    EXPECT_TRUE(holds(reports[4]["status"], "Undid")) << reports[4];
}

TEST_F(Networks, refuseALabelThatTheFieldCannotHoldAndTellOfSourcesThatWereLeftOut) {
    std::string large = Masked;
    large.replace(large.find("\"Assign\": 2"), 11, "\"Assign\": 300");
    const Outcome refused = run(fmt::format(R"({{{}}})", large), in, {});
    EXPECT_EQ(refused.status, 2);
    EXPECT_TRUE(holds(refused.err, "300 cannot be written to the field \"Classification\", which holds 0 to 255"))
        << refused.err;
    const Outcome noted = run(withEditor(R"("from0": 2, "from2": 2)"), in, {});
    EXPECT_TRUE(holds(noted.err, "note: " + file + ": from1, from3 of \"e\" are left out and mean class 0"))
        << noted.err;
}

TEST_F(Networks, thatAreNotThereOrNameNoSurveyAreRefused) {
    expectRefused({"run", folder / "none.json"}, 1, {"none.json"});
    write(file, R"({"objects": []})");
    expectRefused({"run", file}, 2, {file, "\"survey\"", "--survey"});
}

class NetworkDocs : public Program {
protected:
    void SetUp() override {
        Program::SetUp();
        std::filesystem::rename(in, folder / "tile.las");
        write(folder / "labels.json", R"({"labels": [{"value": 2, "name": "Ground"}]})");
        write(folder / "ditch.geojson",
              R"({"type": "Polygon", "crs": {"type": "name", "properties": {"name": "EPSG:32632"}},
                                               "coordinates": [[[0, 0], [9, 0], [9, 9], [0, 0]]]})");
    }

    /// The blocks of JSON of the document, in its order.
    static std::vector<json> examples() {
        const std::string text = bytesOf(CORVANE_DOCS "/network.md"), open = "```json\n", close = "\n```";
        std::vector<json> found;
        for (std::size_t at = text.find(open); at != text.npos; at = text.find(open, at)) {
            const std::size_t begin = at + open.size();
            at = text.find(close, begin);
            found.push_back(json::parse(text.substr(begin, at - begin)));
        }
        return found;
    }

    /// Its strokes are elsewhere than the survey, and not every example saves.
    Outcome runHere(const json& network) const {
        write(folder / "net.json", network.dump());
        return execute("/bin/sh", {"-c", "cd \"$1\" && exec \"$2\" run net.json --overwrite --discard", "sh",
                                   folder / "", CORVANE_PROGRAM});
    }
};

/// An action is run at the end of the network that stands before it.
TEST_F(NetworkDocs, examplesRunAsTheyStand) {
    json network;
    int actions = 0;
    for (const json& example : examples()) {
        SCOPED_TRACE(example.dump());
        json whole = example.contains("objects") ? example : network;
        if (example.contains("objects")) {
            network = example;
        } else {
            whole["actions"].push_back(example);
            ++actions;
        }
        const Outcome run = runHere(whole);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_FALSE(holds(run.err, "left out")) << run.err;
    }
    EXPECT_GT(actions, 15);
}

} // namespace
} // namespace corvane::test

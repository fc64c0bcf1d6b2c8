// SPDX-License-Identifier: Apache-2.0
// Network files: undo and redo, and what is said of mistakes in them.
#include "ProgramTestSupport.hpp"

namespace corvane::test {
namespace {

const char* const Everything = R"("objects": [
    {"name": "points", "type": "Field"},
    {"name": "lasso", "type": "Brush"},
    {"name": "editor", "type": "Edit/ModifyClassification",
     "parameters": {"newvalue": 30, "from0": 2, "from1": 3, "from2": 4, "from3": 5}}],
  "connections": [{"from": "points.field", "to": "editor.labelfield"}])";

class Networks : public Program {
protected:
    Outcome run(const std::string& network, const std::string& survey, const Arguments& more) const {
        write(file, network);
        Arguments arguments{"run", file, "--survey", survey};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return corvane(arguments);
    }

    /// Runs the actions on points, lasso and editor, without a brush; returns what stands in "out.las" at the end.
    std::string afterActions(const std::string& actions) const {
        const Outcome ended =
            run(fmt::format("{{{}, \"actions\": [{}]}}", Everything, actions), in, {"--save", out, "--overwrite"});
        return ended.status == 0 ? bytesOf(out) : ended.err;
    }

    const std::string file = folder / "net.json";
};

TEST_F(Networks, undoRestoresEveryBitAndRedoRepeatsTheEdit) {
    const std::string press = R"({"press": "editor.assign"})", undo = R"({"undo": "editor"})",
                      redo = R"({"redo": "editor"})",
                      second = R"({"set": {"editor.newvalue": 9, "editor.from0": 30}, "press": "editor.assign"})";
    const auto actions = [](const std::vector<std::string>& list) { return fmt::format("{}", fmt::join(list, ", ")); };
    const std::string none = bytesOf(in), one = afterActions(press), two = afterActions(actions({press, second})),
                      other = afterActions(second);
    ASSERT_TRUE(one != none && two != one && two != none && other != none && one.size() == none.size() &&
                two.size() == none.size());
    const std::pair<std::vector<std::string>, const std::string&> table[] = {
        {{undo}, none},
        {{press, redo}, one},
        {{press, undo}, none},
        {{press, undo, undo}, none},
        {{press, undo, redo}, one},
        {{press, undo, redo, redo}, one},
        {{press, second, undo}, one},
        {{press, second, undo, undo}, none},
        {{press, second, undo, undo, redo}, one},
        {{press, second, undo, undo, redo, redo}, two},
        {{press, undo, second, redo}, other},
    };
    for (const auto& [list, expected] : table) EXPECT_TRUE(afterActions(actions(list)) == expected) << actions(list);
}

TEST_F(Networks, undoneEditOfALargeSurveyThatWasSavedMidwaySavesTheSurveyItself) {
    const std::string survey = Data / "ahn3_pf1.las", midway = folder / "midway.las";
    if (!std::filesystem::exists(survey)) GTEST_SKIP() << "there is no " << survey;
    const Outcome ended = run(fmt::format(R"({{{}, "actions": [{{"press": "editor.assign", "save": "{}"}},
                                         {{"undo": "editor", "save": "{}"}}]}})",
                                          Everything, midway, out),
                              survey, {"--memory", "1M"});
    ASSERT_EQ(ended.status, 0) << ended.err;
    EXPECT_TRUE(bytesOf(out) == bytesOf(survey));
    EXPECT_GT(changedRecords(RawPoints(bytesOf(survey)), RawPoints(bytesOf(midway))), 100000u);
}

TEST_F(Networks, thatReclassifyPrintsDoTheSame) {
    const auto [x0, y0, x1, y1] = RawPoints(bytesOf(in)).box();
    const std::string within = fmt::format("MULTIPOLYGON((({0} {1}, {2} {1}, {0} {3})), (({2} {3}, {2} {4}, {5} {3})))",
                                           x0, y0, x1, y1, (y0 + y1) / 2, (x0 + x1) / 2);
    const Arguments edit{"--from", "2", "--from", "5", "--to", "30", "--within", within};
    Arguments printing = edit;
    printing.push_back("--print-network");
    const Outcome printed = reclassify(printing);
    ASSERT_EQ(printed.status, 0) << printed.err;
    EXPECT_FALSE(std::filesystem::exists(out));
    write(file, printed.out);
    EXPECT_EQ(corvane({"run", file}).status, 0);
    const std::string byNetwork = bytesOf(out);
    Arguments again = edit;
    again.push_back("--overwrite");
    ASSERT_EQ(reclassify(again).status, 0);
    EXPECT_TRUE(bytesOf(out) == byNetwork);
    EXPECT_TRUE(byNetwork != bytesOf(in));
}

struct Mistake {
    std::string network;
    int status;
    std::vector<std::string> says;
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
        {"", 2, {"JSON"}},
        {"{\"objects\": [", 2, {"JSON", "14"}},
        {R"({"objects": {}})", 2, {" at /objects:", "object", "list"}},
        {R"({"objects": [], "survay": "x"})", 2, {"\"survay\"", "Did you mean \"survey\"?"}},
        {withObjects(R"({"name": "p"})"), 2, {" at /objects/0:", "\"type\""}},
        {withObjects(R"({"name": "p", "type": "Fiel"})"), 2, {" at /objects/0", "\"Fiel\"", "\"Field\"?"}},
        {withObjects(R"({"name": "p", "type": "edit/ModifyClasification"})"),
         2,
         {"Did you mean", "\"Edit/ModifyClassification\""}},
        {withObjects(R"({"name": "p", "type": "Brush"}, {"name": "p", "type": "Brush"})"),
         2,
         {" at /objects/1", "\"p\""}},
        {withObjects(R"({"name": "p", "type": "Field", "parameters": {"name": "Clasification"}})"),
         2,
         {" at /objects/0/parameters/name", "Did you mean \"Classification\"?"}},
        {withObjects(R"({"name": "p", "type": "Field"}, {"name": "p", "name": "q", "type": "Brush"})"),
         2,
         {" at /objects/1", "\"name\"", "twice"}},
        {withEditor(R"("newvalu": 2)"), 2, {" at /objects/0/parameters/newvalu", "Did you mean \"newvalue\"?"}},
        {withEditor(R"("newvalue": "high")"), 2, {" at /objects/0/parameters/newvalue", "\"high\"", "whole number"}},
        {withEditor(R"("newvalue": -1)"), 2, {" at /objects/0/parameters/newvalue", "-1", "from 0 to"}},
        {withEditor(R"("newvalue": 99999999999)"), 2, {" at /objects/0/parameters/newvalue", "99999999999"}},
        {withEditor(R"("undodepth": 10001)"), 2, {" at /objects/0/parameters/undodepth", "10001", "0 to 10000"}},
        {withEditor(R"("switch": "5")"), 2, {" at /objects/0/parameters/switch", "\"5\"", "\"none\""}},
        {withConnection(R"("from": "lasso.brush", "to": "editor.labelfield")"), 2, {" at /connections/1", "types"}},
        {withConnection(R"("from": "points.field", "to": "editor.brush")"), 2, {" at /connections/1", "types"}},
        {withConnection(R"("from": "points.feld", "to": "editor.labelfield")"),
         2,
         {" at /connections/1", "\"field\"?"}},
        {withConnection(R"("from": "laso.brush", "to": "editor.brush")"), 2, {" at /connections/1", "\"lasso\"?"}},
        {withConnection(R"("from": "points.field", "to": "points.field")"), 2, {" at /connections/1", "circle"}},
        {withConnection(R"("from": "lasso.brush", "to": "editor.brush", "fromAnything": 1)"),
         2,
         {" at /connections/1/fromAnything", "number"}},
        {withObjects(R"({"name": "p", "type": "Field", "parameters": {"name": "GpsTime"}},
                        {"name": "e", "type": "Edit/ModifyClassification"})",
                     R"(, "connections": [{"from": "p.field", "to": "e.labelfield"}])"),
         2,
         {" at /connections/0", "GpsTime", "unsigned char"}},
        {withAction(R"("pres": "editor.assign")"), 2, {" at /actions/1:", "\"pres\"", "\"press\"?"}},
        {withAction(R"("press": "editor.asign")"), 2, {" at /actions/1/press", "Did you mean \"assign\"?"}},
        {withAction(R"("press": ["editor.assign", "editor.newvalue"])"),
         2,
         {" at /actions/1/press/1", "editor.newvalue"}},
        {withAction(R"("set": {"editor.labelfield": "Red"})"),
         2,
         {" at /actions/1/set/editor.labelfield", "connection"}},
        {withAction(R"("set": {"editor.assign": 1})"), 2, {" at /actions/1/set/editor.assign", "action"}},
        {withAction(R"("draw": {"lasso.brush": {"polygon": []}})"), 2, {" at /actions/1/draw/lasso.brush/polygon"}},
        {withAction(R"j("draw": {"lasso.brush": {"view": "below", "polygon": "POLYGON((0 0, 1 1, 1 0))"}})j"),
         2,
         {" at /actions/1/draw/lasso.brush/view", "\"above\""}},
        {withAction(R"j("draw": {"editor.from0": {"polygon": "POLYGON((0 0, 1 1, 1 0))"}})j"),
         2,
         {" at /actions/1/draw/editor.from0", "no brush"}},
        {withAction(R"j("draw": {"lasso.brush": {"polygon": "POLYGON((0 0"}})j"),
         1,
         {" at /actions/1", "POLYGON((0 0"}},
        {withAction(R"("report": "lasso")"), 2, {" at /actions/1/report", "\"lasso\"", "no field"}},
        {withAction(R"("save": "missing/out.las")"), 1, {" at /actions/1", "missing/out.las"}},
        {withAction(R"("set": {"points.name": "GpsTime"}, "press": "editor.assign")"),
         2,
         {" at /actions/1", "GpsTime"}},
        {withAction(R"("set": {"points.name": "Clasification"})"), 2, {" at /actions/1", "\"Classification\"?"}},
        {withEditor(""), 1, {"net.json", "No field is selected", "\"labelfield\""}},
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

TEST_F(Networks, thatAreNotThereOrNameNoSurveyAreRefused) {
    expectRefused({"run", folder / "none.json"}, 1, {"none.json"});
    write(file, R"({"objects": []})");
    expectRefused({"run", file}, 2, {file, "\"survey\"", "--survey"});
}

} // namespace
} // namespace corvane::test

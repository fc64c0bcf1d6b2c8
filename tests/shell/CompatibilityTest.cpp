// SPDX-License-Identifier: Apache-2.0
// Surveys that store a later format for older programs: every command sees what they stand for.
#include "../support/CompatibilityWriter.hpp"
#include "ProgramTestSupport.hpp"

namespace corvane::test {
namespace {

class ForOlderPrograms : public RealSurveys {
protected:
    void SetUp() override {
        RealSurveys::SetUp();
        if (IsSkipped()) return;
        points = modernPoints(survey);
        write(in, CompatibilityWriter(points).file());
        ASSERT_EQ(corvane({"reclassify", in, packed, "--from", "1", "--to", "1"}).status, 0);
    }

    /// Which dimensions differ between two surveys, or are missing in one.
    static json differing(const std::string& before, const std::string& after) {
        const json found = corvane({"compare", before, after, "--json"}).document();
        json names = found["onlyBefore"];
        for (const json& name : found["onlyAfter"]) names.push_back(name);
        for (const json& dimension : found["dimensions"]) names.push_back(dimension["name"]);
        return names;
    }

    const std::string survey = Data / "pdrf8-1.4.las", packed = folder / "in.laz";
    ModernPoints points;
};

TEST_F(ForOlderPrograms, areShownLikeTrueOnesAndSayHowTheyAreStored) {
    const json known = corvane({"info", survey, "--json"}).document();
    EXPECT_EQ(known["stored"], json());
    const json counted = corvane({"histogram", survey, "--json"}).document();
    std::map<std::string, json> rules; // with what they found
    const json checked = corvane({"lint", survey, "--json"}).document();
    for (const json& finding : checked["findings"]) rules[finding["name"]].push_back(finding["count"]);
    // What belongs to the newer version, and the counts, which are right in the form.
    for (const char* other : {"wkt-record-missing", "legacy-counts", "header-counts"}) rules.erase(other);

    for (const std::string& old : {in, packed}) {
        SCOPED_TRACE(old);
        const json info = corvane({"info", old, "--json"}).document();
        for (const char* same : {"points", "pointFormat", "recordLength", "bounds", "fields"})
            EXPECT_EQ(info[same], known[same]);
        EXPECT_EQ(info["stored"], (json{{"pointFormat", 3}, {"recordLength", 45}}));
        const std::string text = corvane({"info", old}).out;
        EXPECT_TRUE(holds(text, "LAS 1.2, point format 8, 42 bytes each")) << text;
        EXPECT_TRUE(holds(text, "as point format 3, 45 bytes each")) << text;
        EXPECT_EQ(differing(survey, old), json::array());
        EXPECT_EQ(corvane({"histogram", old, "--json"}).document(), counted);
        auto found = rules;
        for (auto& [name, counts] : found) counts = json();
        const json linted = corvane({"lint", old, "--json"}).document();
        for (const json& finding : linted["findings"]) found[finding["name"]].push_back(finding["count"]);
        EXPECT_EQ(found, rules);
    }
}

TEST_F(ForOlderPrograms, areEditedLikeTrueOnesAndStayWhatTheyAre) {
    const std::string edited = folder / "edited.las", editedPacked = folder / "edited.laz",
                      known = folder / "known.las";
    const Arguments edit{"--from", "2", "--from", "64", "--from", "200", "--to", "133", "--overwrite"};
    ASSERT_EQ(corvane(Arguments{"reclassify", survey, known} + edit).status, 0);
    ASSERT_EQ(corvane(Arguments{"reclassify", in, edited} + edit).status, 0);
    ASSERT_EQ(corvane(Arguments{"reclassify", packed, editedPacked} + edit).status, 0);
    EXPECT_EQ(differing(survey, edited), json({"Classification"}));
    EXPECT_EQ(differing(known, edited), json::array());
    EXPECT_EQ(differing(known, editedPacked), json::array());
    const ModernPoints after = modernPoints(known);
    CompatibilityWriter expected(after);
    EXPECT_TRUE(bytesOf(edited) == expected.file());

    const std::string network = folder / "net.json";
    write(network, fmt::format(R"({{"objects": [
        {{"name": "points", "type": "Field"}},
        {{"name": "editor", "type": "Edit/ModifyClassification", "parameters": {{"newvalue": 99, "from0": 3}}}}],
      "connections": [{{"from": "points.field", "to": "editor.labelfield"}}],
      "actions": [{{"press": "editor.assign", "save": "{}"}}, {{"undo": "editor", "save": "{}"}}]}})",
                               edited, out));
    const Outcome run = corvane({"run", network, "--survey", in, "--overwrite"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(differing(in, edited), json({"Classification"}));
    EXPECT_TRUE(bytesOf(out) == bytesOf(in));
}

TEST_F(ForOlderPrograms, becomeTrueOnesWhenConverted) {
    const std::string converted = folder / "true.las", laz = folder / "true.laz";
    for (const std::string& old : {in, packed}) {
        ASSERT_EQ(corvane({"convert", old, converted, "--point-format", "8", "--overwrite"}).status, 0);
        EXPECT_EQ(differing(survey, converted), json::array());
        const json info = corvane({"info", converted, "--json"}).document();
        EXPECT_EQ(info["version"], "1.4");
        EXPECT_EQ(info["stored"], json());
        EXPECT_EQ(info["recordLength"], 42);
        EXPECT_EQ(info["vlrs"], json({"LASF_Spec/4:768"})); // the user's extra bytes
        const json checked = corvane({"lint", converted, "--json"}).document();
        for (const json& finding : checked["findings"]) EXPECT_NE(finding["name"], "header-counts") << finding;
    }
    ASSERT_EQ(corvane({"convert", in, laz, "--point-format", "8"}).status, 0);
    EXPECT_EQ(differing(survey, laz), json::array());
    ASSERT_EQ(corvane({"convert", in, laz, "--chunk", "100", "--overwrite"}).status, 0);
    EXPECT_FALSE(corvane({"info", laz, "--json"}).document()["stored"].is_null());
    ASSERT_EQ(corvane({"convert", laz, converted, "--overwrite"}).status, 0);
    EXPECT_TRUE(bytesOf(converted) == bytesOf(in));
    expectRefused({"convert", in, folder / "old.las", "--point-format", "3"}, 1, {"\"Infrared\"", "format 3 lacks"});

    const CompatibilityWriter six(points = modernPoints(Data / "pdrf6-1.4.las"));
    write(in, six.file().substr(0, six.start() + 1000 * six.storedLength() + 7)); // cut off
    ASSERT_EQ(corvane({"convert", in, converted, "--overwrite"}).status, Outcome::NotClean);
    const LasFile rest = LasFile::open(converted);
    ASSERT_TRUE(rest.compatibility);
    EXPECT_TRUE(rest.warnings.empty()) << fmt::format("{}", fmt::join(rest.warnings, " "));
    EXPECT_EQ(rest.header.pointCount, 1000u);
    EXPECT_EQ(bytesOf(converted).substr(six.start()), six.file().substr(six.start(), 1000 * six.storedLength()));
    std::array<std::uint64_t, 15> returns{};
    for (std::size_t i = 0; i < 1000; ++i)
        if (const int number = points.get(i, 14) & 15; number > 0) ++returns[static_cast<std::size_t>(number) - 1];
    EXPECT_EQ(rest.header.returnCounts, returns);
}

} // namespace
} // namespace corvane::test

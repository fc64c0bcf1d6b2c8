// SPDX-License-Identifier: Apache-2.0
// Surveys that cannot be read: from outside, and while they are open.
#include "ProgramTestSupport.hpp"

#include "base/Failure.hpp"
#include "network/NetworkFile.hpp"
#include "plugin/Plugin.hpp"
#include "survey/SurveySaver.hpp"

namespace corvane::test {
namespace {

using Damage = RealSurveys;

TEST_F(Damage, endsInOneSentenceWithTheFilesName) {
    // Its extra bytes are described wrongly, which the points do not mind: the only one to be read.
    const std::string harmless = "malformed/malformed_extrabytes.las";
    auto names = named("malformed/", "");
    EXPECT_GE(names.size(), 8u);
    std::erase(names, harmless);
    const auto compressed = named("", ".laz");
    EXPECT_GE(compressed.size(), 15u);
    names.insert(names.end(), compressed.begin(), compressed.end());
    for (const std::string& name : names) {
        const std::string survey = Data / name;
        const std::string says = name.ends_with(".laz") ? "LAZ" : survey;
        expectRefused({"info", survey}, 1, {survey, says});
        expectRefused({"reclassify", survey, out, "--from", "1", "--to", "2"}, 1, {survey, says});
    }
    const Outcome run = reclassify({"--from", "2", "--to", "3", "--json"}, Data / harmless);
    EXPECT_EQ(run.document()["changed"], 10);
    EXPECT_TRUE(holds(run.err, "corvane: warning: " + std::string(Data / harmless))) << run.err;
}

/// A survey of several fragments that is cut to a half while it is open.
class Shrinking : public Program {
protected:
    std::shared_ptr<const Survey> open() const {
        return std::make_shared<const Survey>(in, SurveyOptions{.memoryBytes = 1, .fragmentPoints = 300});
    }
    void shrink() const { std::filesystem::resize_file(in, std::filesystem::file_size(in) / 2); }
};

TEST_F(Shrinking, surveyFailsWhereItIsReadOrSavedAndServesWhatIsLeft) {
    const auto survey = open();
    shrink();
    const auto classes = survey->points().findField("Classification");
    int served = 0, failed = 0;
    for (const auto& [number, fragment] : classes->fragments()) {
        const std::string failure =
            messageOf<Failure>([&, array = fragment.array] { served += array->getData()->size() > 0; });
        if (!failure.empty()) {
            EXPECT_TRUE(holds(failure, in + ": the file shrank while it was open")) << failure;
            ++failed;
        }
    }
    EXPECT_EQ(served, 3);
    EXPECT_EQ(failed, 4);
    EXPECT_TRUE(holds(messageOf<Failure>([&] { saveSurvey(*survey, out); }), "shrank while it was open"));
    EXPECT_EQ(folder.contents().size(), 1u) << "nothing may be left of the result";
}

TEST_F(Shrinking, surveyKeepsItsDataWhenAnEditFailsHalfWay) {
    const Plugin plugin(CORVANE_PLUGIN);
    const auto survey = open();
    {
        Network network(survey);
        network.addObject("points", "Field");
        network.addObject("editor", "Edit/ModifyClassification");
        network.connect("points.field", "editor.labelfield", false);
        for (const char* source : {"2", "3", "4", "5"})
            network.set(fmt::format("editor.from{}", source[0] - '2'), source);
        network.set("editor.newvalue", "30");
        network.update();
        shrink();
        network.press("editor.assign");
        const std::string failure = messageOf<Failure>([&] { network.update(); });
        EXPECT_TRUE(holds(failure, "shrank while it was open")) << failure;
        EXPECT_TRUE(survey->edits().empty());
        network.press("editor.undo");
        network.update();
        EXPECT_EQ(network.status("editor").text, "There is nothing to undo in the data.");
    }
}

} // namespace
} // namespace corvane::test

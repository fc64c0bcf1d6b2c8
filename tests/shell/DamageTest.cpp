// SPDX-License-Identifier: Apache-2.0
// Surveys that cannot be read: from outside, and while they are open.
#include "ProgramTestSupport.hpp"

#include "base/Failure.hpp"
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

using Shrinking = Program;

TEST_F(Shrinking, surveyFailsWhereItIsReadOrSavedAndServesWhatIsLeft) {
    const Survey survey(in, {.memoryBytes = 1, .fragmentPoints = 300});
    std::filesystem::resize_file(in, std::filesystem::file_size(in) / 2);
    const auto classes = survey.points().findField("Classification");
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
    EXPECT_TRUE(holds(messageOf<Failure>([&] { saveSurvey(survey, out); }), "shrank while it was open"));
    EXPECT_EQ(folder.contents().size(), 1u) << "nothing may be left of the result";
}

} // namespace
} // namespace corvane::test

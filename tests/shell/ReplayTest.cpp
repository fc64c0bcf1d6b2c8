// SPDX-License-Identifier: Apache-2.0
// What was done to one survey, done again to others: by networks and by patches.
#include "EditStoreSupport.hpp"

#include <algorithm>

namespace corvane::test {
namespace {

/// A mask that is applied goes with its steps; the strokes stay, where they were in the order of edits.
TEST_F(EditStore, isDoneAgainWithTheStrokesOfASelection) {
    const std::string original = folder / "original.las";
    fs::copy_file(in, original);
    edit({"run", network(Select)}, in);
    edit({"reclassify", "--from", "5", "--to", "2"}, in); // which the stroke did not meet
    edit({"run", network(Apply)}, in);
    write(folder / "replay.json", corvane({"history", in, "--network"}).out);
    const Classes expected = classesOf(saved(in));
    EXPECT_GT(std::ranges::count(expected, 9), 0);
    EXPECT_GT(std::ranges::count(expected, 2), 0);
    edit({"run", folder / "replay.json"}, original);
    EXPECT_EQ(classesOf(saved(original)), expected);
}

/// Whether other steps were done then than would be in the order of the replay, or what led to a selection is gone.
TEST_F(EditStore, isDoneAgainExactlyOrNotAtAll) {
    const Arguments other{"reclassify", "--from", "2", "--to", "5", "--where", "Intensity % 3 == 0"};
    const auto select = [&] { edit({"run", network(Select)}, in); };
    const auto apply = [&] { edit({"run", network(Apply)}, in); };
    const auto act = [&](const Arguments& call) { EXPECT_EQ(corvane(call).status, 0); };
    const std::string original = folder / "original.las", replay = folder / "replay.json";
    fs::copy_file(in, original);
    struct Case {
        const char* name;
        bool again;
        std::function<void()> work;
    };
    const std::vector<Case> cases{
        {"an edit undone before the selection", true,
         [&] {
             edit(other, in), act({"undo", in}), select(), apply();
         }},
        {"an edit undone behind the selection", false,
         [&] {
             edit(other, in), select(), edit({"run", network(R"({"undo": "editor"})")}, in), apply();
         }},
        {"an edit done again behind the selection", false,
         [&] {
             edit(other, in), act({"undo", in}), select(), act({"redo", in}), apply();
         }},
        {"the history of the selection dropped", false,
         [&] {
             select(), act({"history", in, "--drop"}), apply();
         }},
        {"the history before the selection dropped", true,
         [&] {
             edit(other, in), edit(other, original);
             act({"history", in, "--drop"}), select(), apply();
         }},
        {"a selection that was undone", true,
         [&] {
             select(), act({"mask", in, "--undo"}), edit(other, in);
         }},
        {"values set by an edit that was undone", true,
         [&] {
             edit(
                 {"run",
                  network(
                      std::string(R"({"set": {"editor.labels": {"labels": [
                 {"value": 3, "flags": {"editable": true}}, {"value": 9}], "selections": {"Assign": 9}}},
                 "draw": {"lasso.brush": {"limit": {"where": "ReturnNumber == 1"}}}}, {"press": "editor.applySelection"}, {"undo": "editor"},)") +
                      R"({"draw": {"lasso.brush": {"limit": {"where": "ReturnNumber == 1"}}}}, {"press": "editor.applySelection"})")},
                 in);
         }},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        each.work();
        const Outcome network = corvane({"history", in, "--network"});
        EXPECT_EQ(network.status, each.again ? 0 : 1) << network.err;
        if (each.again) {
            write(replay, network.out);
            edit({"run", replay}, original);
            EXPECT_EQ(classesOf(saved(original)), classesOf(saved(in)));
            EXPECT_EQ(corvane({"discard", original}).status, 0);
        }
        EXPECT_EQ(corvane({"discard", in}).status, 0);
    }
}

TEST_F(EditStore, aReplayAndAPatchGiveTheSameBytes) {
    const std::string copy = folder / "copy.las", packed = folder / "copy.laz", again = folder / "again.las";
    write(copy, bytesOf(in));
    ASSERT_EQ(corvane({"convert", in, packed}).status, 0);
    edit({"reclassify", "--from", "2", "--to", "9", "--where", "ReturnNumber == 1"}, in);
    edit({"run", network(std::string(Select) + "," + Apply)}, in);
    edit({"reclassify", "--map", "5:6,6:5"}, in);
    edit({"reclassify", "--from", "9", "--to", "10"}, in);
    ASSERT_EQ(corvane({"undo", in}).status, 0);
    const RawPoints expected = saved(in);
    EXPECT_FALSE(expected.bytes() == bytesOf(in));

    const Outcome replay = corvane({"history", in, "--network"});
    ASSERT_EQ(replay.status, 0) << replay.err;
    write(folder / "replay.json", replay.out);
    const Outcome run = corvane({"run", folder / "replay.json", "--survey", copy, "--save", again});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(bytesOf(again) == expected.bytes());

    const std::string patch = folder / "edits.patch";
    ASSERT_EQ(corvane({"patch", in, patch}).status, 0);
    expectRefused({"patch", in, patch}, 1, {"edits.patch", "exists"});
    for (const std::string& survey : {copy, packed}) {
        SCOPED_TRACE(survey);
        const std::string before = bytesOf(copy);
        expectRefused({"apply", survey, patch, "--reverse"}, 1, {"Classification of point", "nothing was changed"});
        ASSERT_EQ(corvane({"apply", survey, patch}).status, 0);
        EXPECT_TRUE(saved(survey).bytes() == expected.bytes());
        expectRefused({"apply", survey, patch}, 1, {"Classification of point", "nothing was changed"});
        EXPECT_EQ(doneSteps(survey), 1u);
        ASSERT_EQ(corvane({"apply", survey, patch, "--reverse"}).status, 0);
        EXPECT_TRUE(saved(survey).bytes() == before);
        ASSERT_EQ(corvane({"undo", survey, "2"}).status, 0);
        EXPECT_TRUE(saved(survey).bytes() == before);
    }
    // Saved in place, they are still what was done to the survey as others have it.
    ASSERT_EQ(corvane({"save", in, "--in-place"}).status, 0);
    ASSERT_EQ(corvane({"patch", in, patch, "--overwrite"}).status, 0);
    ASSERT_EQ(corvane({"apply", copy, patch}).status, 0);
    EXPECT_TRUE(saved(copy).bytes() == expected.bytes());
    ASSERT_EQ(corvane({"undo", in}).status, 0);
    ASSERT_EQ(corvane({"patch", in, patch, "--overwrite", "--unsaved"}).status, 0);
    ASSERT_EQ(corvane({"apply", copy, patch}).status, 0);
    EXPECT_TRUE(saved(copy).bytes() == saved(in).bytes());

    write(patch, bytesOf(patch).substr(0, bytesOf(patch).size() / 2));
    expectRefused({"apply", copy, patch}, 1, {"edits.patch"});
}

} // namespace
} // namespace corvane::test

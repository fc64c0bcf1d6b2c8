// SPDX-License-Identifier: Apache-2.0
// Edits that are kept beside a survey.
#include "EditStoreSupport.hpp"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <random>
#include <thread>
#include <unistd.h>

namespace corvane::test {
namespace {

TEST_F(EditStore, editsAndUndosAgreeWithAModel) {
    const RawPoints original(bytesOf(in));
    const std::string packed = folder / "in.laz";
    ASSERT_EQ(corvane({"convert", in, packed}).status, 0);
    for (const std::string& survey : {in, packed}) {
        SCOPED_TRACE(survey);
        const std::string untouched = bytesOf(survey);
        std::vector<Classes> states{classesOf(original)}; // of the history
        std::size_t present = 0;
        std::mt19937 random(7);
        for (int turn = 0; turn < 24; ++turn) {
            const auto kind = random() % 5;
            if (kind >= 3 && (kind == 3 ? present : states.size() - 1 - present) > 0) {
                const std::size_t most = kind == 3 ? present : states.size() - 1 - present;
                const std::size_t count = 1 + random() % most;
                const Outcome run = corvane({kind == 3 ? "undo" : "redo", survey, std::to_string(count)});
                EXPECT_EQ(run.status, 0) << run.err;
                present = kind == 3 ? present - count : present + count;
            } else {
                const int from = std::array{1, 2, 3, 5, 6}[random() % 5], to = static_cast<int>(random() % 20);
                const int least = static_cast<int>(random() % 100);
                edit({"reclassify", "--from", std::to_string(from), "--to", std::to_string(to), "--where",
                      fmt::format("Intensity % 100 >= {}", least), "--allow-miss"},
                     survey);
                Classes next = states[present];
                for (std::uint64_t i = 0; i < original.count(); ++i)
                    if (next[i] == from && original.get<std::uint16_t>(original.place(i, 12)) % 100 >= least)
                        next[i] = to;
                if (doneSteps(survey) == present) { // of no point there is no step
                    EXPECT_EQ(next, states[present]);
                } else {
                    states.resize(++present);
                    states.push_back(next);
                }
            }
            ASSERT_EQ(countsOf(survey), countsOf(states[present])) << "turn " << turn;
            const json history = corvane({"history", survey, "--json"}).document()["history"];
            ASSERT_EQ(history.size(), states.size() - 1) << "turn " << turn;
        }
        EXPECT_GT(states.size(), 3u);
        const RawPoints result = saved(survey);
        RawPoints expected = original;
        for (std::uint64_t i = 0; i < original.count(); ++i) expected.setClass(i, states[present][i]);
        EXPECT_EQ(classesOf(result), states[present]);
        if (survey == in) {
            EXPECT_TRUE(result.bytes() == expected.bytes());
        }
        EXPECT_TRUE(bytesOf(survey) == untouched);
        if (present > 0) {
            EXPECT_EQ(corvane({"undo", survey, std::to_string(present)}).status, 0);
        }
        EXPECT_EQ(classesOf(saved(survey)), states[0]);
        EXPECT_EQ(corvane({"discard", survey}).status, 0);
        EXPECT_FALSE(fs::exists(survey + ".edits"));
    }
}

TEST_F(EditStore, masksOutliveTheProgramAndHaveTheirOwnUndo) {
    const RawPoints original(bytesOf(in));
    std::uint64_t meant = 0;
    for (std::uint64_t i = 0; i < original.count(); ++i)
        meant += original.classOf(i) == 2 && (original.byteAt(i, 14) & 0xF) == 1;
    ASSERT_GT(meant, 0u);
    const auto selected = [&](const Arguments& more = {}) {
        std::uint64_t sum = 0;
        const json masks = corvane(Arguments{"mask", in, "--json"} + more).document()["masks"];
        for (const json& mask : masks) sum += mask["selected"].get<std::uint64_t>();
        return sum;
    };
    edit({"run", network(Select)}, in);
    EXPECT_EQ(selected(), meant);
    EXPECT_EQ(selected({"--undo"}), 0u);
    EXPECT_EQ(corvane({"mask", in, "--undo"}).status, 1);
    EXPECT_EQ(selected({"--redo"}), meant);
    edit({"run", network(Apply)}, in); // of what another process selected
    EXPECT_EQ(selected(), 0u);
    RawPoints expected = original;
    for (std::uint64_t i = 0; i < original.count(); ++i)
        if (original.classOf(i) == 2 && (original.byteAt(i, 14) & 0xF) == 1) expected.setClass(i, 9);
    EXPECT_TRUE(saved(in).bytes() == expected.bytes());
    EXPECT_EQ(corvane({"undo", in}).status, 0);
    EXPECT_TRUE(saved(in).bytes() == original.bytes());

    edit({"run", network(std::string(Select) + "," + Apply)}, in); // two updates in one process
    EXPECT_TRUE(saved(in).bytes() == expected.bytes());
    edit({"run", network(Select)}, in);
    EXPECT_EQ(selected({"--clear"}), 0u);
}

TEST_F(EditStore, allCommandsSeeTheEditsUnlessToldOtherwise) {
    const json before = countsOf(in);
    edit({"reclassify", "--from", "any", "--to", "21"}, in);
    EXPECT_EQ(countsOf(in), (json{{"21", 2000}}));
    EXPECT_EQ(countsOf(in, {"--original"}), before);
    const auto points = [&](const Arguments& more) {
        return corvane(Arguments{"points", in, "--class", "21", "--allow-miss", "--format", "csv"} + more).out;
    };
    EXPECT_GT(points({}).size(), points({"--original"}).size());
    EXPECT_TRUE(holds(corvane({"info", in, "--stats"}).out, "21"));
    EXPECT_TRUE(holds(corvane({"lint", in, "--classes", "2"}).out, "2000 points"));
    const std::string packed = folder / "packed.laz", plain = folder / "plain.las";
    EXPECT_EQ(corvane({"convert", in, packed}).status, 0);
    EXPECT_EQ(corvane({"convert", in, plain, "--point-format", "7"}).status, 0);
    for (const std::string& made : {packed, plain}) EXPECT_EQ(countsOf(made), (json{{"21", 2000}}));
    EXPECT_EQ(corvane({"compare", in, packed, "--only", "nothing"}).status, 2);
    EXPECT_TRUE(holds(corvane({"compare", in, packed}).out, "They are the same."));
    EXPECT_TRUE(holds(corvane({"compare", in, packed, "--original"}).out, "Classification"));
    EXPECT_EQ(corvane({"compare", in, packed}).status, 0);
    const Outcome told = corvane({"histogram", in});
    EXPECT_TRUE(holds(told.err, "in.las.edits") && holds(told.err, "--original")) << told.err;
}

TEST_F(EditStore, isOfOneSurveyOnly) {
    expectRefused({"undo", in}, 1, {"no edits are kept", "in.las.edits"});
    edit({"reclassify", "--from", "2", "--to", "9"}, in);
    const json counts = countsOf(in);
    expectRefused({"undo", in, "2"}, 1, {"only 1 edit", "not 2"});
    expectRefused({"redo", in}, 1, {"no edit"});

    fs::last_write_time(in, fs::last_write_time(in) + std::chrono::hours(1)); // copied, say
    EXPECT_EQ(countsOf(in), counts);
    RawPoints other(bytesOf(in));
    Classes classes = classesOf(other);
    const auto building = static_cast<std::uint64_t>(std::ranges::find(classes, 6) - classes.begin());
    other.setClass(building, 5); // by another program, and no point that was edited
    write(in, other.bytes());
    fs::last_write_time(in, fs::last_write_time(in) + std::chrono::hours(1));
    classes[building] = 5;
    std::ranges::replace(classes, 2, 9);
    EXPECT_EQ(countsOf(in), countsOf(classes)); // what was counted before does not count
    edit({"reclassify", "--from", "5", "--to", "4"}, in);
    std::ranges::replace(classes, 5, 4);
    EXPECT_EQ(countsOf(in), countsOf(classes));

    other = RawPoints(bytesOf(in));
    const auto road = static_cast<std::uint64_t>(std::ranges::find(classes, 11) - classes.begin());
    other.setClass(road, 12);
    write(in, other.bytes());
    fs::last_write_time(in, fs::last_write_time(in) + std::chrono::hours(1));
    classes[road] = 12;
    EXPECT_EQ(corvane({"save", in, "--in-place"}).status, 0);
    EXPECT_EQ(countsOf(in), countsOf(classes)); // nor when the file was written to
    EXPECT_EQ(classesOf(RawPoints(bytesOf(in))), classes);

    for (std::uint64_t i = 0; i < other.count(); ++i) other.setClass(i, 5);
    write(in, other.bytes());
    fs::last_write_time(in, fs::last_write_time(in) + std::chrono::hours(2));
    expectRefused({"histogram", in}, 1, {"in.las.edits", "Classification"});
    EXPECT_EQ(corvane({"histogram", in, "--original"}).status, 0);
}

TEST_F(EditStore, isNotLostByWritingOverItsSurvey) {
    edit({"reclassify", "--from", "2", "--to", "9"}, in);
    const std::string other = folder / "other.las";
    write(other, bytesOf(in));
    expectRefused({"save", in, in, "--overwrite"}, 1, {"in.las.edits", "discard"});
    expectRefused({"reclassify", other, in, "--from", "2", "--to", "9", "--overwrite"}, 1, {"in.las.edits"});
    expectRefused({"convert", other, in, "--overwrite"}, 1, {"in.las.edits"});
    expectRefused({"sample", in, "--overwrite"}, 1, {"in.las.edits"});
    expectRefused({"--original", "edit", in, "reclassify", "--from", "5", "--to", "6"}, 2, {"--original"});
    expectRefused({"--original", "save", in, out}, 2, {"--original"});
    fs::remove(in);
    expectRefused({"info", in}, 1, {"in.las", "in.las.edits"});
    EXPECT_TRUE(holds(corvane({"info", folder / ""}).err, "in.las.edits")); // of all surveys in it
}

TEST_F(EditStore, restoresWhatWasBefore) {
    const RawPoints original(bytesOf(in));
    const std::string copy = folder / "copy.las";
    write(copy, bytesOf(in));
    expectRefused({"restore", in}, 1, {"no edits are kept", "--values-of"});
    edit({"reclassify", "--from", "2", "--to", "9"}, in);
    edit({"reclassify", "--from", "9,5", "--to", "6"}, in);
    const RawPoints edited = saved(in);
    const std::string where = "Intensity % 3 == 0";
    const json tried = corvane({"restore", in, "--where", where, "--json", "--dry-run"}).document();
    const json told = corvane({"restore", in, "--where", where, "--json"}).document();
    EXPECT_EQ(tried["changed"], told["changed"]);
    RawPoints expected = edited;
    std::uint64_t changed = 0;
    for (std::uint64_t i = 0; i < original.count(); ++i) {
        if (original.get<std::uint16_t>(original.place(i, 12)) % 3 != 0) continue;
        changed += edited.classOf(i) != original.classOf(i);
        expected.setClass(i, original.classOf(i));
    }
    EXPECT_EQ(told["changed"], changed);
    EXPECT_GT(changed, 0u);
    EXPECT_TRUE(saved(in).bytes() == expected.bytes());
    EXPECT_EQ(corvane({"history", in, "--json"}).document()["history"][2]["steps"][0]["module"], "RestoreValues");

    write(folder / "replay.json", corvane({"history", in, "--network"}).out);
    EXPECT_EQ(corvane({"run", folder / "replay.json", "--survey", copy, "--save", folder / "again.las"}).status, 0);
    EXPECT_TRUE(bytesOf(folder / "again.las") == expected.bytes());
    EXPECT_EQ(corvane({"undo", in}).status, 0);
    EXPECT_TRUE(saved(in).bytes() == edited.bytes());

    const std::string delivery = folder / "delivery.laz"; // the same points, all of class 17
    ASSERT_EQ(corvane({"reclassify", copy, delivery, "--from", "any", "--to", "17"}).status, 0);
    ASSERT_EQ(corvane({"restore", in, "--values-of", delivery, "--where", where}).status, 0);
    for (std::uint64_t i = 0; i < original.count(); ++i)
        expected.setClass(i, original.get<std::uint16_t>(original.place(i, 12)) % 3 == 0 ? 17 : edited.classOf(i));
    EXPECT_TRUE(saved(in).bytes() == expected.bytes());
    RawPoints moved = original;
    moved.setByte(1999, 1, moved.byteAt(1999, 1) ^ 0x40); // of X
    write(copy, moved.bytes());
    expectRefused({"restore", in, "--values-of", copy}, 1, {"point 1999", "copy.las", "not the same points"});
    ASSERT_EQ(corvane({"sample", copy, "--points", "1999", "-q", "--overwrite"}).status, 0);
    expectRefused({"restore", in, "--values-of", copy}, 1, {"1999 points", "2000", "not the same points"});
}

TEST_F(EditStore, writesLabelsThatItKeeps) {
    const std::string path = folder / "labels.json";
    write(path, R"({"objects": [{"name": "points", "type": "Field", "parameters": {"name": "Classification"}},
        {"name": "labels", "type": "Compute/Labels"}],
        "connections": [{"from": "points.field", "to": "labels.inputfield"}],
        "actions": [{"set": {"points.name": "Classification"}}]})");
    edit({"run", path}, in);
    ASSERT_EQ(corvane({"save", in, out, "--with-labels"}).status, 0);
    const json derived = corvane({"labels", in, "--derive", "--json"}).document()["labels"];
    const json written = corvane({"labels", out, "--json"}).document()["labels"];
    ASSERT_EQ(written.size(), derived.size());
    for (std::size_t i = 0; i < written.size(); ++i)
        EXPECT_TRUE(written[i]["value"] == derived[i]["value"] && written[i]["name"] == derived[i]["name"]);
}

TEST_F(EditStore, forgetsHistoryAndKeepsEdits) {
    const std::string before = bytesOf(in);
    edit({"run", network(Select)}, in);
    edit({"reclassify", "--from", "2", "--to", "9"}, in);
    edit({"reclassify", "--from", "5", "--to", "6"}, in);
    const std::string present = saved(in).bytes();
    edit({"reclassify", "--from", "6", "--to", "7"}, in);
    ASSERT_EQ(corvane({"undo", in}).status, 0);
    expectRefused({"history", in, "--drop", "--older", "2026-02-30"}, 2, {"--older", "2026-02-30"});
    expectRefused({"history", in, "--older", "2026-02-28"}, 2, {"--drop"});
    ASSERT_EQ(corvane({"history", in, "--drop", "--older", "2020-01-01"}).status, 0);
    EXPECT_EQ(corvane({"history", in, "--json"}).document()["history"].size(), 4u);
    ASSERT_EQ(corvane({"history", in, "--drop", "--older", "2999-01-01 12:00"}).status, 0);
    EXPECT_EQ(corvane({"history", in, "--json"}).document()["history"].size(), 1u); // the one that is undone
    EXPECT_TRUE(saved(in).bytes() == present);
    expectRefused({"undo", in}, 1, {"no edit"});
    const json dropped = corvane({"history", in, "--drop", "--json"}).document();
    EXPECT_TRUE(dropped["forgotten"] == 1 && dropped["left"] == 0 && dropped["bytes"] > 0) << dropped;
    expectRefused({"redo", in}, 1, {"no edit"});
    expectRefused({"restore", in}, 1, {"no edit of Classification"});
    expectRefused({"history", in, "--drop", "--network"}, 2, {"--network"});
    EXPECT_TRUE(saved(in).bytes() == present);
    ASSERT_EQ(corvane({"discard", in}).status, 0);

    edit({"reclassify", "--from", "2", "--to", "9"}, in);
    ASSERT_EQ(corvane({"undo", in}).status, 0);
    ASSERT_EQ(corvane({"history", in, "--drop"}).status, 0);
    EXPECT_FALSE(fs::exists(in + ".edits")); // which has nothing to say any more
    EXPECT_TRUE(bytesOf(in) == before);
}

TEST_F(EditStore, keepsWhatItAcknowledgedWhenItIsKilled) {
    std::mt19937 random(3);
    std::vector<std::string> states{countsOf(in).dump()};
    for (int turn = 0; turn < 12; ++turn) {
        // Each edit changes points: with every state that there was the classes are exchanged.
        const bool there = states.size() % 2 != 0;
        const int from = there ? 2 : 9, to = there ? 9 : 2;
        const pid_t child = fork();
        if (child == 0) {
            const int nothing = open("/dev/null", O_RDWR);
            for (const int stream : {0, 1, 2}) dup2(nothing, stream);
            execl(CORVANE_PROGRAM, "corvane", "edit", in.c_str(), "reclassify", "--from", std::to_string(from).c_str(),
                  "--to", std::to_string(to).c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 150000));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        const std::size_t known = states.size();
        const Outcome history = corvane({"history", in, "--json"});
        const bool acknowledged = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (history.status != 0) { // killed before there was anything
            EXPECT_FALSE(acknowledged) << history.err;
            ASSERT_EQ(known, 1u);
            continue;
        }
        const std::size_t steps = history.document()["history"].size();
        ASSERT_TRUE(steps == known - 1 || steps == known) << steps << " after " << known - 1;
        if (acknowledged) {
            EXPECT_EQ(steps, known);
        }
        if (steps == known) states.push_back(countsOf(in).dump());
        EXPECT_EQ(countsOf(in).dump(), states.back());
        // The same state again, made by hand, so that the next turn begins where the model is.
        if (steps < known) {
            edit({"reclassify", "--from", std::to_string(from), "--to", std::to_string(to)}, in);
            states.push_back(countsOf(in).dump());
        }
    }
    for (std::size_t i = states.size(); i-- > 1;) {
        EXPECT_EQ(countsOf(in).dump(), states[i]);
        EXPECT_EQ(corvane({"undo", in}).status, 0);
    }
    EXPECT_EQ(countsOf(in).dump(), states[0]);
}

} // namespace
} // namespace corvane::test

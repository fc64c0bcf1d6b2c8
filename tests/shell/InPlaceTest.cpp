// SPDX-License-Identifier: Apache-2.0
// Surveys that are saved in place, by processes that are killed, or whose disc fails, at each of their calls in turn.
#include "InPlaceSupport.hpp"

#include <random>
#include <thread>

namespace corvane::test {
namespace {

class InPlaceOf : public InPlace, public testing::WithParamInterface<Form> {};

TEST_P(InPlaceOf, isOldOrNewWheneverItIsKilled) {
    const Case of = prepared(GetParam());
    std::mt19937 random(1);
    for (int call = 0;; ++call) {
        SCOPED_TRACE(call);
        restore(of);
        const TracedEnd end = traced([&] { return saveInPlace(of.path); }, {Fate::Killed, call});
        if (!end.struck) {
            EXPECT_EQ(end.status, 0) << said();
            break;
        }
        ASSERT_NO_FATAL_FAILURE(expectShown(of, of.after));
        while (isOpen(of.path) && random() % 2) { // and while it is completed
            traced([&] { return saveInPlace(of.path); }, {Fate::Killed, static_cast<int>(random() % 40)});
            ASSERT_NO_FATAL_FAILURE(expectShown(of, of.after));
        }
        ASSERT_NO_FATAL_FAILURE(expectCompleted(of));
        if (call % 4 == 0) {
            ASSERT_NO_FATAL_FAILURE(expectUndone(of));
        }
    }
    ASSERT_NO_FATAL_FAILURE(expectSaved(of));
    ASSERT_NO_FATAL_FAILURE(expectUndone(of));
    EXPECT_GT(kills, 30);
    RecordProperty("kills", kills);
}

TEST_P(InPlaceOf, isOldOrNewWheneverTheDiscFails) {
    const Case of = prepared(GetParam());
    std::vector<Fate> fates{{.kind = Fate::Fails}, {.kind = Fate::Fails, .error = ENOSPC, .forGood = true}};
    if (of.form == Form::Plain) fates.push_back({.kind = Fate::WritesHalf});
    if (Long) fates.push_back({.kind = Fate::Fails, .error = EIO, .forGood = true});
    if (Long) fates.push_back({.kind = Fate::Fails, .error = ENOSPC});
    for (Fate fate : fates) {
        int refused = 0;
        for (fate.call = 0;; ++fate.call) {
            SCOPED_TRACE(fmt::format("{} {}, call {}{}", int(fate.kind), strerror(fate.error), fate.call,
                                     fate.forGood ? " and all after it" : ""));
            restore(of);
            const TracedEnd end = traced([&] { return saveInPlace(of.path); }, fate);
            if (!end.struck) break;
            ASSERT_TRUE(end.status == 0 || end.status == 1) << end.status << said();
            refused += end.status == 1;
            const bool open = isOpen(of.path);
            ASSERT_FALSE(open && end.status == 0);
            if (end.status == 1) {
                ASSERT_TRUE(holds(said(), "survey.la")) << said();
                // Where nothing can be written any more, the store may say more than was acknowledged.
                const bool untouched = fate.forGood && bytesOf(of.path) == of.original;
                ASSERT_TRUE(!open || untouched || holds(said(), "is not complete; the next command")) << said();
            }
            ASSERT_NO_FATAL_FAILURE(expectShown(of, of.after));
            ASSERT_NO_FATAL_FAILURE(expectCompleted(of));
        }
        EXPECT_TRUE(fate.kind == Fate::WritesHalf || refused > 3) << refused;
    }
}

/// A process that saves stops amid it; whoever opens the survey meanwhile waits a little, and then is told.
TEST_P(InPlaceOf, isReadByNobodyWhileItIsWritten) {
    const Case of = prepared(GetParam());
    const pid_t saver = fork();
    if (saver == 0) {
        int calls = 0;
        const Watch stopping([&](std::uint64_t, std::uint64_t, const std::string&) {
            if (++calls == (of.form == Form::Plain ? 3 : 1)) raise(SIGSTOP);
            return true;
        });
        corvane::saveInPlace(toEdit(of.path), nullptr, stopping, SmallBatches);
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(saver, &status, WUNTRACED), saver);
    ASSERT_TRUE(WIFSTOPPED(status));
    EXPECT_EQ(bytesOf(of.path) != of.original, of.form == Form::Plain); // it is half-saved
    for (const char* command : {"histogram", "info"})
        expectRefused({command, of.path}, 1, {of.path, "is being saved in place by another program just now"});
    std::jthread later([saver] {
        usleep(100'000);
        kill(saver, SIGCONT);
    });
    EXPECT_TRUE(classesOf(of.path) == of.after);
    ASSERT_EQ(waitpid(saver, &status, 0), saver);
    EXPECT_EQ(status, 0);
    ASSERT_NO_FATAL_FAILURE(expectSaved(of));
}

TEST_P(InPlaceOf, isNotWrittenWhileItIsRead) {
    const Case of = prepared(GetParam());
    auto reader = openWithEdits(of.path, how(), {}, Nobody);
    const TracedEnd end = traced([&] { return saveInPlace(of.path); }, {});
    EXPECT_EQ(end.status, 1);
    EXPECT_TRUE(holds(said(), "is open in another program")) << said();
    EXPECT_TRUE(bytesOf(of.path) == of.original && !isOpen(of.path));
    EXPECT_TRUE(classesOf(*reader) == of.after);
    reader.reset();
    EXPECT_EQ(saveInPlace(of.path), 0);
    ASSERT_NO_FATAL_FAILURE(expectSaved(of));
}

Kesh::LabelSet named(const std::string& ground, const std::string& noise) {
    Kesh::LabelSet labels;
    labels[2].name = ground;
    labels[7].name = noise;
    return labels;
}

/// The names that whoever only reads sees, of those two classes.
std::string namesOf(const std::string& path) {
    const auto survey = openWithEdits(path, how(), {}, Nobody);
    return survey->labels()->find(2)->name + ", " + survey->labels()->find(7)->name;
}

TEST_F(InPlace, hasOldOrNewNamesWheneverItIsKilledOrTheDiscFails) {
    const Kesh::LabelSet before = named("Ground", "Noise"), after = named("Terrain", "Low points");
    for (const Form form : {Form::Plain, Form::Layered}) {
        Case of = prepared(form);
        EditStore::remove(of.path + ".edits");
        saveSurvey(Survey(of.path), of.path, {.overwrite = true, .labels = &before});
        edit(of.path, of.after);
        saveSurvey(*openWithEdits(of.path, how(), {}, Nobody), of.saved, {.overwrite = true, .labels = &after});
        of.contents = work.contents();
        for (const Fate::Kind kind : {Fate::Killed, Fate::Fails, Fate::WritesHalf}) {
            if (form != Form::Plain && kind != Fate::Killed && !Long) continue;
            int open = 0;
            for (int call = 0;; ++call) {
                SCOPED_TRACE(fmt::format("{} {}", int(kind), call));
                restore(of);
                const TracedEnd end = traced([&] { return saveInPlace(of.path, &after, {}); }, {kind, call});
                if (!end.struck) break;
                const std::string survey = bytesOf(of.path);
                const bool begun = isOpen(of.path);
                open += begun;
                ASSERT_TRUE(classesOf(of.path) == of.after);
                const std::string shown = namesOf(of.path);
                ASSERT_TRUE(shown == "Terrain, Low points" || (!begun && shown == "Ground, Noise")) << shown;
                ASSERT_TRUE(bytesOf(of.path) == survey);
                toEdit(of.path); // which completes it
                ASSERT_EQ(namesOf(of.path), shown);
                ASSERT_EQ(saveInPlace(of.path, &after), 0);
                ASSERT_TRUE(form != Form::Plain || bytesOf(of.path) == bytesOf(of.saved));
                ASSERT_TRUE(recordsOf(of.path) == recordsOf(of.saved));
                ASSERT_EQ(namesOf(of.path), "Terrain, Low points");
            }
            EXPECT_TRUE(open > 3 || kind == Fate::WritesHalf) << open; // who writes the rest is done
        }
    }
}

TEST_F(InPlace, saysThatItIsNotCompleteWhenInterrupted) {
    const Case of = prepared(Form::Plain);
    for (const int last : {1, 3}) { // before the first batch, and behind some
        int calls = 0;
        const Watch interrupting([&](std::uint64_t, std::uint64_t, const std::string&) { return ++calls < last; });
        try {
            corvane::saveInPlace(toEdit(of.path), nullptr, interrupting, SmallBatches);
            ADD_FAILURE() << "was not interrupted";
        } catch (const Interrupted& interrupted) {
            EXPECT_EQ(holds(interrupted.what(), "is not complete; the next command"), last > 1) << interrupted.what();
        }
        EXPECT_EQ(isOpen(of.path), last > 1);
    }
    ASSERT_NO_FATAL_FAILURE(expectCompleted(of));
}

INSTANTIATE_TEST_SUITE_P(Forms, InPlaceOf, testing::Values(Form::Plain, Form::Layered, Form::Pointwise),
                         [](const auto& form) {
                             return form.param == Form::Plain     ? "Plain"
                                    : form.param == Form::Layered ? "Layered"
                                                                  : "Pointwise";
                         });

/// What needs more room than it had becomes a new file, and so do layers that had none.
TEST_F(InPlace, replacesLayersThatDoNotFit) {
    fragmentPoints = SurveyOptions().fragmentPoints;
    const Case of = prepared(Form::Layered);
    ASSERT_EQ(corvane({"save", of.path, "--in-place"}).status, 0);
    Classes noise = of.after;
    std::mt19937 random(3);
    for (auto& value : noise) value = static_cast<std::uint8_t>(random());
    edit(of.path, noise);
    for (int call = 0;; ++call) { // killed, too
        const TracedEnd end = traced([&] { return saveInPlace(of.path); }, {Fate::Killed, call});
        ASSERT_TRUE(classesOf(of.path) == noise);
        if (!end.struck) break;
    }
    EXPECT_GT(bytesOf(of.path).size(), of.original.size());
    EXPECT_TRUE(originalOf(of.path) == noise);
    undo(of.path);
    EXPECT_TRUE(classesOf(of.path) == of.after);
    EXPECT_EQ(saveInPlace(of.path), 0);
    EXPECT_TRUE(recordsOf(of.path) == recordsOf(of.saved));
    EXPECT_EQ(corvane({"lint", of.path}).status, corvane({"lint", of.saved}).status);
}

} // namespace
} // namespace corvane::test

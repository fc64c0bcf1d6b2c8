// SPDX-License-Identifier: Apache-2.0
// A survey that is edited by hand: whatever is done, the record of it does the same to a copy by the program, what is
// stopped has changed nothing, and what is kept is there when the survey is opened again.
#include "Bench.hpp"
#include "base/Failure.hpp"

#include <algorithm>
#include <atomic>

namespace corvane::test {
namespace {

/// One call at random. Those that make no sense at this time are refused.
void actAtRandom(Workbench& bench, Hand& hand) {
    const WorkbenchState& state = bench.state();
    switch (hand.below(11)) {
    case 0:
        return void(bench.assign(hand.below(9)));
    case 1:
        return void(bench.selectAndAssign(hand.stroke(), hand.rule(), hand.below(9)));
    case 2:
        return void(bench.undo());
    case 3:
        return void(bench.redo());
    case 4:
        return void(bench.undoMask());
    case 5:
        return void(bench.goToStep(Which::Data, hand.below(state.data.size() + 1)));
    case 6:
        return void(bench.setLocked(hand.below(7), hand.below(2) == 0));
    case 7:
        return void(hand.below(3) == 0 ? bench.clearMask() : bench.redoMask());
    default:
        return void(bench.select(hand.stroke(), hand.how(), hand.rule()));
    }
}

TEST_F(Benches, eachCallDoesWhatItsRecordDoes) {
    for (const char* name : {"in.las", "in.laz", "in.copc.laz"}) {
        SCOPED_TRACE(name);
        makeSurvey(name, name == std::string("in.las") ? 140'000 : 60'000);
        const auto bench = open(in);
        const WorkbenchState& state = bench->state();
        const auto box = extent(state);
        const glm::dvec2 low(box.x, box.y), middle((box.x + box.z) / 2, (box.y + box.w) / 2), high(box.z, box.w);
        Stroke stroke = allWithin(nullptr);
        stroke.outline = Stroke::Rectangle{low, middle};
        bench->select(stroke, Selecting::Add);
        EXPECT_GT(state.mask.points, 1000u);
        EXPECT_EQ(state.maskHistory.size(), 1);
        EXPECT_FALSE(state.changedMask.empty());
        EXPECT_TRUE(state.changedClasses.empty());

        stroke.outline = Stroke::Circle{middle, (high.x - low.x) / 5};
        const auto before = state.mask.points;
        bench->select(stroke, Selecting::Remove);
        EXPECT_LT(state.mask.points, before);
        bench->undoMask();
        EXPECT_EQ(state.mask.points, before);
        bench->redoMask();
        bench->assign(6);
        EXPECT_EQ(state.mask.points, 0u);
        EXPECT_EQ(state.maskHistory.size(), 0);
        EXPECT_EQ((*state.data.steps)[0]->what, "6 Building");
        EXPECT_EQ(state.notInFile, 1);

        bench->setLocked(6, true);
        EXPECT_THROW(bench->assign(6), UsageError);
        bench->selectAndAssign(stroke, {.fromClasses = std::vector{2, 6}, .heights = std::array{-1e9, 1e9}}, 20);
        bench->undo();
        EXPECT_EQ(state.data.position, 1);
        bench->goToStep(Which::Data, 0);
        bench->goToStep(Which::Data, 2);
        bench->select(stroke, Selecting::Replace, {.hiddenClasses = {2}, .hiddenReturns = {2}});

        EXPECT_TRUE(seen(state) == replayed(bench->record())) << bench->record();
    }
}

TEST_F(Benches, countsAndSummariesAreThoseOfThePoints) {
    makeSurvey("in.las", 140'000);
    const auto bench = open(in);
    const WorkbenchState& state = bench->state();
    EXPECT_FALSE(state.countsComplete);
    bench->count();
    Hand hand(state, 7);
    for (int i = 0; i < 12; ++i) {
        i % 3 == 2 && state.mask.points > 0 ? bench->assign(5 + i) : bench->select(hand.stroke(), Selecting::Add);
        const Seen now = seen(state);
        ClassCounts all, selected;
        for (std::size_t p = 0; p < now.classes.size(); ++p) {
            ++all[now.classes[p]];
            if (now.mask[p]) ++selected[now.classes[p]];
        }
        ASSERT_TRUE(state.countsComplete);
        EXPECT_EQ(*state.counts, all);
        ASSERT_TRUE(state.mask.complete);
        EXPECT_EQ(state.mask.counts, selected);
    }
}

/// Of each stroke it is said what it does, before it is done.
TEST_F(Benches, previewSaysWhatIsDoneThen) {
    makeSurvey("in.laz", 60'000);
    const auto bench = open(in);
    const WorkbenchState& state = bench->state();
    Hand hand(state, 3);
    bench->setLocked(5, true);
    const std::atomic<bool> stop = false, stopped = true;
    std::uint64_t most = 0;
    for (int i = 0; i < 40; ++i) {
        const Stroke stroke = hand.stroke();
        const SelectionRule rule = hand.rule();
        const Selecting how = hand.how();
        const Seen before = seen(state);
        const auto said = previewOf(state, stroke, how, rule, 2, stop);
        ASSERT_TRUE(said);
        EXPECT_TRUE(seen(state) == before);
        const std::uint64_t others = said->notVisible + said->otherClass + said->locked;
        EXPECT_EQ(said->selected, said->willChange + said->alreadyThatClass);
        if (how == Selecting::Remove)
            EXPECT_LE(said->selected + others, said->underStroke);
        else
            EXPECT_EQ(said->selected + others, said->underStroke);
        bench->select(stroke, how, rule);
        const Seen after = seen(state);
        std::uint64_t changed = 0, that = 0, selected = 0;
        for (std::size_t p = 0; p < after.mask.size(); ++p) {
            const bool taken = how == Selecting::Replace ? after.mask[p] : after.mask[p] != before.mask[p];
            changed += taken;
            that += taken && after.classes[p] == 2;
            selected += after.mask[p];
        }
        if (how == Selecting::Add) { // some of what it selects was selected before
            EXPECT_LE(changed, said->selected) << i;
            EXPECT_LE(said->selected, selected) << i;
        } else {
            EXPECT_EQ(std::pair(said->selected, said->alreadyThatClass), std::pair(changed, that)) << i;
        }
        most = std::max(most, said->selected);
    }
    EXPECT_GT(most, 5000u);
    EXPECT_FALSE(previewOf(state, hand.stroke(), Selecting::Add, {}, 2, stopped));
}

TEST_F(Benches, atRandomAndStoppedAtRandomIsAsItsRecordAndKept) {
    for (const unsigned seed : {1u, 2u, 3u}) {
        SCOPED_TRACE(seed);
        makeSurvey(seed == 2 ? "in.copc.laz" : "in.las", seed == 1 ? 140'000 : 30'000);
        EditStore::remove(in + ".edits");
        auto bench = open(in);
        const WorkbenchState& state = bench->state();
        Hand hand(state, seed);
        int stopped = 0, done = 0;
        for (int i = 0; i < 40; ++i) {
            const Seen before = seen(state);
            const std::uint64_t number = state.number;
            if (hand.below(3) == 0) stopAt = 1 + hand.below(6);
            try {
                actAtRandom(*bench, hand);
                ++done;
            } catch (const Interrupted&) {
                ++stopped;
            } catch (const UsageError&) {
            }
            stopAt = Never;
            if (state.number == number) {
                EXPECT_TRUE(seen(state) == before) << i;
            }
        }
        EXPECT_GT(stopped, 0);
        EXPECT_GT(done, 20);
        const Seen last = seen(state);
        const std::string record = bench->record();
        bench.reset();
        EXPECT_TRUE(seen(open(in)->state()) == last);
        EXPECT_TRUE(replayed(record) == last) << record;
    }
}

TEST_F(Benches, savingTwiceTellsWhatIsNotInTheFile) {
    for (const char* name : {"in.las", "in.laz"}) {
        SCOPED_TRACE(name);
        makeSurvey(name, 100'000);
        auto bench = open(in);
        const WorkbenchState& state = bench->state();
        Hand hand(state, 5);
        const SelectionRule anything;
        bench->selectAndAssign(hand.stroke(), anything, 8);
        bench->selectAndAssign(hand.stroke(), anything, 9);
        EXPECT_EQ(state.notInFile, 2);
        const std::string copy = folder / (std::string("saved-") + name);
        bench->saveCopy(copy, true);
        EXPECT_EQ(std::pair(state.notInCopy, state.notInFile), std::pair(0, 2));
        EXPECT_THROW(bench->saveCopy(copy, false), Failure);
        EXPECT_TRUE(seen(open(copy)->state()).classes == seen(state).classes);

        const Seen before = seen(state);
        const auto opening = state.opening;
        bench->select(hand.stroke(), Selecting::Add);
        const Seen withMask = seen(state);
        bench->saveInPlace();
        EXPECT_GT(state.opening, opening);
        EXPECT_EQ(state.notInFile, 0);
        EXPECT_TRUE(seen(state) == withMask);
        bench->undo();
        EXPECT_EQ(state.notInFile, 1);
        bench->selectAndAssign(hand.stroke(), anything, 10);
        EXPECT_EQ(state.notInFile, 2); // what the file has is gone, and this is not there
        bench->saveInPlace();
        EXPECT_EQ(state.notInFile, 0);
        const Seen last = seen(state);
        bench.reset();
        EditStore::remove(in + ".edits");
        EXPECT_TRUE(seen(open(in)->state()).classes == last.classes);
        EXPECT_FALSE(last.classes == before.classes);
        EditStore::remove(in + ".edits");
    }
}

TEST_F(Benches, locksAndLabelsStayWithTheSurvey) {
    makeSurvey("in.las", 20'000);
    auto bench = open(in);
    bench->setLocked(2, true);
    bench->setLabel(40, "Fence", {0.5f, 0.25f, 0, 1});
    const Stroke everything = allWithin(nullptr);
    Stroke all = everything;
    const auto box = extent(bench->state());
    all.outline = Stroke::Rectangle{{box.x - 1, box.y - 1}, {box.z + 1, box.w + 1}};
    bench->selectAndAssign(all, {}, 40);
    const Seen edited = seen(bench->state());
    EXPECT_TRUE(std::ranges::count(edited.classes, 2) > 0 && std::ranges::count(edited.classes, 40) > 0);
    EXPECT_EQ(std::ranges::count(edited.classes, 2) + std::ranges::count(edited.classes, 40), 20'000);
    EXPECT_TRUE(replayed(bench->record()) == edited);
    bench.reset();

    bench = open(in);
    EXPECT_TRUE(bench->state().isLocked(2));
    EXPECT_FALSE(bench->state().isLocked(6));
    EXPECT_EQ(bench->state().labels->find(40)->name, "Fence");
    EXPECT_THROW(bench->selectAndAssign(all, {.fromClasses = std::vector{2}}, 6), UsageError);
    EXPECT_TRUE(seen(bench->state()) == edited);
    const auto info = pointInfo(bench->state(), 0, 5);
    EXPECT_TRUE(std::ranges::any_of(info, [&](const auto& field) {
        return field.first == "Classification" && field.second.starts_with(std::to_string(edited.classes[5]));
    }));
    EXPECT_THROW(pointInfo(bench->state(), 0, 20'000), UsageError);
}

/// A selection lasts longer than what is shown and what is locked.
TEST_F(Benches, assignsNothingThatWasHiddenOrLockedMeanwhile) {
    makeSurvey("in.las", 20'000);
    const auto bench = open(in);
    const WorkbenchState& state = bench->state();
    Stroke all = allWithin(nullptr);
    all.outline = Stroke::Rectangle{{-1e7, -1e7}, {1e7, 1e7}};
    bench->select(all, Selecting::Add);
    const Seen before = seen(state);
    bench->assign(18, {.fromClasses = {}, .hiddenClasses = {5}, .hiddenReturns = {}, .heights = {{-HUGE_VAL, 407.5}}});
    const Seen after = seen(state);
    const auto low = std::ranges::count(after.classes, 18);
    EXPECT_GT(low, 0);
    EXPECT_EQ(std::ranges::count(after.classes, 5), std::ranges::count(before.classes, 5));
    EXPECT_LT(low + std::ranges::count(after.classes, 5), 20'000); // some are higher
    EXPECT_TRUE(after == replayed(bench->record()));

    bench->select(all, Selecting::Add);
    bench->setLocked(5, true);
    EXPECT_THROW(bench->assign(9), UsageError);
    EXPECT_THROW(bench->assign(9, {.hiddenClasses = {2, 3, 4, 18}}), UsageError);
    EXPECT_EQ(seen(state).classes, after.classes);
    bench->setLocked(5, false);
    bench->assign(9);
    EXPECT_EQ(std::ranges::count(seen(state).classes, 9), 20'000);
}

/// Behind what editors keep that nobody has told otherwise.
TEST_F(Benches, theRecordTakesAsManyStepsBack) {
    makeSurvey("in.las", 1000);
    const auto bench = open(in);
    Stroke all = allWithin(nullptr);
    all.outline = Stroke::Rectangle{{-1e7, -1e7}, {1e7, 1e7}};
    constexpr int steps = 40;
    for (int i = 0; i < steps; ++i) bench->selectAndAssign(all, {}, 5 + i % 2);
    for (int i = 1; i < steps; ++i) bench->undo();
    EXPECT_EQ(bench->state().data.position, 1);
    EXPECT_TRUE(seen(bench->state()) == replayed(bench->record()));
}

TEST_F(Benches, looksAtSurveysOfNoPointAndOfOne) {
    for (const std::uint64_t points : {0u, 1u}) {
        makeSurvey("in.las", points);
        auto bench = open(in);
        const WorkbenchState& state = bench->state();
        EXPECT_EQ(state.points, points);
        Stroke stroke = allWithin(nullptr);
        stroke.outline = Stroke::Rectangle{{-1e7, -1e7}, {1e7, 1e7}};
        const std::atomic<bool> stop = false;
        EXPECT_EQ(previewOf(state, stroke, Selecting::Add, {}, 2, stop)->selected, points);
        bench->select(stroke, Selecting::Add);
        EXPECT_EQ(state.mask.points, points);
        if (points == 0)
            EXPECT_THROW(bench->assign(6), UsageError);
        else
            EXPECT_EQ(bench->assign(6).data.size(), 1);
        bench->count();
        EXPECT_TRUE(state.countsComplete);
        EXPECT_TRUE(seen(state) == replayed(bench->record()));
        bench.reset();
        EXPECT_EQ(EditStore::exists(in + ".edits"), points == 1);
    }
}

/// What was done is kept all the same.
TEST_F(Benches, aFileThatIsGoneEndsTheWork) {
    makeSurvey("in.las", 1000);
    auto bench = open(in);
    Stroke all = allWithin(nullptr);
    all.outline = Stroke::Rectangle{{-1e7, -1e7}, {1e7, 1e7}};
    bench->selectAndAssign(all, {}, 6);
    const Seen before = seen(bench->state());
    std::filesystem::rename(in, in + ".elsewhere");
    EXPECT_THROW(bench->saveInPlace(), Failure);
    EXPECT_THROW(bench->setLocked(2, true), Failure);
    EXPECT_THROW(bench->undo(), Failure);
    EXPECT_THROW(bench->select(all, Selecting::Add), Failure);
    EXPECT_FALSE(bench->record().empty());
    bench.reset();
    std::filesystem::rename(in + ".elsewhere", in);
    EXPECT_TRUE(seen(open(in)->state()) == before);
}

/// Nobody is left with a store for having looked.
TEST_F(Benches, lookingLeavesNothingBehind) {
    makeSurvey("in.las", 1000);
    auto bench = open(in);
    bench->count();
    EXPECT_THROW(bench->undo(), UsageError);
    EXPECT_THROW(bench->undoMask(), UsageError);
    EXPECT_THROW(bench->assign(300), UsageError);
    EXPECT_THROW(open(in), Failure); // somebody else edits it
    bench.reset();
    EXPECT_FALSE(std::filesystem::exists(in + ".edits"));
    std::filesystem::remove(in);
    EXPECT_THROW(open(in), Failure);
}

} // namespace
} // namespace corvane::test

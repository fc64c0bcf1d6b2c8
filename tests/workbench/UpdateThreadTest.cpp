// SPDX-License-Identifier: Apache-2.0
// The thread that owns a survey: every call is answered once and in order, whatever is cancelled, and what was done
// is what its record does.
#include "session/UpdateThread.hpp"
#include "Bench.hpp"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace corvane::test {
namespace {

using namespace std::chrono_literals;

/// Remembers what it hears.
class Ear : public UpdateListener {
public:
    void updated(std::uint64_t call, const WorkbenchState& now) override {
        const std::scoped_lock lock(mutex_);
        state_ = now;
        if (call > 0) answer(call, "updated");
        heard_.notify_all();
    }
    void failed(std::uint64_t call, const std::string& sentence, Why why) override {
        const std::scoped_lock lock(mutex_);
        answer(call, why == Why::Interrupted ? "interrupted" : sentence);
    }
    void previewed(std::uint64_t call, const StrokePreview& preview) override {
        const std::scoped_lock lock(mutex_);
        preview_ = preview;
        answer(call, "previewed");
    }
    void pointInfo(std::uint64_t call, const std::vector<std::pair<std::string, std::string>>& fields) override {
        const std::scoped_lock lock(mutex_);
        answer(call, fields.at(0).first);
    }
    void recorded(std::uint64_t call, const std::string& path) override {
        const std::scoped_lock lock(mutex_);
        answer(call, path);
    }
    void progress(std::uint64_t, std::uint64_t, const std::string&) override {}
    void note(const std::string&) override {}

    /// What became of a call; a failure of the test when nothing does.
    std::string answerTo(std::uint64_t call) {
        std::unique_lock lock(mutex_);
        if (!heard_.wait_for(lock, 60s, [&] { return answers_.contains(call); }))
            ADD_FAILURE() << "no answer to call " << call;
        return answers_[call];
    }

    void waitFor(const std::function<bool(const WorkbenchState&)>& condition) {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(heard_.wait_for(lock, 60s, [&] { return condition(state_); }));
    }

    bool isAnswered(std::uint64_t call) {
        const std::scoped_lock lock(mutex_);
        return answers_.contains(call);
    }

    WorkbenchState state() {
        const std::scoped_lock lock(mutex_);
        return state_;
    }
    StrokePreview preview() {
        const std::scoped_lock lock(mutex_);
        return preview_;
    }

private:
    void answer(std::uint64_t call, const std::string& text) {
        EXPECT_TRUE(answers_.emplace(call, text).second) << "a second answer to call " << call;
        heard_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable heard_;
    std::map<std::uint64_t, std::string> answers_;
    WorkbenchState state_;
    StrokePreview preview_;
};

class UpdateThreads : public Benches {
protected:
    static SessionOptions options() {
        SessionOptions made;
        made.pluginPath = CORVANE_PLUGIN;
        return made;
    }

    Ear ear;
};

TEST_F(UpdateThreads, callsAreAnsweredInOrderWhateverIsCancelled) {
    makeSurvey("in.las", 60'000);
    std::string record;
    std::vector<std::uint64_t> calls;
    {
        UpdateThread updates(ear, options());
        EXPECT_EQ(ear.answerTo(updates.open(in)), "updated");
        const WorkbenchState first = ear.state();
        Hand hand(first, 11);
        for (int i = 0; i < 60; ++i) {
            const int kind = hand.below(8);
            if (kind == 0) calls.push_back(updates.assign(hand.below(9)));
            if (kind == 1) calls.push_back(updates.selectAndAssign(hand.stroke(), hand.rule(), hand.below(9)));
            if (kind == 2) calls.push_back(updates.undo());
            if (kind == 3) calls.push_back(updates.setLocked(hand.below(7), hand.below(2) == 0));
            if (kind == 4) calls.push_back(updates.redoMask());
            if (kind > 4) calls.push_back(updates.select(hand.stroke(), hand.how(), hand.rule()));
            if (hand.below(4) == 0) updates.preview(hand.stroke(), hand.how(), hand.rule(), 2);
            if (hand.below(5) == 0) std::this_thread::sleep_for(std::chrono::milliseconds(hand.below(30)));
            if (hand.below(4) == 0) updates.cancel();
        }
        calls.push_back(updates.pointInfo(0, 1));
        EXPECT_EQ(ear.answerTo(calls.back()), "Point");
        for (const std::uint64_t call : calls) EXPECT_TRUE(ear.isAnswered(call));
        record = bytesOf(ear.answerTo(updates.saveRecord(folder / "record.json")));
    }
    EXPECT_TRUE(seen(ear.state()) == replayed(record)) << record;
}

TEST_F(UpdateThreads, newestPreviewIsAnsweredAndClassesAreCountedMeanwhile) {
    makeSurvey("in.las", 140'000);
    UpdateThread updates(ear, options());
    updates.open(in);
    ear.waitFor([](const WorkbenchState& state) { return state.countsComplete; });
    EXPECT_FALSE(ear.state().counts->empty());
    const WorkbenchState state = ear.state();
    Hand hand(state, 4);
    std::uint64_t last = 0;
    Stroke stroke = allWithin(nullptr);
    for (int i = 0; i < 30; ++i) last = updates.preview(stroke = hand.stroke(), Selecting::Replace, {}, 6);
    EXPECT_EQ(ear.answerTo(last), "previewed");
    ear.answerTo(updates.select(stroke, Selecting::Replace, {}));
    EXPECT_EQ(ear.preview().selected, ear.state().mask.points);
    EXPECT_EQ(ear.answerTo(updates.assign(6)), "updated");
    EXPECT_TRUE(ear.state().countsComplete);
}

TEST_F(UpdateThreads, mayEndAtAnyTime) {
    makeSurvey("in.las", 140'000);
    for (int i = 0; i < 12; ++i) {
        Ear listening;
        UpdateThread updates(listening, options());
        updates.open(in);
        Stroke stroke = allWithin(nullptr);
        stroke.outline = Stroke::Rectangle{{-1e7, -1e7}, {1e7, 1e7}};
        updates.preview(stroke, Selecting::Add, {}, 6);
        updates.select(stroke, Selecting::Add, {});
        updates.assign(6);
        updates.saveInPlace();
        std::this_thread::sleep_for(std::chrono::milliseconds(i * i * 5));
    }
    const Seen last = seen(open(in)->state()); // and everything is sound
    EXPECT_EQ(last.classes.size(), 140'000u);
}

TEST_F(UpdateThreads, whatCannotBeOpenedIsTold) {
    makeSurvey("in.las", 100);
    {
        UpdateThread updates(ear, options());
        EXPECT_NE(ear.answerTo(updates.open(folder / "none.las")).find("none.las"), std::string::npos);
        EXPECT_EQ(ear.answerTo(updates.undo()), "No survey is open.");
        EXPECT_EQ(ear.answerTo(updates.open(in)), "updated");
    }
    Ear other;
    SessionOptions wrong = options();
    wrong.pluginPath = folder / "no-plugin.so";
    UpdateThread updates(other, wrong);
    EXPECT_NE(other.answerTo(updates.open(in)).find("no-plugin.so"), std::string::npos);
}

} // namespace
} // namespace corvane::test

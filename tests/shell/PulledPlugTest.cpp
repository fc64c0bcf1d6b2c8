// SPDX-License-Identifier: Apache-2.0
// The plug is pulled: of what was written since the last sync of a file any part may be on the disc, and in any order.
// What a process does is recorded once, and then every such disc is made and looked at.
#include "InPlaceSupport.hpp"
#include "store/EditStore.hpp"

#include <random>

namespace corvane::test {
namespace {

/// What of the files is on the disc for certain, and what may be.
class Disc {
public:
    using Files = std::map<std::string, std::string>; // bytes by path
    using Chosen = std::vector<char>;                 // by number of what is not certain

    explicit Disc(Files files) : certain_(std::move(files)) {}

    void see(const FileCall& call) {
        if (call.kind != FileCall::Syncs) return pending_.push_back(call);
        for (const FileCall& before : pending_)
            if (before.path == call.path && before.kind != FileCall::Removes) carryOut(before, certain_);
        std::erase_if(pending_, [&](const FileCall& before) {
            return before.path == call.path && before.kind != FileCall::Removes;
        });
    }

    std::size_t pending() const { return pending_.size(); }

    /// With these of what is pending, and with half of the last write when it is torn.
    Files with(const Chosen& chosen, bool torn) const {
        Files files = certain_;
        std::size_t last = pending_.size();
        for (std::size_t i = 0; i < pending_.size(); ++i)
            if (chosen[i] && pending_[i].kind == FileCall::Writes) last = i;
        for (std::size_t i = 0; i < pending_.size(); ++i) {
            if (!chosen[i]) continue;
            FileCall call = pending_[i];
            if (torn && i == last) call.bytes.resize(call.bytes.size() / 2);
            carryOut(call, files);
        }
        return files;
    }

private:
    static void carryOut(const FileCall& call, Files& files) {
        if (call.kind == FileCall::Removes) {
            files.erase(call.path);
            return;
        }
        std::string& file = files[call.path];
        if (call.kind == FileCall::Cuts) return file.resize(call.offset);
        if (file.size() < call.offset + call.bytes.size()) file.resize(call.offset + call.bytes.size());
        file.replace(call.offset, call.bytes.size(), call.bytes);
    }

    Files certain_;
    std::vector<FileCall> pending_;
};

class PulledPlug : public InPlace {
protected:
    /// What a function does to the survey's folder, which then is as before. Locks and memory that processes share are
    /// nothing when they are gone.
    std::vector<FileCall> recorded(const std::function<int()>& function) {
        const auto before = work.contents();
        std::vector<FileCall> calls;
        const TracedEnd end = TracedProcess::run(function, {}, folder / "said", &calls);
        EXPECT_EQ(end.status, 0) << said();
        std::erase_if(calls,
                      [](const FileCall& call) { return call.path.ends_with("-shm") || call.path.ends_with("-lock"); });
        for (const FileCall& call : calls) EXPECT_NE(call.kind, FileCall::Names) << call.path;
        put(before);
        return calls;
    }

    void put(const std::map<std::string, std::string>& contents) const {
        for (const auto& [name, bytes] : work.contents()) fs::remove(work / name);
        for (const auto& [name, bytes] : contents) write(work / name, bytes);
    }

    /// Calls `look(isDone)` with each disc that there may be when the plug is pulled before a sync, or behind the last
    /// call.
    void pull(const std::vector<FileCall>& calls, const std::function<void(bool isDone)>& look) {
        Disc::Files files;
        for (const auto& [name, bytes] : work.contents()) files[work / name] = bytes;
        Disc disc(files);
        for (std::size_t i = 0; i <= calls.size(); ++i) {
            const bool isDone = i == calls.size();
            if (isDone || calls[i].kind == FileCall::Syncs) {
                for (const auto& [chosen, torn] : choices(disc.pending())) {
                    SCOPED_TRACE(fmt::format("before call {} of {}", i, calls.size()));
                    for (const auto& [name, bytes] : work.contents()) fs::remove(work / name);
                    for (const auto& [path, bytes] : disc.with(chosen, torn)) write(path, bytes);
                    look(isDone);
                    ++discs;
                    if (HasFatalFailure()) return;
                }
            }
            if (!isDone) disc.see(calls[i]);
        }
    }

    /// All, none, all but one, one alone, any; some of them where there are many.
    std::vector<std::pair<Disc::Chosen, bool>> choices(std::size_t pending) {
        std::vector<std::pair<Disc::Chosen, bool>> made{{Disc::Chosen(pending, 1), false}};
        if (pending == 0) return made;
        made.emplace_back(Disc::Chosen(pending, 0), false);
        made.emplace_back(Disc::Chosen(pending, 1), true);
        const std::size_t more = Long ? 40 : 4;
        for (std::size_t i = 0; i < more; ++i) {
            const std::size_t one = pending <= more ? i % pending : random_() % pending;
            Disc::Chosen without(pending, 1), alone(pending, 0), any(pending);
            without[one] = 0;
            alone[one] = 1;
            for (char& chosen : any) chosen = random_() % 2 != 0;
            made.emplace_back(without, false);
            made.emplace_back(alone, false);
            made.emplace_back(any, random_() % 2 != 0);
        }
        return made;
    }

    int discs = 0;

private:
    std::mt19937 random_{5};
};

TEST_F(PulledPlug, leavesASavingThatCanBeCompleted) {
    for (const Form form : {Form::Plain, Form::Layered}) {
        SCOPED_TRACE(form == Form::Plain ? "plain" : "layered");
        const Case of = prepared(form);
        pull(recorded([&] { return saveInPlace(of.path); }), [&](bool isDone) {
            if (isDone) {
                ASSERT_FALSE(isOpen(of.path));
            }
            ASSERT_NO_FATAL_FAILURE(expectShown(of, of.after));
            ASSERT_NO_FATAL_FAILURE(expectCompleted(of));
        });
    }
    EXPECT_GT(discs, 100);
}

TEST_F(PulledPlug, leavesAllOfACommitOrNothing) {
    const Case of = prepared(Form::Plain);
    Classes more = of.after;
    for (std::size_t i = 100; i < 1200; i += 3) more[i] = 7;
    const std::vector<std::pair<std::function<void()>, Classes>> commits{{[&] { edit(of.path, more); }, more},
                                                                         {[&] { undo(of.path); }, of.after},
                                                                         {[&] { undo(of.path); }, of.between},
                                                                         {[&] { redo(of.path); }, of.after}};
    Classes before = of.after;
    for (const auto& [commit, becomes] : commits) {
        const auto contents = work.contents();
        const auto calls = recorded([&commit = commit] {
            commit();
            return 0;
        });
        pull(calls, [&](bool isDone) {
            const Classes now = classesOf(of.path);
            ASSERT_TRUE(now == becomes || (now == before && !isDone));
            const corvane::EditStore store(of.path + ".edits", corvane::EditStore::Access::Read);
            ASSERT_TRUE(store.check().empty());
        });
        put(contents);
        commit();
        before = becomes;
    }
    EXPECT_GT(discs, 50);
}

} // namespace
} // namespace corvane::test

// SPDX-License-Identifier: Apache-2.0
#include "session/UpdateThread.hpp"

#include "base/LowPriority.hpp"
#include "base/OutputFile.hpp"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <fmt/format.h>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <utility>

namespace corvane {
namespace {

using Why = UpdateListener::Why;

/// Tells the listener of one thread at a time.
class Teller {
public:
    explicit Teller(UpdateListener& listener) : listener_(listener) {}

    template <class... Parameters, class... Arguments>
    void operator()(void (UpdateListener::*what)(Parameters...), Arguments&&... arguments) {
        const std::scoped_lock lock(mutex_);
        (listener_.*what)(std::forward<Arguments>(arguments)...);
    }

private:
    UpdateListener& listener_;
    std::mutex mutex_;
};

/// The newest question, on a thread of its own.
class PreviewThread {
public:
    explicit PreviewThread(Teller& tell) : tell_(tell), thread_([this] { work(); }) {}

    ~PreviewThread() {
        {
            const std::scoped_lock lock(mutex_);
            ended_ = true;
            next_.reset();
            stop_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }
    PreviewThread(const PreviewThread&) = delete;
    PreviewThread& operator=(const PreviewThread&) = delete;

    /// What is under way is stopped.
    using Question = std::function<std::optional<StrokePreview>(const WorkbenchState&, const std::atomic<bool>& stop)>;
    void ask(std::uint64_t call, Question question) {
        {
            const std::scoped_lock lock(mutex_);
            next_.emplace(call, std::move(question));
            stop_ = true;
        }
        changed_.notify_all();
    }

    void stop() {
        const std::scoped_lock lock(mutex_);
        next_.reset();
        stop_ = true;
    }

    void show(std::shared_ptr<const WorkbenchState> state) {
        const std::scoped_lock lock(mutex_);
        state_.swap(state);
    }

private:
    void work() {
        lowerPriority(UpdateNiceness);
        std::unique_lock lock(mutex_);
        while (true) {
            changed_.wait(lock, [this] { return ended_ || next_; });
            if (ended_) return;
            const auto [call, question] = *std::exchange(next_, std::nullopt);
            auto state = state_;
            stop_ = false;
            lock.unlock();
            if (state) answer(call, question, *state);
            state.reset();
            lock.lock();
        }
    }

    void answer(std::uint64_t call, const Question& question, const WorkbenchState& state) {
        try {
            const auto preview = question(state, stop_);
            if (preview && !stop_) tell_(&UpdateListener::previewed, call, *preview);
        } catch (const std::exception& problem) {
            tell_(&UpdateListener::failed, call, problem.what(), Why::Error);
        }
    }

    Teller& tell_;
    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    std::shared_ptr<const WorkbenchState> state_;
    std::optional<std::pair<std::uint64_t, Question>> next_;
    bool ended_ = false;
    std::atomic<bool> stop_ = false; // what is under way
    std::thread thread_;
};

} // namespace

struct UpdateThread::Parts {
    using Job = std::function<void(std::uint64_t call)>;

    Parts(UpdateListener& listener, SessionOptions ours)
        : tell(listener), options(std::move(ours)), previews(tell), thread([this] { work(); }) {
        options.watch = {};
    }

    ~Parts() {
        {
            const std::scoped_lock lock(mutex);
            ended = true;
            waiting.clear();
        }
        changed.notify_all();
        thread.join();
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    std::uint64_t post(Job job) {
        const std::scoped_lock lock(mutex);
        waiting.emplace_back(++calls, std::move(job));
        callWaits = true;
        changed.notify_all();
        return calls;
    }

    /// A call to the workbench that changes something.
    template <class Function>
    std::uint64_t change(Function function) {
        return post([this, function](std::uint64_t call) {
            const std::uint64_t opening = opened().state().opening;
            try {
                updated(call, function(*bench));
            } catch (...) { // the survey may have been opened anew all the same: its arrays are others now
                if (bench->state().opening != opening) updated(0, bench->state());
                throw;
            }
        });
    }

    Workbench& opened() {
        if (!bench) throw UsageError("No survey is open.");
        return *bench;
    }

    void open(std::uint64_t call, const std::string& path, const StorePlace& store) {
        bench.reset();
        previews.show(nullptr);
        mayCount = true;
        if (!session) session = std::make_shared<const Session>(sessionOptions());
        WorkbenchOptions how;
        how.note = [this](const std::string& sentence) { tell(&UpdateListener::note, sentence); };
        if (!store.onlyIfThere || EditStore::exists(store.path)) how.store = store.path;
        if (!how.store.empty()) how.note(fmt::format("Its edits are kept in {}.", how.store));
        bench = std::make_unique<Workbench>(session, path, how);
        updated(call, bench->state());
    }

    SessionOptions sessionOptions() {
        SessionOptions made = options;
        made.watch = Watch([this](std::uint64_t done, std::uint64_t total, const std::string& work) {
            tell(&UpdateListener::progress, done, total, work);
            told = true;
            if (cancelled.exchange(false) && !std::exchange(stopped, true)) return false; // one thing of a call
            return !ended && !(counting && callWaits);
        });
        made.note = [this](const std::string& sentence) { tell(&UpdateListener::note, sentence); };
        return made;
    }

    void updated(std::uint64_t call, const WorkbenchState& state) {
        previews.show(std::make_shared<const WorkbenchState>(state));
        tell(&UpdateListener::updated, call, state);
    }

    void work();
    void run(std::uint64_t call, const Job& job);
    void count();
    bool wantsCounting() const { return bench && mayCount && !bench->state().countsComplete; }

    Teller tell;
    SessionOptions options;
    std::mutex mutex; // guards the queue and the number of calls
    std::condition_variable changed;
    std::deque<std::pair<std::uint64_t, Job>> waiting;
    std::uint64_t calls = 0;
    std::atomic<bool> cancelled = false, ended = false, callWaits = false;

    // Of the update thread; the survey goes before the session with the plug-in.
    std::shared_ptr<const Session> session;
    std::unique_ptr<Workbench> bench;
    bool mayCount = false, counting = false, told = false, stopped = false;

    PreviewThread previews;
    std::thread thread;
};

void UpdateThread::Parts::work() {
    lowerPriority(UpdateNiceness);
    std::unique_lock lock(mutex);
    while (!ended) {
        if (waiting.empty()) {
            if (wantsCounting()) {
                callWaits = false;
                lock.unlock();
                count();
                lock.lock();
                continue;
            }
            changed.wait(lock, [this] { return ended || !waiting.empty(); });
            continue;
        }
        const auto [call, job] = std::move(waiting.front());
        waiting.pop_front();
        cancelled = false;
        lock.unlock();
        run(call, job);
        lock.lock();
    }
    lock.unlock();
    bench.reset();
    previews.show(nullptr);
    session.reset();
}

void UpdateThread::Parts::run(std::uint64_t call, const Job& job) {
    told = stopped = false;
    try {
        job(call);
    } catch (const Interrupted& interrupted) {
        if (!ended) tell(&UpdateListener::failed, call, interrupted.what(), Why::Interrupted);
    } catch (const NoStore& problem) {
        if (!ended) tell(&UpdateListener::failed, call, problem.what(), Why::NoStore);
    } catch (const std::exception& problem) {
        if (!ended) tell(&UpdateListener::failed, call, problem.what(), Why::Error);
    }
    if (told && !ended) tell(&UpdateListener::progress, std::uint64_t(0), std::uint64_t(0), std::string());
}

/// As long as nobody calls. Goes on behind a call, where that did not stop it for good.
void UpdateThread::Parts::count() {
    counting = true;
    told = stopped = false;
    try {
        updated(0, bench->count());
    } catch (const Interrupted&) {
        mayCount = callWaits; // else somebody cancelled
    } catch (const std::exception& problem) {
        mayCount = false; // it would fail again
        if (!ended) tell(&UpdateListener::note, std::string(problem.what()));
    }
    counting = false;
    if (told && !ended) tell(&UpdateListener::progress, std::uint64_t(0), std::uint64_t(0), std::string());
}

UpdateThread::UpdateThread(UpdateListener& listener, SessionOptions options)
    : parts_(std::make_unique<Parts>(listener, std::move(options))) {}

UpdateThread::~UpdateThread() = default;

std::uint64_t UpdateThread::open(const std::string& path, const StorePlace& store) {
    return parts_->post([=, parts = parts_.get()](std::uint64_t call) { parts->open(call, path, store); });
}

std::uint64_t UpdateThread::select(const Stroke& stroke, Selecting how, const SelectionRule& rule) {
    return parts_->change([=](Workbench& bench) { return bench.select(stroke, how, rule); });
}
std::uint64_t UpdateThread::assign(int value, const SelectionRule& rule) {
    return parts_->change([=](Workbench& bench) { return bench.assign(value, rule); });
}
std::uint64_t UpdateThread::selectAndAssign(const Stroke& stroke, const SelectionRule& rule, int value) {
    return parts_->change([=](Workbench& bench) { return bench.selectAndAssign(stroke, rule, value); });
}
std::uint64_t UpdateThread::clearMask() {
    return parts_->change([](Workbench& bench) { return bench.clearMask(); });
}
std::uint64_t UpdateThread::undo() {
    return parts_->change([](Workbench& bench) { return bench.undo(); });
}
std::uint64_t UpdateThread::redo() {
    return parts_->change([](Workbench& bench) { return bench.redo(); });
}
std::uint64_t UpdateThread::undoMask() {
    return parts_->change([](Workbench& bench) { return bench.undoMask(); });
}
std::uint64_t UpdateThread::redoMask() {
    return parts_->change([](Workbench& bench) { return bench.redoMask(); });
}
std::uint64_t UpdateThread::goToStep(Which history, int done) {
    return parts_->change([=](Workbench& bench) { return bench.goToStep(history, done); });
}
std::uint64_t UpdateThread::setLocked(int value, bool locked) {
    return parts_->change([=](Workbench& bench) { return bench.setLocked(value, locked); });
}
std::uint64_t UpdateThread::setLabel(int value, const std::string& name, const Sextant::rgba_float_t& colour) {
    return parts_->change([=](Workbench& bench) { return bench.setLabel(value, name, colour); });
}
std::uint64_t UpdateThread::saveCopy(const std::string& path, bool overwrite) {
    return parts_->change([=](Workbench& bench) { return bench.saveCopy(path, overwrite); });
}
std::uint64_t UpdateThread::saveInPlace() {
    return parts_->change([](Workbench& bench) { return bench.saveInPlace(); });
}

std::uint64_t UpdateThread::saveRecord(const std::string& path) {
    return parts_->post([parts = parts_.get(), path](std::uint64_t call) {
        const std::string record = parts->opened().record();
        OutputFile file(path, true);
        file.write(std::as_bytes(std::span(record)));
        file.commit();
        parts->tell(&UpdateListener::recorded, call, path);
    });
}

std::uint64_t UpdateThread::pointInfo(std::uint32_t fragment, std::size_t index) {
    return parts_->post([parts = parts_.get(), fragment, index](std::uint64_t call) {
        parts->tell(&UpdateListener::pointInfo, call, corvane::pointInfo(parts->opened().state(), fragment, index));
    });
}

std::uint64_t UpdateThread::preview(const Stroke& stroke, Selecting how, const SelectionRule& rule, int value) {
    std::uint64_t call = 0;
    {
        const std::scoped_lock lock(parts_->mutex);
        call = ++parts_->calls;
    }
    parts_->previews.ask(call, [=](const WorkbenchState& state, const std::atomic<bool>& stop) {
        return previewOf(state, stroke, how, rule, value, stop);
    });
    return call;
}

void UpdateThread::stopPreview() { parts_->previews.stop(); }

void UpdateThread::cancel() { parts_->cancelled = true; }

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "render/Renderer.hpp"

#include "base/LowPriority.hpp"
#include "render/ViewPicture.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <fmt/format.h>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

namespace corvane {

using Clock = std::chrono::steady_clock;

constexpr auto BetweenStocks = std::chrono::milliseconds(40); // that are shown while a survey is loaded

/// The render thread and what it shares with others.
class Renderer::Work {
public:
    Work(PointStore& store, Finished finished, Failed failed, unsigned threads, std::chrono::milliseconds patience)
        : store_(store),
          finished_(std::move(finished)),
          failed_(std::move(failed)),
          threads_(std::max(threads, 1U)),
          patience_(patience) {
        thread_ = std::thread([this] { run(); });
        store_.listen([this] { wake(); });
    }
    ~Work() { stop(); }

    void request(int view, PictureRequest request);
    void activate(int view);
    void forget(int view);
    void wake();
    void stop();

private:
    struct Slot {
        std::optional<PictureRequest> asked;  // and not begun
        Clock::time_point askedAt{};          // by the first request that was not begun
        bool open = false;                    // more is to be drawn
        std::shared_ptr<ViewPicture> picture; // of the render thread
    };

    void run();
    bool isReady(const Slot& slot) const;
    bool isWaiting() const;
    void look(std::unique_lock<std::mutex>& lock);
    std::map<int, Slot>::iterator next();
    void step(std::unique_lock<std::mutex>& lock, int view, Team& team);
    PicturePtr drawn(ViewPicture& picture, const std::optional<PictureRequest>& asked, Team& team);
    void giveUp(std::unique_lock<std::mutex>& lock, int view, const std::string& why);

    PointStore& store_;
    Finished finished_;
    Failed failed_;
    unsigned threads_;
    std::chrono::milliseconds patience_;
    std::mutex mutex_; // guards what follows
    std::condition_variable wake_;
    std::map<int, Slot> slots_;
    int active_ = 0, last_ = 0; // views
    bool stocked_ = false;      // the store has changed
    bool allThere_ = false;     // and has nothing more to come
    Clock::time_point stockedAt_{};
    bool ending_ = false;
    std::atomic<bool> interrupt_ = false; // there is something newer to do
    DrawingSpeed speed_;                  // of the render thread
    std::thread thread_;
};

void Renderer::Work::request(int view, PictureRequest request) {
    requireSane(request.screen);
    {
        const std::lock_guard lock(mutex_);
        Slot& slot = slots_[view];
        if (!slot.asked) slot.askedAt = Clock::now();
        request.patient = request.patient && (!slot.asked || slot.asked->patient);
        if (request.patient)
            stocked_ = true; // is looked at first
        else
            interrupt_ = true;
        slot.asked = std::move(request);
    }
    wake_.notify_all();
}

void Renderer::Work::activate(int view) {
    const std::lock_guard lock(mutex_);
    active_ = view;
}

void Renderer::Work::forget(int view) {
    const std::lock_guard lock(mutex_);
    slots_.erase(view);
}

void Renderer::Work::wake() {
    {
        const std::lock_guard lock(mutex_);
        stocked_ = true;
        if (isWaiting()) interrupt_ = true;
    }
    wake_.notify_all();
}

void Renderer::Work::stop() {
    store_.listen({});
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        interrupt_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

/// A view with something to do: what was asked for goes before what is to be refined, and the active view before
/// others.
std::map<int, Renderer::Work::Slot>::iterator Renderer::Work::next() {
    const auto choose = [this](auto wanted) {
        if (const auto active = slots_.find(active_); active != slots_.end() && wanted(active->second)) return active;
        const auto isWanted = [&](const auto& slot) { return wanted(slot.second); };
        const auto behind = std::find_if(slots_.upper_bound(last_), slots_.end(), isWanted);
        return behind != slots_.end() ? behind : std::find_if(slots_.begin(), slots_.end(), isWanted);
    };
    const auto now = Clock::now();
    const auto waiting = std::ranges::find_if(
        slots_, [&](const auto& slot) { return slot.second.asked && slot.second.askedAt + patience_ < now; });
    if (waiting != slots_.end()) return waiting;
    const auto asked = choose([this](const Slot& slot) { return isReady(slot); });
    return asked != slots_.end() ? asked : choose([](const Slot& slot) { return slot.open; });
}

/// Whether there is a request that need not wait for the store.
bool Renderer::Work::isReady(const Slot& slot) const { return slot.asked && (allThere_ || !slot.asked->patient); }

/// Whether a request waits for the store.
bool Renderer::Work::isWaiting() const {
    return std::ranges::any_of(slots_,
                               [](const auto& slot) { return slot.second.asked && slot.second.asked->patient; });
}

/// What the store has is shown: all of it at once, or now and then as long as more comes.
void Renderer::Work::look(std::unique_lock<std::mutex>& lock) {
    if (!stocked_) return;
    lock.unlock();
    const bool complete = store_.stock()->complete;
    lock.lock();
    allThere_ = complete;
    if (!allThere_ && (isWaiting() || Clock::now() < stockedAt_ + BetweenStocks)) return;
    stocked_ = false;
    stockedAt_ = Clock::now();
    for (auto& [view, slot] : slots_) slot.open = slot.open || slot.picture;
}

void Renderer::Work::run() {
    lowerPriority(RenderNiceness);
    Team team(threads_);
    std::unique_lock lock(mutex_);
    for (;;) {
        if (ending_) return;
        look(lock);
        const auto slot = next();
        if (slot != slots_.end()) {
            last_ = slot->first;
            try {
                step(lock, last_, team);
            } catch (const std::exception& problem) { // memory that is not to be had
                giveUp(lock, last_, problem.what());
            }
        } else if (stocked_) {
            wake_.wait_for(lock, BetweenStocks);
        } else {
            wake_.wait(lock);
        }
    }
}

/// One part of the work for a view, with the lock released.
void Renderer::Work::step(std::unique_lock<std::mutex>& lock, int view, Team& team) {
    Slot& slot = slots_[view];
    const std::optional<PictureRequest> asked = std::exchange(slot.asked, std::nullopt);
    if (!slot.picture) slot.picture = std::make_shared<ViewPicture>(view);
    const std::shared_ptr<ViewPicture> picture = slot.picture;
    interrupt_ = std::ranges::any_of(slots_, [this](const auto& other) { return isReady(other.second); });
    lock.unlock();
    const PicturePtr finished = drawn(*picture, asked, team);
    const bool open = !picture->complete();
    lock.lock();
    const auto still = slots_.find(view);
    const bool known = still != slots_.end() && still->second.picture == picture;
    if (known) still->second.open = open;
    const bool tell = known && finished && !ending_;
    lock.unlock();
    if (tell) finished_(finished);
    lock.lock();
}

PicturePtr Renderer::Work::drawn(ViewPicture& picture, const std::optional<PictureRequest>& asked, Team& team) {
    if (asked) picture.ask(*asked);
    picture.take(store_.stock());
    picture.draw(team, speed_, [this] { return interrupt_.load(std::memory_order_relaxed); });
    return !interrupt_ || asked ? picture.finish(team) : nullptr;
}

/// The view waits for its next request, and begins anew then.
void Renderer::Work::giveUp(std::unique_lock<std::mutex>& lock, int view, const std::string& why) {
    if (!lock.owns_lock()) lock.lock();
    if (const auto slot = slots_.find(view); slot != slots_.end()) {
        slot->second.picture.reset();
        slot->second.open = false;
    }
    lock.unlock();
    if (failed_) failed_(fmt::format("The picture could not be drawn: {}. Close other windows or programs.", why));
    lock.lock();
}

Renderer::Renderer(PointStore& store, Finished finished, Failed failed, unsigned threads,
                   std::chrono::milliseconds patience)
    : work_(std::make_unique<Work>(store, std::move(finished), std::move(failed), threads, patience)) {}
Renderer::~Renderer() = default;

void Renderer::request(int view, PictureRequest request) { work_->request(view, std::move(request)); }
void Renderer::activate(int view) { work_->activate(view); }
void Renderer::forget(int view) { work_->forget(view); }
void Renderer::stop() { work_->stop(); }

} // namespace corvane

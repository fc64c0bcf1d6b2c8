// SPDX-License-Identifier: Apache-2.0
#include "render/PointStore.hpp"

#include "base/LowPriority.hpp"
#include "render/FragmentLoader.hpp"
#include "render/LoadQueue.hpp"

#include <algorithm>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <thread>
#include <utility>

namespace corvane {

/// The threads and what they share.
class PointStore::Loading {
public:
    explicit Loading(Options options) : options_(std::move(options)), queue_(options_.memoryBytes) {
        for (unsigned i = 0; i < std::max(options_.threads, 1U); ++i) threads_.emplace_back([this] { run(); });
    }
    ~Loading() { stop(); }

    void load(std::vector<Source> sources);
    void replace(const std::string& name, std::vector<std::pair<std::uint32_t, Arrays>> arrays);
    void forget(const std::string& name);
    void showSample(DrawnFragments sample);
    void prefer(std::vector<Screen> screens);
    void listen(std::function<void()> listener);
    void stop();
    std::shared_ptr<const Stock> stock();
    Progress progress();
    const Options& options() const { return options_; }

private:
    using ItemPtr = LoadQueue::ItemPtr;

    void run();
    void work(std::unique_lock<std::mutex>& lock, const ItemPtr& item);
    void tellChange();

    Options options_;
    std::mutex mutex_; // guards what follows
    std::condition_variable wake_;
    LoadQueue queue_;
    std::vector<Array> retired_; // which the owner is to let go of
    DrawnFragments sample_;
    std::uint64_t version_ = 1; // of the stock
    std::shared_ptr<const Stock> stock_;
    std::uint64_t progressAt_ = 0; // the version that this is of
    Progress progress_;
    bool told_ = false;  // a failure
    bool sorts_ = false; // what the views show is to be looked at
    bool ending_ = false;
    std::mutex listening_; // guards what follows
    std::function<void()> listener_;
    std::vector<std::thread> threads_;
};

void PointStore::Loading::load(std::vector<Source> sources) {
    std::vector<ItemPtr> old;
    std::vector<Array> retired; // let go of here
    {
        const std::lock_guard lock(mutex_);
        if (ending_) return;
        retired.swap(retired_);
        told_ = false;
        old = queue_.load(std::move(sources));
        ++version_;
    }
    wake_.notify_all();
    tellChange();
}

void PointStore::Loading::replace(const std::string& name, std::vector<std::pair<std::uint32_t, Arrays>> arrays) {
    std::vector<Array> retired;
    {
        const std::lock_guard lock(mutex_);
        if (ending_) return;
        retired.swap(retired_);
        queue_.replace(name, arrays); // what was there goes with the arguments
        ++version_;
    }
    wake_.notify_all();
}

void PointStore::Loading::forget(const std::string& name) {
    std::vector<Array> retired;
    {
        const std::lock_guard lock(mutex_);
        retired = queue_.forget(name);
        std::ranges::move(std::exchange(retired_, {}), std::back_inserter(retired));
        ++version_;
    }
    wake_.notify_all();
    tellChange();
}

void PointStore::Loading::showSample(DrawnFragments sample) {
    {
        const std::lock_guard lock(mutex_);
        sample_ = std::move(sample);
        ++version_;
    }
    tellChange();
}

void PointStore::Loading::prefer(std::vector<Screen> screens) {
    {
        const std::lock_guard lock(mutex_);
        if (ending_ || !queue_.prefer(std::move(screens))) return;
        sorts_ = true; // by a loader, since it takes its time
        ++version_;
    }
    wake_.notify_all();
}

void PointStore::Loading::listen(std::function<void()> listener) {
    const std::lock_guard lock(listening_);
    listener_ = std::move(listener);
}

void PointStore::Loading::tellChange() {
    if (options_.changed) options_.changed();
    const std::lock_guard lock(listening_);
    if (listener_) listener_();
}

void PointStore::Loading::stop() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
    std::vector<Source> sources; // let go of when the lock is released
    const std::lock_guard lock(mutex_);
    sources = queue_.close();
    retired_.clear();
    ++version_;
}

std::shared_ptr<const PointStore::Stock> PointStore::Loading::stock() {
    const std::lock_guard lock(mutex_);
    if (stock_ && stock_->version == version_) return stock_;
    auto stock = std::make_shared<Stock>();
    stock->version = version_;
    bool all = true, open = sorts_;
    for (const auto& item : queue_.items()) {
        if (item->drawn) stock->fragments.push_back(item->drawn);
        all = all && item->drawn;
        open = open || item->busy || LoadQueue::isOpen(*item);
    }
    if (!all || queue_.items().empty()) stock->fragments.insert(stock->fragments.end(), sample_.begin(), sample_.end());
    stock->complete = ending_ || !open;
    return stock_ = stock;
}

PointStore::Progress PointStore::Loading::progress() {
    const std::lock_guard lock(mutex_);
    if (progressAt_ == version_) return progress_;
    Progress progress;
    progress.fragments = queue_.items().size();
    for (const auto& item : queue_.items()) {
        progress.failed += item->failed;
        if (item->source.positions) progress.points += item->source.positions->size();
        if (!item->drawn) continue;
        if (!item->source.positions) progress.points += item->drawn->total; // after the end
        ++progress.loaded;
        progress.drawable += item->drawn->drawable();
        progress.bytes += item->drawn->bytes();
    }
    progress.sample = !sample_.empty() && (progress.loaded < queue_.items().size() || queue_.items().empty());
    progressAt_ = version_;
    return progress_ = progress;
}

void PointStore::Loading::run() {
    lowerPriority(LoaderNiceness);
    std::unique_lock lock(mutex_);
    for (;;) {
        ItemPtr item;
        wake_.wait(lock, [&] { return ending_ || sorts_ || (item = queue_.next()); });
        if (ending_) return;
        if (item) {
            work(lock, item);
            continue;
        }
        sorts_ = false;
        queue_.sort();
        ++version_;
        lock.unlock();
        wake_.notify_all();
        tellChange();
        lock.lock();
    }
}

/// Loads with the lock released meanwhile.
void PointStore::Loading::work(std::unique_lock<std::mutex>& lock, const ItemPtr& item) {
    LoadJob job = queue_.begin(*item);
    job.unit = options_.unit;
    lock.unlock();
    std::shared_ptr<const DrawnFragment> made;
    std::string failure;
    try {
        made = job.columns.empty() && !job.positions ? job.before : loadFragment(job);
        if (LoadQueue::hasTooMany(*made, job.keep)) made = shortened(*made, job.keep);
    } catch (const std::exception& problem) {
        failure = problem.what();
    }
    lock.lock();
    std::ranges::move(queue_.end(item, job, made), std::back_inserter(retired_));
    ++version_;
    const bool tell = !made && !std::exchange(told_, told_ || !made);
    lock.unlock();
    wake_.notify_all();
    if (tell && options_.failed) options_.failed(failure);
    tellChange();
    lock.lock();
}

PointStore::PointStore(Options options) : loading_(std::make_unique<Loading>(std::move(options))) {}
PointStore::~PointStore() = default;

void PointStore::load(std::vector<Source> sources) { loading_->load(std::move(sources)); }

void PointStore::replace(const std::string& name, std::vector<std::pair<std::uint32_t, Arrays>> arrays) {
    loading_->replace(name, std::move(arrays));
}

void PointStore::forget(const std::string& name) { loading_->forget(name); }

void PointStore::showSample(std::span<const Sextant::PhysicalSpace::point> positions,
                            std::span<const std::uint16_t> classes) {
    loading_->showSample(sampleFragments(positions, classes, loading_->options().unit));
}

void PointStore::prefer(std::vector<Screen> screens) { loading_->prefer(std::move(screens)); }
void PointStore::listen(std::function<void()> listener) { loading_->listen(std::move(listener)); }
void PointStore::stop() { loading_->stop(); }
std::shared_ptr<const PointStore::Stock> PointStore::stock() const { return loading_->stock(); }
PointStore::Progress PointStore::progress() const { return loading_->progress(); }

} // namespace corvane

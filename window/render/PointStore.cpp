// SPDX-License-Identifier: Apache-2.0
#include "render/PointStore.hpp"

#include "base/LowPriority.hpp"
#include "picture/ScreenPlace.hpp"
#include "render/Columns.hpp"
#include "render/FragmentLoader.hpp"
#include "render/MemoryPlan.hpp"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>
#include <thread>
#include <unordered_map>
#include <utility>

namespace corvane {
namespace {

constexpr std::size_t Slack = 5; // what views show changes often: a part of this size is not loaded or dropped for it

/// Columns may have been forgotten while others were made.
std::shared_ptr<const DrawnFragment> withoutForgotten(const std::shared_ptr<const DrawnFragment>& fragment,
                                                      const PointStore::Source& source) {
    const auto isForgotten = [&](const auto& column) { return !source.columns.contains(column.first); };
    if (std::ranges::none_of(fragment->columns, isForgotten)) return fragment;
    auto kept = std::make_shared<DrawnFragment>(*fragment);
    std::erase_if(kept->columns, isForgotten);
    return kept;
}

} // namespace

/// The threads and what they share.
class PointStore::Loading {
public:
    explicit Loading(Options options) : options_(std::move(options)) {
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
    struct Item {
        Source source;
        std::shared_ptr<const DrawnFragment> drawn; // null: not loaded yet
        std::set<std::string> stale;                // columns that were replaced since
        std::size_t keep = 0;                       // points to be there
        bool busy = false, failed = false, shown = true;
    };

    using ItemPtr = std::shared_ptr<Item>; // a thread may have one that is forgotten

    void run();
    static bool hasTooMany(const Item& item);
    static bool hasTooFew(const Item& item);
    static bool isOpen(const Item& item);
    ItemPtr next();
    LoadJob jobFor(Item& item) const;
    void work(std::unique_lock<std::mutex>& lock, const ItemPtr& item);
    void letGo(const ItemPtr& item, LoadJob& job);
    void plan();
    void sort();
    void tellChange();

    Options options_;
    std::mutex mutex_; // guards what follows
    std::condition_variable wake_;
    std::vector<ItemPtr> items_;
    std::unordered_map<std::uint32_t, ItemPtr> byNumber_;
    std::vector<ItemPtr> order_;   // in which they are loaded
    std::size_t firstOpen_ = 0;    // in that order: all before are done
    std::deque<ItemPtr> replaced_; // that have stale columns and are drawn
    std::vector<Array> retired_;   // which the owner is to let go of
    std::vector<Screen> screens_;  // the most important first
    DrawnFragments sample_;
    bool isShort_ = false;      // of memory
    std::uint64_t points_ = 0;  // of all fragments
    std::uint64_t version_ = 1; // of the stock
    std::shared_ptr<const Stock> stock_;
    bool told_ = false;  // a failure
    bool sorts_ = false; // what the views show is to be looked at
    bool ending_ = false;
    std::mutex listening_; // guards what follows
    std::function<void()> listener_;
    std::vector<std::thread> threads_;
};

bool PointStore::Loading::hasTooMany(const Item& item) {
    return item.drawn && item.drawn->drawable() > item.keep + item.keep / Slack;
}

bool PointStore::Loading::hasTooFew(const Item& item) {
    if (!item.drawn) return true;
    const std::size_t most = item.drawn->order ? item.drawn->order->size() : item.drawn->total;
    return item.drawn->drawable() < std::min(item.keep - item.keep / Slack, most);
}

bool PointStore::Loading::isOpen(const Item& item) {
    return !item.failed && (!item.stale.empty() || hasTooFew(item) || hasTooMany(item));
}

void PointStore::Loading::load(std::vector<Source> sources) {
    std::vector<ItemPtr> old;
    std::vector<Array> retired; // let go of here
    {
        const std::lock_guard lock(mutex_);
        if (ending_) return;
        retired.swap(retired_);
        old.swap(items_);
        byNumber_.clear();
        replaced_.clear();
        order_.clear();
        told_ = false;
        std::ranges::sort(sources, {}, &Source::number); // the order in which points at one depth hide each other
        for (Source& source : sources) {
            if (!source.positions) continue;
            const auto item = std::make_shared<Item>();
            item->source = std::move(source);
            byNumber_[item->source.number] = item;
            items_.push_back(item);
        }
        sort();
        plan();
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
        bool isNew = false;
        for (auto& [number, made] : arrays) {
            const auto found = byNumber_.find(number);
            if (found == byNumber_.end()) continue;
            const ItemPtr& itemPtr = found->second;
            Item& item = *itemPtr;
            isNew = isNew || !item.source.columns.contains(name);
            item.source.columns[name].swap(made); // what was there goes with the arguments
            if (!item.drawn && !item.busy) continue;
            if (item.drawn) item.failed = false;
            if (item.stale.empty()) replaced_.push_back(itemPtr);
            item.stale.insert(name);
        }
        if (isNew) plan();
        firstOpen_ = 0;
        ++version_;
    }
    wake_.notify_all();
}

void PointStore::Loading::forget(const std::string& name) {
    std::vector<Array> retired;
    {
        const std::lock_guard lock(mutex_);
        retired.swap(retired_);
        for (const auto& item : items_) {
            const auto found = item->source.columns.find(name);
            if (found == item->source.columns.end()) continue;
            retired.insert(retired.end(), found->second.begin(), found->second.end());
            item->source.columns.erase(found);
            item->stale.erase(name);
            if (!item->drawn || !item->drawn->columns.contains(name)) continue;
            auto without = std::make_shared<DrawnFragment>(*item->drawn);
            without->columns.erase(name);
            item->drawn = std::move(without);
        }
        plan();
        firstOpen_ = 0;
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
        const auto same = [](const Screen& a, const Screen& b) {
            return a.view == b.view && a.minimum == b.minimum && a.maximum == b.maximum;
        };
        if (ending_ || std::ranges::equal(screens, screens_, same)) return;
        screens_ = std::move(screens);
        if (!isShort_ && firstOpen_ == order_.size()) return; // all is there
        sorts_ = true;                                        // by a loader, since it takes its time
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
    std::vector<Source> sources; // let go of here
    const std::lock_guard lock(mutex_);
    for (const auto& item : items_) {
        sources.push_back(std::exchange(item->source, {}));
        item->source.number = sources.back().number;
    }
    retired_.clear();
    ++version_;
}

std::shared_ptr<const PointStore::Stock> PointStore::Loading::stock() {
    const std::lock_guard lock(mutex_);
    if (stock_ && stock_->version == version_) return stock_;
    auto stock = std::make_shared<Stock>();
    stock->version = version_;
    bool all = true, open = sorts_;
    for (const auto& item : items_) {
        if (item->drawn) stock->fragments.push_back(item->drawn);
        all = all && item->drawn;
        open = open || item->busy || isOpen(*item);
    }
    if (!all || items_.empty()) stock->fragments.insert(stock->fragments.end(), sample_.begin(), sample_.end());
    stock->complete = ending_ || !open;
    return stock_ = stock;
}

PointStore::Progress PointStore::Loading::progress() {
    const std::lock_guard lock(mutex_);
    Progress progress;
    progress.fragments = items_.size();
    for (const auto& item : items_) {
        progress.failed += item->failed;
        if (item->source.positions) progress.points += item->source.positions->size();
        if (!item->drawn) continue;
        if (!item->source.positions) progress.points += item->drawn->total; // after the end
        ++progress.loaded;
        progress.drawable += item->drawn->drawable();
        progress.bytes += item->drawn->bytes();
    }
    progress.sample = !sample_.empty() && (progress.loaded < items_.size() || items_.empty());
    return progress;
}

/// How many points each fragment may have.
void PointStore::Loading::plan() {
    std::vector<PlannedFragment> fragments;
    points_ = 0;
    for (const auto& item : items_) {
        double bytes = sizeof(std::uint64_t);
        for (const auto& [name, arrays] : item->source.columns)
            if (!arrays.empty() && arrays.front()) bytes += columnBytes(name, arrays.front()->getFiberType());
        const std::size_t points = item->source.positions ? item->source.positions->size() : 0;
        fragments.push_back({points, bytes, item->shown});
        points_ += points;
    }
    // Fragments may have a fifth more than they are to have.
    const std::vector<std::size_t> kept =
        pointsWithin(options_.memoryBytes - options_.memoryBytes / (Slack + 1), fragments);
    isShort_ = false;
    for (std::size_t i = 0; i < items_.size(); ++i) {
        items_[i]->keep = kept[i];
        isShort_ = isShort_ || kept[i] < fragments[i].points;
    }
    firstOpen_ = 0;
    ++version_; // it may not be complete any more
}

/// The order of loading: what the views show first, and of that, as of the rest, some of everywhere.
void PointStore::Loading::sort() {
    std::vector<ItemPtr> shown, others;
    bool differs = false;
    const auto isShown = [&](const Item& item) {
        const bool known = item.drawn || item.source.box;
        if (!known || screens_.empty()) return true;
        const Sextant::BoundingBox& box = item.drawn ? item.drawn->packed->box : *item.source.box;
        return std::ranges::any_of(screens_, [&](const Screen& screen) { return !misses(screen, box); });
    };
    const auto spread = drawOrder(items_.size());
    for (const std::uint32_t i : *spread) {
        const ItemPtr& item = items_[i];
        differs = differs || isShown(*item) != item->shown;
        item->shown = isShown(*item);
        (item->shown ? shown : others).push_back(item);
    }
    order_ = std::move(shown);
    order_.insert(order_.end(), others.begin(), others.end());
    firstOpen_ = 0;
    if (differs) plan();
}

/// What is to be done next: edits, then what has too much, then what is missing. Null when there is nothing.
PointStore::Loading::ItemPtr PointStore::Loading::next() {
    for (std::size_t tries = replaced_.size(); tries > 0; --tries) {
        const ItemPtr item = replaced_.front();
        replaced_.pop_front();
        if (item->failed || item->stale.empty()) continue;
        if (!item->busy && item->drawn) return item;
        replaced_.push_back(item); // when its load has come
    }
    while (firstOpen_ < order_.size() && !isOpen(*order_[firstOpen_])) ++firstOpen_;
    const auto isFree = [](const ItemPtr& item) { return !item->busy && isOpen(*item); };
    const auto open = std::span(order_).subspan(firstOpen_);
    const auto large =
        isShort_ ? std::ranges::find_if(open, [&](const ItemPtr& item) { return isFree(item) && hasTooMany(*item); })
                 : open.end();
    const auto found = large != open.end() ? large : std::ranges::find_if(open, isFree);
    return found == open.end() ? nullptr : *found;
}

LoadJob PointStore::Loading::jobFor(Item& item) const {
    LoadJob job;
    job.number = item.source.number;
    job.unit = options_.unit;
    job.keep = item.keep;
    job.most = numberedOf(item.source.positions->size(), points_);
    job.before = item.drawn;
    if (hasTooFew(item)) {
        job.positions = item.source.positions;
        job.columns = item.source.columns;
    } else {
        for (const std::string& name : item.stale) job.columns[name] = item.source.columns[name];
    }
    item.stale.clear();
    return job;
}

void PointStore::Loading::run() {
    lowerPriority(LoaderNiceness);
    std::unique_lock lock(mutex_);
    for (;;) {
        ItemPtr item;
        wake_.wait(lock, [&] { return ending_ || sorts_ || (item = next()); });
        if (ending_) return;
        if (item) {
            work(lock, item);
            continue;
        }
        sorts_ = false;
        sort();
        ++version_;
        lock.unlock();
        wake_.notify_all();
        tellChange();
        lock.lock();
    }
}

/// Loads with the lock released meanwhile.
void PointStore::Loading::work(std::unique_lock<std::mutex>& lock, const ItemPtr& item) {
    item->busy = true;
    LoadJob job = jobFor(*item);
    lock.unlock();
    std::shared_ptr<const DrawnFragment> made;
    std::string failure;
    try {
        made = job.columns.empty() && !job.positions ? job.before : loadFragment(job);
        if (made->drawable() > job.keep + job.keep / Slack) made = shortened(*made, job.keep);
    } catch (const std::exception& problem) {
        failure = problem.what();
    }
    lock.lock();
    letGo(item, job);
    item->busy = false;
    item->failed = !made;
    if (made) item->drawn = withoutForgotten(made, item->source);
    ++version_;
    const bool tell = !made && !std::exchange(told_, told_ || !made);
    lock.unlock();
    wake_.notify_all();
    if (tell && options_.failed) options_.failed(failure);
    tellChange();
    lock.lock();
}

/// Arrays that are not the item's any more, or whose item is forgotten, go to the owner.
void PointStore::Loading::letGo(const ItemPtr& item, LoadJob& job) {
    const auto retire = [this](std::vector<Array>& arrays) {
        std::ranges::move(arrays, std::back_inserter(retired_));
        arrays.clear();
    };
    const auto known = byNumber_.find(item->source.number);
    const bool forgotten = known == byNumber_.end() || known->second != item;
    for (auto& [name, arrays] : job.columns)
        if (const auto now = item->source.columns.find(name);
            forgotten || now == item->source.columns.end() || !(now->second == arrays))
            retire(arrays);
    if (forgotten) {
        retired_.push_back(job.positions);
        retired_.push_back(item->source.positions);
        for (auto& [name, arrays] : item->source.columns) retire(arrays);
        item->source = {};
    }
    job.columns.clear();
    job.positions.reset();
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

// SPDX-License-Identifier: Apache-2.0
#include "render/LoadQueue.hpp"

#include "picture/ScreenPlace.hpp"
#include "render/Columns.hpp"
#include "render/MemoryPlan.hpp"

#include <algorithm>
#include <iterator>
#include <span>

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

bool LoadQueue::hasTooMany(const DrawnFragment& drawn, std::size_t keep) {
    return drawn.drawable() > keep + keep / Slack;
}

bool LoadQueue::hasTooFew(const Item& item) {
    if (!item.drawn) return true;
    const std::size_t most = item.drawn->order ? item.drawn->order->size() : item.drawn->total;
    return item.drawn->drawable() < std::min(item.keep - item.keep / Slack, most);
}

bool LoadQueue::isOpen(const Item& item) {
    return !item.failed && (!item.stale.empty() || hasTooFew(item) || hasTooMany(*item.drawn, item.keep));
}

std::vector<LoadQueue::ItemPtr> LoadQueue::load(std::vector<Source> sources) {
    std::vector<ItemPtr> old = std::exchange(items_, {});
    byNumber_.clear();
    replaced_.clear();
    order_.clear();
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
    return old;
}

void LoadQueue::replace(const std::string& name, std::vector<std::pair<std::uint32_t, Arrays>>& arrays) {
    bool isNew = false;
    for (auto& [number, made] : arrays) {
        const auto found = byNumber_.find(number);
        if (found == byNumber_.end()) continue;
        const ItemPtr& itemPtr = found->second;
        Item& item = *itemPtr;
        isNew = isNew || !item.source.columns.contains(name);
        item.source.columns[name].swap(made);
        if (!item.drawn && !item.busy) continue;
        if (item.drawn) item.failed = false;
        if (item.stale.empty()) replaced_.push_back(itemPtr);
        item.stale.insert(name);
    }
    if (isNew) plan();
    firstOpen_ = 0;
}

std::vector<LoadQueue::Array> LoadQueue::forget(const std::string& name) {
    std::vector<Array> retired;
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
    return retired;
}

bool LoadQueue::prefer(std::vector<Screen> screens) {
    const auto same = [](const Screen& a, const Screen& b) {
        return a.view == b.view && a.minimum == b.minimum && a.maximum == b.maximum;
    };
    if (std::ranges::equal(screens, screens_, same)) return false;
    screens_ = std::move(screens);
    return isShort_ || firstOpen_ < order_.size(); // else all is there
}

/// How many points each fragment may have.
void LoadQueue::plan() {
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
    const std::vector<std::size_t> kept = pointsWithin(memoryBytes_ - memoryBytes_ / (Slack + 1), fragments);
    isShort_ = false;
    for (std::size_t i = 0; i < items_.size(); ++i) {
        items_[i]->keep = kept[i];
        isShort_ = isShort_ || kept[i] < fragments[i].points;
    }
    firstOpen_ = 0;
}

void LoadQueue::sort() {
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

LoadQueue::ItemPtr LoadQueue::next() {
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
    const auto isLarge = [&](const ItemPtr& item) {
        return isFree(item) && item->drawn && hasTooMany(*item->drawn, item->keep);
    };
    const auto large = isShort_ ? std::ranges::find_if(open, isLarge) : open.end();
    const auto found = large != open.end() ? large : std::ranges::find_if(open, isFree);
    return found == open.end() ? nullptr : *found;
}

LoadJob LoadQueue::begin(Item& item) const {
    item.busy = true;
    LoadJob job;
    job.number = item.source.number;
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

std::vector<LoadQueue::Array> LoadQueue::end(const ItemPtr& item, LoadJob& job,
                                             const std::shared_ptr<const DrawnFragment>& made) {
    std::vector<Array> retired;
    const auto retire = [&retired](std::vector<Array>& arrays) {
        std::ranges::move(arrays, std::back_inserter(retired));
        arrays.clear();
    };
    const auto known = byNumber_.find(item->source.number);
    const bool forgotten = known == byNumber_.end() || known->second != item;
    for (auto& [name, arrays] : job.columns)
        if (const auto now = item->source.columns.find(name);
            forgotten || now == item->source.columns.end() || !(now->second == arrays))
            retire(arrays);
    if (forgotten) {
        retired.push_back(job.positions);
        retired.push_back(item->source.positions);
        for (auto& [name, arrays] : item->source.columns) retire(arrays);
        item->source = {};
    }
    job.columns.clear();
    job.positions.reset();
    item->busy = false;
    item->failed = !made;
    if (made) item->drawn = withoutForgotten(made, item->source);
    return retired;
}

std::vector<LoadQueue::Source> LoadQueue::close() {
    std::vector<Source> sources;
    for (const auto& item : items_) {
        sources.push_back(std::exchange(item->source, {}));
        item->source.number = sources.back().number;
    }
    return sources;
}

} // namespace corvane

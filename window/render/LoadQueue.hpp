// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "render/FragmentLoader.hpp"
#include "render/PointStore.hpp"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace corvane {

/// Which fragments there are, how many points of each are to be in memory, and what is to be loaded next. Knows no
/// threads: whoever has it guards it, and arrays that are not its own any more are given back to be let go of.
class LoadQueue {
public:
    using Array = PointStore::Array;
    using Arrays = PointStore::Arrays;
    using Source = PointStore::Source;

    struct Item {
        Source source;
        std::shared_ptr<const DrawnFragment> drawn; // null: not loaded yet
        std::set<std::string> stale;                // columns that were replaced since
        std::size_t keep = 0;                       // points to be there
        bool busy = false, failed = false, shown = true;
    };
    using ItemPtr = std::shared_ptr<Item>; // a thread may have one that is forgotten

    /// For packed points and columns.
    explicit LoadQueue(std::size_t memoryBytes) : memoryBytes_(memoryBytes) {}

    /// In the order of their numbers.
    const std::vector<ItemPtr>& items() const { return items_; }

    /// Other fragments. Returns those before, which are forgotten.
    std::vector<ItemPtr> load(std::vector<Source> sources);

    /// Has a column made anew; what it was made of is left in the arguments.
    void replace(const std::string& name, std::vector<std::pair<std::uint32_t, Arrays>>& arrays);

    /// Drops a column. Returns what it was made of.
    std::vector<Array> forget(const std::string& name);

    /// What the views show, the most important first. Whether `sort` has something to do then.
    bool prefer(std::vector<Screen> screens);

    /// The order of loading: what the views show first, and of that, as of the rest, some of everywhere. Takes its
    /// time.
    void sort();

    /// Whether it has clearly more points than are to be kept.
    static bool hasTooMany(const DrawnFragment& drawn, std::size_t keep);

    /// Whether something is to be done for it.
    static bool isOpen(const Item& item);

    /// What is to be done next: edits, then what has too much, then what is missing. Null when there is nothing.
    ItemPtr next();

    /// The work for an open item, which is busy from now on.
    LoadJob begin(Item& item) const;

    /// The work is done; null where it failed. Returns the arrays that are nobody's any more.
    std::vector<Array> end(const ItemPtr& item, LoadJob& job, const std::shared_ptr<const DrawnFragment>& made);

    /// Nothing is loaded any more. Returns all arrays.
    std::vector<Source> close();

private:
    static bool hasTooFew(const Item& item);
    void plan();

    std::size_t memoryBytes_;
    std::vector<ItemPtr> items_;
    std::unordered_map<std::uint32_t, ItemPtr> byNumber_;
    std::vector<ItemPtr> order_;   // in which they are loaded
    std::size_t firstOpen_ = 0;    // in that order: all before are done
    std::deque<ItemPtr> replaced_; // that have stale columns and are drawn
    std::vector<Screen> screens_;
    bool isShort_ = false;     // of memory
    std::uint64_t points_ = 0; // of all fragments
};

} // namespace corvane

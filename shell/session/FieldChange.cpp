// SPDX-License-Identifier: Apache-2.0
// Arrays are never written after an edit, only replaced. So undo and redo have exchanged arrays that are known, between
// the arrays of a new step lies its change, and an array that neither explains was put there without a step.
#include "session/FieldChange.hpp"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace corvane {
namespace {

using FieldPtr = Holdfast::StrongPtr<Fiber::Field>;

/// A history beside the steps that are stored of it. At both ends most are as they were, however many there are, so
/// only those between are looked at one by one.
class Places {
public:
    Places(const Fiber::HistoryIndex::Steps* history, const std::vector<KeptStep>& stored) : history_(history) {
        const std::size_t most = std::min(stored.size(), size());
        while (first_ < most && isSame(stored[first_], first_)) ++first_;
        while (behind_ < most - first_ && isSame(stored[stored.size() - 1 - behind_], size() - 1 - behind_)) ++behind_;
        for (std::size_t i = first_; i < size() - behind_; ++i) numbers_[&*field(i)] = i;
        last_ = stored.size() - behind_;
        for (std::size_t i = first_; i < last_; ++i) stored_.insert(&*stored[i].field);
    }

    std::size_t first() const { return first_; } ///< of the stored steps that are not as they were
    std::size_t last() const { return last_; }   ///< the one behind them
    bool anyBefore() const { return first_ > 0; }
    bool anyBehind() const { return behind_ > 0; }

    /// Of one of these.
    bool has(const KeptStep& step) const { return numbers_.contains(&*step.field); }
    bool isDone(const KeptStep& step) const { return isDone(numbers_.at(&*step.field)); }

    std::size_t done() const { return history_ ? history_->done : 0; }
    const FieldPtr& field(std::size_t i) const { return history_->all[i].field; }
    bool isStored(std::size_t i) const { return i < first_ || i >= size() - behind_ || stored_.contains(&*field(i)); }

private:
    std::size_t size() const { return history_ ? history_->all.size() : 0; }
    bool isDone(std::size_t i) const { return i < done(); }
    bool isSame(const KeptStep& step, std::size_t i) const { return step.field == field(i) && step.done == isDone(i); }

    const Fiber::HistoryIndex::Steps* history_; // null: there are no steps
    std::size_t first_ = 0, last_ = 0, behind_ = 0;
    std::unordered_map<const Fiber::Field*, std::size_t> numbers_;
    std::unordered_set<const Fiber::Field*> stored_;
};

void exchange(KeptStep& step, ArraysByFragment& present, std::vector<StepId>& list) {
    for (auto& [number, array] : step.others) array.swap(present[number]);
    step.done = !step.done;
    list.push_back(step.id);
}

/// Goes through the steps that may have moved, and leaves the present as they explain it. A step that is gone while
/// older ones stay was undone before; where none stays, all of them became part of the field.
void followKnownSteps(std::vector<KeptStep> steps, const Places& places, ArraysByFragment& present,
                      FieldChange& change) {
    const bool anyStays = places.anyBefore() || places.anyBehind() ||
                          std::ranges::any_of(steps, [&](const KeptStep& step) { return places.has(step); });
    bool behindAll = anyStays && !places.anyBehind(); // those that stay
    for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
        if (places.has(*step)) behindAll = false;
        const bool nowDone = places.has(*step) ? places.isDone(*step) : !behindAll;
        if (step->done && !nowDone) exchange(*step, present, change.undone);
    }
    for (KeptStep& step : steps)
        if (places.has(step) && places.isDone(step) && !step.done) exchange(step, present, change.redone);

    std::vector<StepId> goneUndone;
    for (KeptStep& step : steps)
        if (places.has(step))
            change.kept.push_back(std::move(step));
        else
            (step.done ? change.gone : goneUndone).push_back(step.id);
    change.gone.insert(change.gone.end(), goneUndone.rbegin(), goneUndone.rend());
}

/// New steps from the present back. Returns the arrays as they were before these.
ArraysByFragment takeNewSteps(const Places& places, FieldChange& change) {
    ArraysByFragment before = change.present;
    for (std::size_t i = places.done(); i-- > 0 && !places.isStored(i);) {
        FieldChange::NewStep made{places.field(i), arraysOf(*places.field(i)), {}};
        for (const auto& [number, array] : made.before) made.after[number] = std::exchange(before.at(number), array);
        change.made.insert(change.made.begin(), std::move(made));
    }
    return before;
}

} // namespace

ArraysByFragment arraysOf(const Fiber::Field& field) {
    ArraysByFragment arrays;
    for (const auto& [number, fragment] : field.fragments())
        if (fragment.array) arrays.emplace(number, fragment.array);
    return arrays;
}

FieldChange changeSince(const KeptField& kept, Fiber::Representation& points, const std::string& name) {
    FieldChange change;
    change.name = name;
    change.present = arraysOf(*points.findField(name));
    const Places places(points.histories().find(name), kept.steps);
    change.first = places.first();
    change.last = places.last();
    ArraysByFragment explained = kept.present;
    const auto steps = kept.steps.begin();
    followKnownSteps({steps + std::ptrdiff_t(change.first), steps + std::ptrdiff_t(change.last)}, places, explained,
                     change);
    for (const auto& [number, array] : takeNewSteps(places, change)) {
        const ArrayPtr& before = explained[number];
        const bool same = before == array || (before && before->knownZero() && array->knownZero());
        if (!same && before) change.amended[number] = {before, array};
    }
    return change;
}

} // namespace corvane

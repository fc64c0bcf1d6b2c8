// SPDX-License-Identifier: Apache-2.0
// Arrays are never written after an edit, only replaced. So undo and redo have exchanged arrays that are known, between
// the arrays of a new step lies its change, and an array that neither explains was put there without a step.
#include "session/FieldChange.hpp"

#include <algorithm>
#include <unordered_map>

namespace corvane {
namespace {

using FieldPtr = Holdfast::StrongPtr<Fiber::Field>;

/// Where a step stands in the history now.
class Places {
public:
    Places(Fiber::Representation& points, const std::string& name) {
        const auto* const history = points.histories().find(name);
        if (!history) return;
        done_ = history->done;
        for (const auto& step : history->all) {
            numbers_[&*step.field] = steps_.size();
            steps_.push_back(step.field);
        }
    }

    bool has(const KeptStep& step) const { return numbers_.contains(&*step.field); }
    bool isDone(const KeptStep& step) const { return numbers_.at(&*step.field) < done_; }
    std::size_t done() const { return done_; }
    const std::vector<FieldPtr>& steps() const { return steps_; }

private:
    std::unordered_map<const Fiber::Field*, std::size_t> numbers_;
    std::vector<FieldPtr> steps_;
    std::size_t done_ = 0;
};

void exchange(KeptStep& step, ArraysByFragment& present, std::vector<StepId>& list) {
    for (auto& [number, array] : step.others) array.swap(present[number]);
    step.done = !step.done;
    list.push_back(step.id);
}

/// Goes through the steps that are known, and leaves the present as they explain it. A step that is gone while older
/// ones stay was undone before; where none stays, all of them became part of the field.
void followKnownSteps(std::vector<KeptStep> steps, const Places& places, ArraysByFragment& present,
                      FieldChange& change) {
    const bool anyStays = std::ranges::any_of(steps, [&](const KeptStep& step) { return places.has(step); });
    bool behindAll = anyStays; // those that stay
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
ArraysByFragment takeNewSteps(const KeptField& kept, const Places& places, FieldChange& change) {
    const auto isKnown = [&](const FieldPtr& field) {
        return std::ranges::any_of(kept.steps, [&](const KeptStep& step) { return step.field == field; });
    };
    ArraysByFragment before = change.present;
    for (std::size_t i = places.done(); i-- > 0 && !isKnown(places.steps()[i]);) {
        FieldChange::NewStep made{places.steps()[i], arraysOf(*places.steps()[i]), {}};
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
    const Places places(points, name);
    ArraysByFragment explained = kept.present;
    followKnownSteps(kept.steps, places, explained, change);
    for (const auto& [number, array] : takeNewSteps(kept, places, change)) {
        const ArrayPtr& before = explained[number];
        const bool same = before == array || (before && before->knownZero() && array->knownZero());
        if (!same && before) change.amended[number] = {before, array};
    }
    return change;
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "Fiber/HistoryIndex.hpp"

#include <algorithm>

namespace Fiber {

using Holdfast::Chunk;
using Holdfast::StrongPtr;

namespace {

const std::string FieldAttribute = "Undo.Field";
const std::string SequenceAttribute = "Undo.Sequence";
const std::string UndoneAttribute = "Undo.Undone";

/// Empty when there is no such attribute of one element.
template <class T>
StrongPtr<Chunk<T>> stored(Field& field, const std::string& name) {
    const auto chunk = field.attributes().getAttribute<T>(name);
    return chunk && chunk->size() == 1 ? chunk : nullptr;
}

template <class T>
void store(Field& field, const std::string& name, const T& value) {
    field.attributes().setAttribute(name, Holdfast::create<Chunk<T>>(1, value));
}

} // namespace

std::optional<StepPlace> placeOf(Field& field) noexcept {
    const auto fieldName = stored<std::string>(field, FieldAttribute);
    const auto sequence = stored<std::uint64_t>(field, SequenceAttribute);
    const auto undone = stored<bool>(field, UndoneAttribute);
    if (!fieldName || !sequence || !undone) return std::nullopt;
    return StepPlace{fieldName->values[0], sequence->values[0], undone->values[0]};
}

void setPlace(Field& field, const StepPlace& place) {
    store(field, FieldAttribute, std::string(place.fieldName));
    store(field, SequenceAttribute, place.sequence);
    store(field, UndoneAttribute, place.undone);
}

void HistoryIndex::add(const StrongPtr<FieldID>& id, const StrongPtr<Field>& field) {
    const auto place = field ? placeOf(*field) : std::nullopt;
    if (!place) return;
    Step step{id, field, place->sequence};
    const auto history = histories_.try_emplace(std::string(place->fieldName)).first;
    Steps& steps = history->second;
    try {
        const auto present = steps.all.begin() + std::ptrdiff_t(steps.done);
        const auto behind = std::upper_bound(
            place->undone ? present : steps.all.begin(), place->undone ? steps.all.end() : present, step.sequence,
            [](std::uint64_t number, const Step& other) { return number < other.sequence; });
        steps.all.insert(behind, std::move(step));
    } catch (...) {
        if (steps.all.empty()) histories_.erase(history);
        throw;
    }
    if (!place->undone) ++steps.done;
}

void HistoryIndex::remove(const StrongPtr<Field>& field) noexcept {
    const auto place = field ? placeOf(*field) : std::nullopt;
    const auto history = place ? histories_.find(place->fieldName) : histories_.end();
    if (history == histories_.end()) return;
    Steps& steps = history->second;
    const auto present = steps.all.begin() + std::ptrdiff_t(steps.done);
    const auto bySequence = [](const Step& step, std::uint64_t number) { return step.sequence < number; };
    const auto end = place->undone ? steps.all.end() : present;
    auto step = std::lower_bound(place->undone ? present : steps.all.begin(), end, place->sequence, bySequence);
    while (step != end && !(step->field == field)) ++step; // foreign steps may share a number
    if (step == end) return;
    steps.all.erase(step);
    if (!place->undone) --steps.done;
    if (steps.all.empty()) histories_.erase(history);
}

HistoryIndex::Steps* HistoryIndex::find(std::string_view fieldName) {
    const auto found = histories_.find(fieldName);
    return found == histories_.end() ? nullptr : &found->second;
}

} // namespace Fiber

// SPDX-License-Identifier: Apache-2.0
#include "Fiber/History.hpp"

#include <algorithm>
#include <charconv>

namespace Fiber {

using Holdfast::Chunk;
using Holdfast::StrongPtr;

const std::string History::StepMark = ".undo";

namespace {

const std::string TimeAttribute = "Undo.Time";
const std::string ModuleAttribute = "Undo.Module";
const std::string ParametersAttribute = "Undo.Parameters";
const std::string VerticesAttribute = "Undo.Vertices";

template <class T>
void store(Field& field, const std::string& name, const T& value) {
    field.attributes().setAttribute(name, Holdfast::create<Chunk<T>>(1, value));
}

template <class T>
T stored(Field& field, const std::string& name) {
    const auto chunk = field.attributes().getAttribute<T>(name);
    return chunk && chunk->size() == 1 ? T(chunk->values[0]) : T();
}

} // namespace

int History::stepNumber(const std::string& name) {
    const std::size_t mark = name.rfind(StepMark);
    if (mark == std::string::npos) return -1;
    const char* const end = name.data() + name.size();
    int number = -1;
    const auto [stop, error] = std::from_chars(name.data() + mark + StepMark.size(), end, number);
    return error == std::errc() && stop == end ? number : -1;
}

int History::size() const {
    const auto* const all = steps();
    return all ? static_cast<int>(all->all.size()) : 0;
}

int History::position() const {
    const auto* const all = steps();
    return all ? static_cast<int>(all->done) : 0;
}

UndoStep History::step(int i) const {
    Field& field = *steps()->all.at(static_cast<std::size_t>(i)).field;
    return {stored<std::int64_t>(field, TimeAttribute), stored<std::string>(field, ModuleAttribute),
            stored<std::string>(field, ParametersAttribute), stored<std::uint64_t>(field, VerticesAttribute),
            i >= position()};
}

void History::record(const StrongPtr<Field>& other, const UndoStep& step, int depth) {
    const auto* const before = steps();
    const std::size_t done = before ? before->done : 0;
    const std::size_t kept = std::min(done, static_cast<std::size_t>(depth) - 1);
    const std::uint64_t sequence = done > 0 ? before->all[done - 1].sequence + 1 : 0;
    const std::uint64_t firstToStay = kept > 0 ? before->all[done - kept].sequence : sequence;
    describe(*other, step, sequence);
    // The last thing that can fail. It may take the place of a step that goes.
    representation_.makeField(representation_.makeFieldID(freeName(before, depth, firstToStay)), other);
    const auto& all = *steps();
    while (all.all.size() > all.done) representation_.removeField(all.all.back().name());
    while (all.done > kept + 1) representation_.removeField(all.all.front().name());
}

void History::restore(const StrongPtr<Field>& other, const UndoStep& step) {
    const auto* const before = steps();
    const std::uint64_t sequence = before ? before->all.back().sequence + 1 : 0;
    const int number = before ? stepNumber(before->all.back().name()) + 1 : 0;
    describe(*other, step, sequence);
    std::string name;
    for (int i = number; name.empty() || representation_.findField(name); ++i) name = fieldName_ + stepName(i);
    representation_.makeField(representation_.makeFieldID(name), other);
}

void History::describe(Field& other, const UndoStep& step, std::uint64_t sequence) const {
    setPlace(other, {fieldName_, sequence, step.undone});
    store(other, TimeAttribute, step.time);
    store(other, ModuleAttribute, step.module);
    store(other, ParametersAttribute, step.parameters);
    store(other, VerticesAttribute, step.vertices);
}

/// The number behind that of the newest step, or the next whose name no field has that stays.
std::string History::freeName(const HistoryIndex::Steps* steps, int depth, std::uint64_t firstToStay) const {
    const int newest = steps && steps->done > 0 ? stepNumber(steps->all[steps->done - 1].name()) : -1;
    for (int i = 0;; ++i) {
        // Once round; beyond the depth only where other fields have the names.
        std::string name = fieldName_ + stepName(i < depth ? (newest + 1 + i) % depth : i);
        const auto holder = representation_.findField(name);
        const auto place = holder ? placeOf(*holder) : std::nullopt;
        const bool goes = place && place->fieldName == fieldName_ && (place->undone || place->sequence < firstToStay);
        if (!holder || goes) return name;
    }
}

bool History::exchange(Field& field, int i, bool undone, Holdfast::Ageable::Age time) {
    auto* const all = steps();
    if (!all || i < 0 || i >= static_cast<int>(all->all.size())) return false;
    const auto& [id, other, sequence] = all->all[static_cast<std::size_t>(i)];
    if (!field.matches(*other)) return false;
    setPlace(*other, {fieldName_, sequence, undone}); // the last thing that can fail
    undone ? --all->done : ++all->done;
    field.exchange(*other, time);
    field.raiseAge(time);
    return true;
}

void History::clear() {
    while (const auto* const all = steps()) representation_.removeField(all->all.back().name());
}

} // namespace Fiber

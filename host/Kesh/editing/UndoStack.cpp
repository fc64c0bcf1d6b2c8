// SPDX-License-Identifier: Apache-2.0
#include "Kesh/editing/UndoStack.hpp"

#include <algorithm>
#include <cctype>

namespace Kesh {

using Holdfast::Chunk;
using Holdfast::StrongPtr;
using Age = Holdfast::Ageable::Age;

namespace {

const std::string UndoneAttribute = "Undo.Undone";
const std::string TimeAttribute = "Undo.Time";
const std::string ModuleAttribute = "Undo.Module";
const std::string ParametersAttribute = "Undo.Parameters";
const std::string VerticesAttribute = "Undo.Vertices";

template <class T>
void store(Fiber::Field& field, const std::string& name, const T& value) {
    field.attributes().setAttribute(name, Holdfast::create<Chunk<T>>(1, value));
}

template <class T>
T stored(Fiber::Field& field, const std::string& name) {
    const auto chunk = field.attributes().getAttribute<T>(name);
    return chunk && chunk->size() == 1 ? T(chunk->values[0]) : T();
}

/// " mask" makes "Mask".
std::string actionSuffix(std::string suffix) {
    std::erase(suffix, ' ');
    if (!suffix.empty()) suffix[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(suffix[0])));
    return suffix;
}

} // namespace

int History::size() const {
    int i = 0;
    while (fieldOf(i)) ++i;
    return i;
}

int History::position() const {
    int i = 0;
    while (fieldOf(i) && !step(i).undone) ++i;
    return i;
}

UndoStep History::step(int i) const {
    const auto field = fieldOf(i);
    return {stored<bool>(*field, UndoneAttribute), stored<std::int64_t>(*field, TimeAttribute),
            stored<std::string>(*field, ModuleAttribute), stored<std::string>(*field, ParametersAttribute),
            stored<std::uint64_t>(*field, VerticesAttribute)};
}

void History::record(const StrongPtr<Fiber::Field>& other, const UndoStep& step) {
    store(*other, UndoneAttribute, step.undone);
    store(*other, TimeAttribute, step.time);
    store(*other, ModuleAttribute, step.module);
    store(*other, ParametersAttribute, step.parameters);
    store(*other, VerticesAttribute, step.vertices);
    const int present = position();
    representation_.makeField(representation_.makeFieldID(nameOf(present)), other);
    for (int i = present + 1; fieldOf(i); ++i) representation_.removeField(nameOf(i));
}

void History::trim(int depth) {
    const int steps = size();
    const int left = std::clamp(depth, 0, steps);
    const int dropped = std::min(steps - left, position()); // of the oldest
    for (int i = 0; dropped > 0 && i < left; ++i)
        representation_.makeField(representation_.makeFieldID(nameOf(i)), fieldOf(i + dropped));
    for (int i = steps - 1; i >= left; --i) representation_.removeField(nameOf(i));
}

bool History::exchange(Fiber::Field& field, int i, bool undone, Age time) {
    const auto other = i >= 0 ? fieldOf(i) : nullptr;
    if (!other || !field.matches(*other)) return false;
    store(*other, UndoneAttribute, undone); // the last thing that can fail
    field.exchange(*other, time);
    field.raiseAge(time);
    return true;
}

ParameterTable UndoStack::parameters(const Introduction& introduction) {
    const std::string suffix = actionSuffix(introduction.suffix);
    const std::string what = std::string(introduction.suffix) + (introduction.primary ? " data" : "");
    return {{.name = "undo" + suffix,
             .initial = Action(),
             .help = "Takes the last change of the" + what + " back.",
             .properties = {{"icon", introduction.undoIcon}}},
            {.name = "redo" + suffix,
             .initial = Action(),
             .help = "Makes the change of the" + what + " again that was undone last.",
             .properties = {{"icon", introduction.redoIcon}}}};
}

UndoStack::UndoStack(VObject& owner, const Introduction& introduction)
    : owner_(owner),
      undo_(owner, "undo" + actionSuffix(introduction.suffix)),
      redo_(owner, "redo" + actionSuffix(introduction.suffix)) {}

bool UndoStack::pressed(const TypedSlot<Action>& action, const ValuePool& pool) const {
    const auto served = served_.find(pool.identifier());
    return owner_.hasChanged(*action, pool) && (served == served_.end() || action->ValueAge(pool) > served->second);
}

UndoStack::Press UndoStack::take(const ValuePool& pool) {
    const Press press = pressed(undo_, pool) ? Press::Undo : pressed(redo_, pool) ? Press::Redo : Press::None;
    if (press != Press::None) served_[pool.identifier()] = std::max(undo_->ValueAge(pool), redo_->ValueAge(pool));
    return press;
}

} // namespace Kesh

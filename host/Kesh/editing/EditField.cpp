// SPDX-License-Identifier: Apache-2.0
#include "Kesh/editing/EditField.hpp"

#include "Fiber/MaskField.hpp"
#include "Kesh/catalogue/VCreator.hpp"
#include "Kesh/editing/VertexSelection.hpp"
#include "Kesh/objects/VActionNotifier.hpp"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>

namespace Kesh {

using Holdfast::StrongPtr;

namespace {

constexpr UndoStack::Introduction DataHistory{0, true, "Data", ":corvane/undo-data.png", ":corvane/redo-data.png", ""};
constexpr char UndoDepth[] = "undodepth", BrushInput[] = "brush";

/// What every editor has after its field.
ParameterTable editingParameters() {
    ensureValueCreator<Brush>(); // brushes are the host's own
    ParameterTable table = UndoStack::parameters(DataHistory);
    table[0].properties.setValue("tooltip", "Undo data modification");
    table[1].properties.setValue("tooltip", "Redo data modification");
    for (ParameterIntroduction& action : table) action.properties.setValue("info", "data modification");
    table.push_back(
        {.name = UndoDepth,
         .initial = 32,
         .help = "How many steps a history keeps when this editor adds one; the oldest go first. 0 adds none.",
         .expertLevel = 5,
         .properties = {{"min", 0}, {"max", 10000}}});
    table.push_back({.name = BrushInput,
                     .initial = Brush(),
                     .help = "The stroke whose volume selects the vertices. Without a brush every vertex is edited."});
    return table;
}

/// A stroke may have millions of points.
std::string shortText(const VValueBase& value) {
    const auto* brush = dynamic_cast<const VValue<Brush>*>(&value);
    if (!brush || !brush->value.hasStroke()) return value.text();
    return fmt::format("stroke of {} points", brush->value.outline().points().size());
}

std::int64_t secondsSince1970() {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

/// Outside an update, what changes takes a time of its own.
void takeTime(VRequest& request) {
    if (request.time == Holdfast::Ageable::Ooooold) request.time = Holdfast::Ageable::nextTime();
}

} // namespace

EditField::EditField(const std::string& name, int expertLevel, const StrongPtr<VCreationPreferences>& preferences,
                     const std::string& fieldParameter, const ParameterTable& own)
    : FieldOperatorObject(name, fieldParameter, expertLevel, preferences, joined(editingParameters(), own)),
      dataHistory_(*this, DataHistory),
      undoDepth_(*this, UndoDepth),
      brush_(*this, BrushInput) {
    Brush::connectBrushAsInput(*this, *brush_.slot(), "Brush", preferences);
}

ParameterTable EditField::parameters(const std::string& fieldParameter, int expertLevel) {
    return joined(FieldOperatorObject::parameters(fieldParameter, expertLevel), editingParameters());
}

void EditField::addHistory(const UndoStack& stack, MaskNameOf maskName) {
    maskHistory_ = {&stack, std::move(maskName)};
}

bool EditField::unsychronized_update(VRequest& request, double precision) {
    const Fiber::FieldSelector selected = selectedField(request);
    const auto representation = selected.representation();
    if (!representation || selected.getFieldName().empty() || selected.field())
        return FieldOperatorObject::unsychronized_update(request, precision);
    operate(request, *representation, selected.getFieldName(), nullptr);
    return true;
}

void EditField::operate(VRequest& request, Fiber::Representation& representation, const std::string& fieldName,
                        const FieldPtr& field) {
    if (wantsFieldOperation(request, representation, fieldName, field))
        return acted(request, field ? FieldOperation(request, field, representation) : modificationReport(0));
    std::string said = doUndoRedo({request, dataHistory_, representation, field, fieldName});
    if (maskHistory_ && field) {
        const std::string ofMask = doUndoRedo(
            {request, *maskHistory_->stack, representation, field, fieldName, maskHistory_->maskName(request)});
        if (!said.empty() && !ofMask.empty()) said += " ";
        said += ofMask;
    }
    if (!said.empty()) setStatusInfo(*request.pool, said);
}

void EditField::acted(const VRequest& request, const std::string& text) {
    if (text.empty())
        clearStatus(*request.pool);
    else
        setStatusInfo(*request.pool, text);
    takePress(dataHistory_, *request.pool);
    if (maskHistory_) takePress(*maskHistory_->stack, *request.pool);
}

UndoStack::Press EditField::takePress(const UndoStack& stack, const ValuePool& pool) {
    auto& state = states_[pool.identifier()];
    if (!state) state = newState();
    return stack.take(pool, state->served[&stack]);
}

std::string EditField::FieldOperation(VRequest& request, const FieldPtr& field, Fiber::Representation& representation) {
    return edit({request, dataHistory_, representation, field, selectedField(request).getFieldName()}).report();
}

EditField::Outcome EditField::edit(EditTarget target) {
    takeTime(target.request);
    if (!target.field) return {};
    if (!target.maskName) return editUnderBrush(target, *target.field);
    Fiber::Representation& representation = target.representation;
    if (const auto mask = Fiber::findMask(representation, *target.maskName, *target.field)) {
        Fiber::completeMask(*mask, *target.field);
        return editUnderBrush(target, *mask);
    }
    const auto mask = Fiber::makeMask(*target.field);
    representation.makeField(representation.makeFieldID(*target.maskName), mask);
    try {
        return editUnderBrush(target, *mask);
    } catch (...) {
        representation.removeField(*target.maskName);
        throw;
    }
}

EditField::Outcome EditField::editUnderBrush(const EditTarget& target, Fiber::Field& edited) {
    const VRequest& request = target.request;
    const std::optional<Brush> brush = brushOf(request);
    VertexSelection selection(target.representation, brush ? &*brush : nullptr);
    const FieldPtr working = target.field->sharingCopy();
    return applyRecorded(target, edited, [&](const FragmentPtr& fragment, const ArrayPtr& array) {
        FragmentModification result;
        const ArrayPtr data = working->getCreator(fragment);
        if (!data) return result;
        const auto indices = selection.of(fragment, data->size());
        if (indices.empty()) return result;
        const ArrayPtr copy = array->privateCopy();
        copy->touch(request.time);
        if (!target.maskName) working->setPersistentData(copy, fragment);
        const auto pinned = working->getData(fragment);
        result.modified = modifyFragment(request, *working, fragment, indices, result.changes, copy);
        if (result.changes.writes == 0) result.modified.reset(); // as it was
        if (!result.modified) working->setPersistentData(data, fragment);
        return result;
    });
}

EditField::Outcome EditField::applyRecorded(const EditTarget& target, Fiber::Field& edited, const Modificator& modify) {
    const auto fragments = edited.fragments().size();
    std::uint64_t seen = 0;
    const auto watched = [&](const FragmentPtr& fragment, const ArrayPtr& array) {
        if (!VActionNotifier::reportProgress(seen++, fragments, "Editing " + target.name()))
            throw std::runtime_error("The edit was interrupted; nothing has been changed.");
        return modify(fragment, array);
    };
    const FieldPtr undoField = newUndoFieldFromPreviouslyModifiedFieldFragments(edited);
    Outcome outcome;
    outcome.changes = applyModificator(edited, *undoField, watched);
    try {
        outcome.undoText = storeUndoInformation(target, undoField, outcome.changes.vertices);
    } catch (...) {
        edited.exchange(*undoField);
        throw;
    }
    if (!undoField->fragments().empty()) edited.raiseAge(target.request.time);
    return outcome;
}

EditField::FieldPtr EditField::newUndoFieldFromPreviouslyModifiedFieldFragments(const Fiber::Field& field) {
    return Holdfast::create<Fiber::Field>(field.getElementType());
}

EditField::Changes EditField::applyModificator(Fiber::Field& field, Fiber::Field& undoField,
                                               const Modificator& modify) {
    Changes changes;
    field.iterate([&](const FragmentPtr& fragment, const ArrayPtr& array) {
        if (!array) return true;
        const FragmentModification modification = modify(fragment, array);
        changes.writes += modification.changes.writes;
        changes.vertices += modification.changes.vertices;
        if (modification.modified) undoField.setPersistentData(modification.modified, fragment);
        return true;
    });
    field.exchange(undoField);
    return changes;
}

void EditField::removeUndoInfo(Fiber::Representation& representation, const std::string& fieldName) {
    Fiber::History(representation, fieldName).clear();
}

std::string EditField::maker() const {
    const auto module = creator();
    return module ? module->key() : BaseName();
}

std::string EditField::storeUndoInformation(const EditTarget& target, const FieldPtr& undoField,
                                            std::uint64_t vertices) {
    const int depth = undoDepth(target.request);
    if (depth < 1 || undoField->fragments().empty()) return "";
    Fiber::History(target.representation, target.name())
        .record(undoField,
                {.time = secondsSince1970(),
                 .module = maker(),
                 .parameters = parametersAsText(*target.request.pool),
                 .vertices = vertices},
                depth);
    return "";
}

std::string EditField::doUndoRedo(EditTarget target) {
    const UndoStack::Press press = takePress(target.stack, *target.request.pool);
    if (press == UndoStack::Press::None) return "";
    takeTime(target.request);
    const bool undo = press == UndoStack::Press::Undo;
    const std::string verb = undo ? "undo" : "redo", what = target.maskName ? "mask" : "data";
    const FieldPtr field = target.maskName && target.field
                               ? Fiber::findMask(target.representation, *target.maskName, *target.field)
                               : target.field;
    Fiber::History history(target.representation, target.name());
    const int i = undo ? history.position() - 1 : history.position();
    if (!field || i < 0 || i >= history.size()) return fmt::format("There is nothing to {} in the {}.", verb, what);
    const Fiber::UndoStep step = history.step(i);
    if (!(undo ? history.undo(*field, target.request.time) : history.redo(*field, target.request.time)))
        throw std::runtime_error(fmt::format("The last change of the {} \"{}\" cannot be {}ne, and is left: its "
                                             "fragments are not those of the field any more.",
                                             what, target.name(), verb));
    return fmt::format("{} a change of {} {} of the {} by {}; {} to undo, {} to redo.", undo ? "Undid" : "Redid",
                       step.vertices, step.vertices == 1 ? "vertex" : "vertices", what, step.module, history.position(),
                       history.size() - history.position());
}

std::string EditField::modificationReport(std::uint64_t writes) {
    return writes == 0 ? " No vertex data have been modified."
                       : std::to_string(writes) + " vertex data have been modified.";
}

std::optional<Brush> EditField::brushOf(const VRequest& request) const {
    const bool given = brush_->connected() || brush_->ValueAge(*request.pool) != Holdfast::Ageable::Ooooold;
    return given ? std::optional(brush_.get(*request.pool)) : std::nullopt;
}

std::string EditField::parametersAsText(const ValuePool& pool) const {
    constexpr std::size_t Longest = 80; // a label set would fill every step
    std::string text;
    for (const auto& slot : allSlots()) {
        const auto value = slot->getValueBase(pool);
        const bool passedOn = value && value->type() == typeid(Fiber::FieldSelector);
        if (!passedOn && std::ranges::find(outputs(), slot) != outputs().end()) continue; // of an edit before
        std::string shown = value ? shortText(*value) : "";
        if (shown.size() > Longest) shown = shown.substr(0, Longest) + "...";
        if (!shown.empty()) text += fmt::format("{}{}={}", text.empty() ? "" : " ", slot->name(), shown);
    }
    return text;
}

} // namespace Kesh

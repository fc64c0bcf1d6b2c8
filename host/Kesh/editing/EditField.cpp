// SPDX-License-Identifier: Apache-2.0
#include "Kesh/editing/EditField.hpp"

#include "Fiber/FragmentBox.hpp"
#include "Kesh/catalogue/VCreator.hpp"
#include "Kesh/editing/MaskField.hpp"
#include "Kesh/objects/VActionNotifier.hpp"

#include <chrono>
#include <fmt/format.h>
#include <numeric>

namespace Kesh {

using Holdfast::StrongPtr;
using Point = Sextant::PhysicalSpace::point;

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
    table.push_back({.name = UndoDepth,
                     .initial = 32,
                     .help = "How many steps of each history are kept; the oldest go first.",
                     .expertLevel = 5,
                     .properties = {{"min", 0}, {"max", 10000}}});
    table.push_back({.name = BrushInput,
                     .initial = Brush(),
                     .help = "The stroke whose volume selects the vertices. Without a brush every vertex is edited."});
    return table;
}

/// Finds the vertices of a fragment that are to be edited: all, or those under a brush. Loads positions only where the
/// box of a fragment does not decide, or is not known yet.
class VertexSelection {
public:
    VertexSelection(const Fiber::Representation& representation, const Brush* brush)
        : positions_(representation.findField(Fiber::PositionsName)), brush_(brush) {
        if (brush_ && *brush_ && !positions_)
            throw std::runtime_error("The brush cannot select anything: the grid has no field \"" +
                                     Fiber::PositionsName + "\".");
    }

    /// Ascending indices, valid until the next call.
    std::span<const std::uint32_t> of(const StrongPtr<Fiber::FragmentID>& fragment, std::size_t vertices) {
        if (!brush_) return all(vertices);
        if (!*brush_) return {};
        requirePositions(*fragment, positions_->getCreator(fragment), vertices);
        readAhead(*fragment);
        // Positions whose box is not known yet are held, so that they are loaded once for the box and the selection.
        const bool boxKnown = Fiber::knownFragmentBBox(*positions_, fragment).has_value();
        auto points = boxKnown ? nullptr : positions_->getData(fragment);
        switch (brush_->partOf(Fiber::getFragmentBBox(*positions_, fragment))) {
        case Brush::Part::None:
            return {};
        case Brush::Part::All:
            return all(vertices);
        case Brush::Part::Some:
            break;
        }
        if (!points) points = positions_->getData(fragment);
        brush_->select(Fiber::arrayOf<Point>(points)->values(), selected_);
        return selected_;
    }

private:
    static void requirePositions(const Fiber::FragmentID& fragment, const EditField::ArrayPtr& positions,
                                 std::size_t vertices) {
        if (positions && positions->size() == vertices && positions->getFiberType() == typeid(Point)) return;
        throw std::runtime_error(fmt::format("Fragment {} has {} vertices but {} positions.", fragment.number(),
                                             vertices, positions ? positions->size() : 0));
    }

    /// The positions of the next fragment come while this one is looked at.
    void readAhead(const Fiber::FragmentID& present) const {
        const auto* next = positions_->fragmentAfter(present);
        if (!next) return;
        const auto box = Fiber::knownFragmentBBox(*positions_, next->id);
        if (!box || brush_->partOf(*box) == Brush::Part::Some) next->array->loadAhead();
    }

    std::span<const std::uint32_t> all(std::size_t vertices) {
        if (all_.size() < vertices) {
            all_.resize(vertices);
            std::iota(all_.begin(), all_.end(), 0u);
        }
        return std::span(all_).first(vertices);
    }

    StrongPtr<Fiber::Field> positions_;
    const Brush* brush_; // null: every vertex
    std::vector<std::uint32_t> selected_;
    std::vector<std::uint32_t> all_;
};

std::int64_t secondsSince1970() {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

} // namespace

EditField::EditField(const std::string& name, int expertLevel, const StrongPtr<VCreationPreferences>& preferences,
                     const std::string& fieldParameter, const ParameterTable& own)
    : FieldOperatorObject(name, fieldParameter, expertLevel, preferences, joined(editingParameters(), own)),
      dataHistory_(*this, DataHistory),
      undoDepth_(*this, UndoDepth),
      brush_(*this, BrushInput) {
    addHistory(dataHistory_, [this](const VRequest& request) { return selectedField(request).getFieldName(); });
    Brush::connectBrushAsInput(*this, *brush_.slot(), "Brush", preferences);
}

ParameterTable EditField::parameters(const std::string& fieldParameter, int expertLevel) {
    return joined(FieldOperatorObject::parameters(fieldParameter, expertLevel), editingParameters());
}

void EditField::addHistory(UndoStack& stack, FieldNameOf fieldName) {
    histories_.push_back({&stack, std::move(fieldName)});
}

void EditField::operate(VRequest& request, Fiber::Representation& representation, const std::string& fieldName,
                        const FieldPtr& field) {
    for (const OwnHistory& history : histories_)
        History(representation, history.fieldName(request)).trim(undoDepth(request));
    if (wantsFieldOperation(request, representation, fieldName, field))
        setStatusInfo(*request.pool, modificationReport(FieldOperation(request, field, representation)));
    else
        serveHistories(request, representation);
}

/// After a dispatch that came to no edit; a press that was served during the dispatch is not served again.
void EditField::serveHistories(const VRequest& request, Fiber::Representation& representation) {
    for (const OwnHistory& history : histories_) {
        const std::string name = history.fieldName(request);
        const std::string done =
            doUndoRedo(request, *history.stack, representation, name, representation.findField(name));
        if (!done.empty()) setStatusInfo(*request.pool, done);
    }
}

std::uint64_t EditField::FieldOperation(VRequest& request, const FieldPtr& field,
                                        Fiber::Representation& representation) {
    const std::string name = selectedField(request).getFieldName();
    return edit(request, dataHistory_, representation, field, name, name);
}

std::uint64_t EditField::edit(const VRequest& request, UndoStack& stack, Fiber::Representation& representation,
                              const FieldPtr& field, const std::string& fieldName, const std::string& targetName) {
    const bool direct = targetName == fieldName;
    FieldPtr target = direct ? field : findMask(representation, targetName, *field);
    const bool isNew = !target;
    if (isNew) target = makeMask(*field);
    const Brush brush = brush_.get(*request.pool);
    VertexSelection selection(representation, hasBrush(request) ? &brush : nullptr);
    const FieldPtr working = field->sharingCopy();
    const auto fragments = field->fragments().size();

    const auto modify = [&](const FragmentPtr& fragment, const ArrayPtr& array) {
        FragmentModification result;
        if (!VActionNotifier::reportProgress(fragment->number(), fragments, "Editing " + targetName))
            throw std::runtime_error("The edit was interrupted; nothing has been changed.");
        const auto indices = selection.of(fragment, array->size());
        if (indices.empty()) return result;
        const ArrayPtr copy = array->privateCopy();
        copy->touch(request.time);
        if (direct) working->setPersistentData(copy, fragment);
        const auto pinned = working->getData(fragment);
        result.modified = modifyFragment(request, *working, fragment, indices, result.writes, copy);
        if (result.writes == 0) result.modified.reset(); // as it was
        return result;
    };
    std::string undoText;
    const std::uint64_t writes = applyRecorded(request, stack, representation, target, targetName, modify, undoText);
    if (isNew) representation.makeField(representation.makeFieldID(targetName), target);
    return writes;
}

std::uint64_t EditField::applyRecorded(const VRequest& request, UndoStack& stack, Fiber::Representation& representation,
                                       const FieldPtr& field, const std::string& fieldName, const Modificator& modify,
                                       std::string& undoText) {
    const FieldPtr undoField = newUndoFieldFromPreviouslyModifiedFieldFragments(*field);
    const std::uint64_t writes = applyModificator(*field, *undoField, modify);
    try {
        undoText =
            storeUndoInformation(request, stack, representation, fieldName, undoField, writes, undoDepth(request));
    } catch (...) {
        field->exchange(*undoField);
        throw;
    }
    if (!undoField->fragments().empty()) field->raiseAge(request.time);
    return writes;
}

EditField::FieldPtr EditField::newUndoFieldFromPreviouslyModifiedFieldFragments(const Fiber::Field& field) {
    return Holdfast::create<Fiber::Field>(field.getElementType());
}

std::uint64_t EditField::applyModificator(Fiber::Field& field, Fiber::Field& undoField, const Modificator& modify) {
    std::uint64_t writes = 0;
    field.iterate([&](const FragmentPtr& fragment, const ArrayPtr& array) {
        if (!array) return true;
        const FragmentModification modification = modify(fragment, array);
        writes += modification.writes;
        if (modification.modified) undoField.setPersistentData(modification.modified, fragment);
        return true;
    });
    field.exchange(undoField);
    return writes;
}

void EditField::removeUndoInfo(Fiber::Representation& representation, const std::string& fieldName, int steps) {
    for (int i = 0; i < steps; ++i) representation.removeField(fieldName + UndoName(i));
}

std::string EditField::storeUndoInformation(const VRequest& request, UndoStack&, Fiber::Representation& representation,
                                            const std::string& fieldName, const FieldPtr& undoField,
                                            std::uint64_t writes, int depth) {
    if (undoField->fragments().empty()) return "";
    const auto maker = creator();
    History history(representation, fieldName);
    history.record(undoField, {false, secondsSince1970(), maker ? maker->key() : BaseName(),
                               parametersAsText(*request.pool), writes});
    history.trim(depth);
    return "";
}

std::string EditField::doUndoRedo(const VRequest& request, UndoStack& stack, Fiber::Representation& representation,
                                  const std::string& fieldName, const FieldPtr& field) {
    History history(representation, fieldName);
    const UndoStack::Press press = stack.take(*request.pool);
    if (press == UndoStack::Press::None) return "";
    const bool undo = press == UndoStack::Press::Undo;
    const char* verb = undo ? "undo" : "redo";
    const int i = undo ? history.position() - 1 : history.position();
    if (!field || i < 0 || i >= history.size()) return fmt::format("There is nothing to {}.", verb);
    const UndoStep step = history.step(i);
    if (!(undo ? history.undo(*field, request.time) : history.redo(*field, request.time)))
        throw std::runtime_error(fmt::format("The last change of \"{}\" cannot be {}ne: its fragments are not those of "
                                             "the field any more. Nothing was changed.",
                                             fieldName, undo ? "undo" : "redo"));
    return fmt::format("{} {} writes of {}; {} to undo, {} to redo.", undo ? "Undid" : "Redid", step.vertices,
                       step.module, history.position(), history.size() - history.position());
}

std::string EditField::modificationReport(std::uint64_t writes) {
    return writes == 0 ? " No vertex data have been modified."
                       : std::to_string(writes) + " vertex data have been modified.";
}

bool EditField::hasBrush(const VRequest& request) const {
    return brush_->connected() || brush_->ValueAge(*request.pool) != Holdfast::Ageable::Ooooold;
}

std::string EditField::parametersAsText(const ValuePool& pool) const {
    constexpr std::size_t Longest = 80; // a label set would fill every step
    std::string text;
    for (const auto& slot : allSlots()) {
        const auto value = slot->getValueBase(pool);
        std::string shown = value ? value->text() : "";
        if (shown.size() > Longest) shown = shown.substr(0, Longest) + "...";
        if (!shown.empty()) text += fmt::format("{}{}={}", text.empty() ? "" : " ", slot->name(), shown);
    }
    return text;
}

} // namespace Kesh

// SPDX-License-Identifier: Apache-2.0
#include "MaskedEditing.hpp"

#include <algorithm>

namespace Kesh {

namespace {

constexpr char Field[] = "labelfield", MaskField[] = "maskfield";
constexpr UndoStack::Introduction MaskHistory{
    1, false, "Mask (selection)", ":corvane/undo-mask.png", ":corvane/redo-mask.png", " mask"};

/// Counts in bytes first, as far as they hold the sum: so the compiler counts many at once.
std::uint64_t countMasked(std::span<const std::uint8_t> mask) {
    constexpr std::size_t Block = 255;
    std::uint64_t count = 0;
    for (; !mask.empty(); mask = mask.subspan(std::min(Block, mask.size()))) {
        std::uint8_t inBlock = 0;
        for (const std::uint8_t entry : mask.first(std::min(Block, mask.size())))
            inBlock = static_cast<std::uint8_t>(inBlock + (entry != Fiber::Unmasked));
        count += inBlock;
    }
    return count;
}

template <class T>
void write(std::span<T> values, std::span<const std::uint8_t> mask, T value) {
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = mask[i] != Fiber::Unmasked ? value : values[i];
}

/// Whether the name is that of a field which is not a mask.
bool isData(const Fiber::Representation& representation, const std::string& name) {
    const auto field = representation.findField(name);
    return field && !Fiber::isMask(*field);
}

} // namespace

ParameterTable MaskTriggers::parameters() {
    constexpr unsigned Tool = ParameterIntroduction::InEditingTools;
    return {
        {.name = "select",
         .initial = Action(),
         .help = "Trigger to add the currently selected (brushed) vertices to the mask.",
         .flags = Tool,
         .group = MaskingGroup},
        {.name = "unselect",
         .initial = Action(),
         .help = "Trigger to remove the currently selected (brushed) vertices from the mask.",
         .flags = Tool,
         .group = MaskingGroup},
        {.name = "unselectAll",
         .initial = Action(),
         .help = "Trigger to clear the mask, deselecting all vertices.",
         .flags = Tool,
         .properties = {{"icon", ":corvane/clear-mask.png"}, {"tooltip", "Clear mask"}},
         .group = MaskingGroup},
        {.name = "applySelection",
         .initial = Action(),
         .help = "Trigger to apply the edit to the masked vertices of the data field.",
         .flags = Tool},
        {.name = "purgeUndoData",
         .initial = Action(),
         .help = "Trigger to purge the undo/redo history (cannot be undone).",
         .expertLevel = 1, // one more than the others: it takes away what cannot come back
         .flags = Tool,
         .properties = {{"icon", ":corvane/purge-cache.png"}, {"tooltip", "Purge UNDO cache (cannot be undone!)"}}},
    };
}

MaskTriggers::MaskTriggers(const VObject& owner)
    : select(owner, "select"),
      unselect(owner, "unselect"),
      unselectAll(owner, "unselectAll"),
      applySelection(owner, "applySelection"),
      purgeUndoData(owner, "purgeUndoData") {}

ParameterTable MaskControls::parameters() {
    ParameterTable history = UndoStack::parameters(MaskHistory);
    history[0].group = MaskingGroup;
    return joined({{.name = MaskField,
                    .initial = "mask",
                    .help = "Name of the auxiliary field used to store the mask (selection) data.",
                    .expertLevel = 5,
                    .isOutput = true}},
                  history);
}

MaskControls::MaskControls(VObject& owner) : name(owner, MaskField), history(owner, MaskHistory) {}

bool selects(const EditField& editor, const MaskTriggers& triggers, const VRequest& request) {
    const ValuePool& pool = *request.pool;
    return editor.hasChanged(*triggers.select, pool) || editor.brushSlot().ValueAge(pool) > editor.age(pool);
}

bool unselects(const EditField& editor, const MaskTriggers& triggers, const VRequest& request) {
    return editor.hasChanged(*triggers.unselect, *request.pool);
}

void clearMask(Fiber::Representation& representation, const std::string& maskName) {
    if (!isData(representation, maskName)) {
        representation.removeField(maskName);
        EditField::removeUndoInfo(representation, maskName);
    }
    representation.setAge(Holdfast::Ageable::nextTime());
}

bool dispatchMaskTriggers(EditField& editor, const MaskTriggers& triggers, const MaskControls& mask,
                          const EditTarget& data, const ApplyEdit& applyEdit) {
    const VRequest& request = data.request;
    Fiber::Representation& representation = data.representation;
    const std::string maskName = mask.maskFieldName(request);
    const auto fired = [&](const TypedSlot<Action>& trigger) { return editor.hasChanged(*trigger, *request.pool); };
    if (fired(triggers.unselectAll)) {
        clearMask(representation, maskName);
        editor.acted(request, "");
        return false;
    }
    if (fired(triggers.purgeUndoData)) {
        EditField::removeUndoInfo(representation, data.fieldName);
        if (!isData(representation, maskName)) EditField::removeUndoInfo(representation, maskName);
        editor.acted(request, "");
        return false;
    }
    if (selects(editor, triggers, request) || unselects(editor, triggers, request)) return true;
    if (!fired(triggers.applySelection)) return false;
    if (!data.field) {
        editor.acted(request, EditField::modificationReport(0));
    } else if (const auto masked = Fiber::findMask(representation, maskName, *data.field)) {
        const std::string said = applyEdit(masked);
        clearMask(representation, maskName); // each apply starts a fresh selection
        editor.acted(request, said);
    }
    return false;
}

EditField::Modificator writeWhereMasked(const EditField::FieldPtr& mask, int value, Holdfast::Ageable::Age time) {
    return [=](const EditField::FragmentPtr& fragment, const EditField::ArrayPtr& array) {
        const auto maskArray = mask->getCreator(fragment);
        if (!maskArray || maskArray->knownZero()) return EditField::FragmentModification();
        const auto entries = Fiber::arrayOf<std::uint8_t>(maskArray->getData());
        const std::uint64_t masked = countMasked(entries->values());
        if (masked == 0) return EditField::FragmentModification();
        const EditField::ArrayPtr copy = array->privateCopy();
        const bool written = Fiber::visitArray<unsigned short, short, unsigned char, signed char>(
            *copy->writableValues(), [&]<class T>(Fiber::MemArray<T>& values) {
                write(values.writableValues(), entries->values(), static_cast<T>(value));
            });
        if (!written) return EditField::FragmentModification();
        copy->touch(time);
        return EditField::FragmentModification{copy, {masked, masked}};
    };
}

ParameterTable MaskedEditing::maskingParameters() {
    return joined(MaskTriggers::parameters(), MaskControls::parameters());
}

ParameterTable MaskedEditing::parameters() { return joined(EditField::parameters(Field), maskingParameters()); }

MaskedEditing::MaskedEditing(const std::string& name, const Holdfast::StrongPtr<VCreationPreferences>& preferences,
                             const ParameterTable& own)
    : EditField(name, 0, preferences, Field, joined(maskingParameters(), own)), triggers_(*this), mask_(*this) {
    addHistory(mask_.history, [this](const VRequest& request) { return mask_.maskFieldName(request); });
}

std::string MaskedEditing::FieldOperation(VRequest& request, const FieldPtr& field,
                                          Fiber::Representation& representation) {
    edit({request, mask_.history, representation, field, selectedField(request).getFieldName(),
          mask_.maskFieldName(request)});
    return ""; // the data are as they were
}

bool MaskedEditing::wantsFieldOperation(const VRequest& request, Fiber::Representation& representation,
                                        const std::string& fieldName, const FieldPtr& field) {
    return dispatchMaskTriggers(
        *this, triggers_, mask_, {request, dataHistory(), representation, field, fieldName},
        [&](const FieldPtr& mask) { return applyEdit(request, representation, fieldName, field, mask); });
}

} // namespace Kesh

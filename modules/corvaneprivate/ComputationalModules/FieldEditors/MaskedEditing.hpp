// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/MaskField.hpp"
#include "Kesh/editing/EditField.hpp"

#include <functional>
#include <string>

namespace Kesh {

/// The group of inputs that are about the mask.
inline constexpr char MaskingGroup[] = "masking";

/// The triggers of editing in two stages: select into a mask, then apply.
struct MaskTriggers {
    static ParameterTable parameters();

    /// Those that the owner has.
    explicit MaskTriggers(const VObject& owner);

    TypedSlot<Action> select, unselect, unselectAll, applySelection, purgeUndoData;
};

/// The mask of an editor: its name, and the controls of its history.
struct MaskControls {
    static ParameterTable parameters();

    /// Those that the owner has.
    explicit MaskControls(VObject& owner);

    /// The name of the mask in the request's value pool.
    std::string maskFieldName(const VRequest& request) const { return name.get(*request.pool); }

    TypedSlot<std::string> name;
    UndoStack history;
};

/// Whether this update selects, or unselects. A new stroke selects. When both fire, unselecting wins.
bool selects(const EditField& editor, const MaskTriggers& triggers, const VRequest& request);
bool unselects(const EditField& editor, const MaskTriggers& triggers, const VRequest& request);

/// Removes the mask and its history, and makes the representation young. Fields of the data stay, also under that name.
void clearMask(Fiber::Representation& representation, const std::string& maskName);

/// What the editors differ in when they apply: changes the data where the mask is set, and returns what to say.
using ApplyEdit = std::function<std::string(const EditField::FieldPtr& mask)>;

/// Decides what an update does, by the first trigger that fired: clears the mask, purges both histories, or applies and
/// then discards the mask. True when the mask is to be edited instead; when nothing fired, undo and redo are left to
/// the base.
bool dispatchMaskTriggers(EditField& editor, const MaskTriggers& triggers, const MaskControls& mask,
                          const EditTarget& data, const ApplyEdit& applyEdit);

/// Writes the value, cut to the width of the elements, into every vertex of the mask. Every vertex written counts.
/// Elements of a type that editors do not write stay.
EditField::Modificator writeWhereMasked(const EditField::FieldPtr& mask, int value, Holdfast::Ageable::Age time);

/// Base of the interactive editors that change a field in two stages: brush strokes build a mask beside the field, and
/// one trigger applies the edit to every vertex in the mask. Both stages have a history of their own.
class MaskedEditing : public EditField {
public:
    /// `own` are the parameters of the editor.
    MaskedEditing(const std::string& name, const Holdfast::StrongPtr<VCreationPreferences>& preferences,
                  const ParameterTable& own);

    /// The parameters of this base.
    static ParameterTable parameters();

protected:
    /// Edits the mask: `modifyFragment` gets mask fragments to write.
    std::string FieldOperation(VRequest& request, const FieldPtr& field,
                               Fiber::Representation& representation) override;

    bool wantsFieldOperation(const VRequest& request, Fiber::Representation& representation,
                             const std::string& fieldName, const FieldPtr& field) override;

    /// Changes the data where the mask is set. Returns what to say on the status line.
    virtual std::string applyEdit(const VRequest& request, Fiber::Representation& representation,
                                  const std::string& fieldName, const FieldPtr& field, const FieldPtr& mask) = 0;

    bool selecting(const VRequest& request) const { return selects(*this, triggers_, request); }
    bool unselecting(const VRequest& request) const { return unselects(*this, triggers_, request); }

private:
    static ParameterTable maskingParameters();

    MaskTriggers triggers_;
    MaskControls mask_;
};

} // namespace Kesh

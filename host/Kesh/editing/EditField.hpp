// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/editing/UndoStack.hpp"
#include "Kesh/objects/FieldOperatorObject.hpp"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace Kesh {

/// Base of the editors: finds the vertices under the brush, hands their fragments over one by one, keeps the previous
/// fragments as a step of the history, and serves undo and redo.
///
/// Parameters: the field (named by the editor), `undo`, `redo`, `undodepth` (steps that are kept), and the input
/// `brush`. Without a brush connected or set, every vertex is edited; with a brush that holds no stroke, none.
///
/// An edit that fails leaves data and history as they were: the new fragments take their places all at once, at the
/// end.
class EditField : public FieldOperatorObject {
public:
    using ArrayPtr = Holdfast::StrongPtr<Fiber::CreativeArrayBase>;
    using FragmentPtr = Holdfast::StrongPtr<Fiber::FragmentID>;
    using FieldPtr = Holdfast::StrongPtr<Fiber::Field>;

    /// What became of a fragment: the array that takes its place (null: it stays as it is), and the number of writes.
    struct FragmentModification {
        ArrayPtr modified;
        std::uint64_t writes = 0;
    };
    using Modificator = std::function<FragmentModification(const FragmentPtr& fragment, const ArrayPtr& array)>;

    /// The integer is the expert level of the field parameter; `own` are the parameters of the editor.
    EditField(const std::string& name, int expertLevel, const Holdfast::StrongPtr<VCreationPreferences>& preferences,
              const std::string& fieldParameter, const ParameterTable& own = {});

    /// The parameters of this base.
    static ParameterTable parameters(const std::string& fieldParameter, int expertLevel = 0);

    /// The name under which step number `step` of a field's history is stored, to be put behind the field's name.
    static std::string UndoName(int step) { return History::stepName(step); }

    /// Runs one complete edit of the field `targetName`, of those vertices of `field` that are under the brush, under
    /// the given history. The target is the field itself, or its mask, which is made when it does not exist. Returns
    /// the number of writes that the editor counted.
    std::uint64_t edit(const VRequest& request, UndoStack& stack, Fiber::Representation& representation,
                       const FieldPtr& field, const std::string& fieldName, const std::string& targetName);

    /// Modifies a field and records what it was as a step of its history: both, or when something throws neither.
    /// Returns the number of writes. `undoText` is put before the report of the edit; it is empty so far.
    std::uint64_t applyRecorded(const VRequest& request, UndoStack& stack, Fiber::Representation& representation,
                                const FieldPtr& field, const std::string& fieldName, const Modificator& modify,
                                std::string& undoText);

    /// Takes one step back or forth when one of the stack's actions was pressed. Returns what was done, as a sentence;
    /// an empty text when nothing was pressed.
    std::string doUndoRedo(const VRequest& request, UndoStack& stack, Fiber::Representation& representation,
                           const std::string& fieldName, const FieldPtr& field);

    /// Stores the previous fragments as the newest step of the field's history, of which `depth` steps are kept. An
    /// undo field without fragments leaves no step. Returns a text to be put before the report of the edit; it is
    /// empty.
    std::string storeUndoInformation(const VRequest& request, UndoStack& stack, Fiber::Representation& representation,
                                     const std::string& fieldName, const FieldPtr& undoField, std::uint64_t writes,
                                     int depth);

    /// Drops the first `steps` steps of the field's history; with the undo depth, all of it.
    static void removeUndoInfo(Fiber::Representation& representation, const std::string& fieldName, int steps);

    /// An undo field that holds no fragments yet. Fragments are shared, never copied, so there is nothing to take over
    /// from earlier steps.
    static FieldPtr newUndoFieldFromPreviouslyModifiedFieldFragments(const Fiber::Field& field);

    /// Calls the function with each fragment. Those that it reports as modified take their places in the field when all
    /// are done, and the previous ones go to the undo field. Returns the number of writes. When the function throws,
    /// the field stays as it was.
    static std::uint64_t applyModificator(Fiber::Field& field, Fiber::Field& undoField, const Modificator& modify);

    /// The report of an edit with that many writes.
    static std::string modificationReport(std::uint64_t writes);

    int undoDepth(const VRequest& request) const { return undoDepth_.get(*request.pool); }

    /// The slot of the stroke that selects; a younger one asks for an edit.
    const VSlot& brushSlot() const { return *brush_; }

    UndoStack& dataHistory() { return dataHistory_; }

protected:
    /// Whether the edit has to run in this update.
    virtual bool wantsFieldOperation(const VRequest& request, Fiber::Representation& representation,
                                     const std::string& fieldName, const FieldPtr& field) = 0;

    /// The edit itself, once `wantsFieldOperation` asked for it; edits the data. Returns the number of writes.
    virtual std::uint64_t FieldOperation(VRequest& request, const FieldPtr& field,
                                         Fiber::Representation& representation);

    /// Edits the vertices of one fragment. `field` is the field in the state of this edit: its `getCreator` gives the
    /// array to be read, resident. `target` is the array to be written, this edit's own; `indices` are ascending. What
    /// was written is added to `writes`. Returns the target when it was modified, else null.
    virtual ArrayPtr modifyFragment(const VRequest& request, Fiber::Field& field, const FragmentPtr& fragment,
                                    std::span<const std::uint32_t> indices, std::uint64_t& writes,
                                    const ArrayPtr& target) = 0;

    void operate(VRequest& request, Fiber::Representation& representation, const std::string& fieldName,
                 const FieldPtr& field) final;

    /// Serves a second history too; `fieldName` says of which field it is.
    using FieldNameOf = std::function<std::string(const VRequest& request)>;
    void addHistory(UndoStack& stack, FieldNameOf fieldName);

private:
    bool hasBrush(const VRequest& request) const;
    void serveHistories(const VRequest& request, Fiber::Representation& representation);
    std::string parametersAsText(const ValuePool& pool) const;

    struct OwnHistory {
        UndoStack* stack;
        FieldNameOf fieldName;
    };

    UndoStack dataHistory_;
    std::vector<OwnHistory> histories_;
    TypedSlot<int> undoDepth_;
    TypedSlot<Brush> brush_;
};

} // namespace Kesh

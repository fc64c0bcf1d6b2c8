// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/History.hpp"
#include "Kesh/editing/UndoStack.hpp"
#include "Kesh/objects/FieldOperatorObject.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Kesh {

/// What an operation of an editor works on.
struct EditTarget {
    VRequest request; ///< outside an update it has no time yet
    const UndoStack& stack;
    Fiber::Representation& representation;
    Holdfast::StrongPtr<Fiber::Field> field; ///< of the data; null when there is none of the name
    std::string fieldName;
    std::optional<std::string> maskName = {}; ///< given: this mask is edited, and not the data

    /// The name of the field that is edited, and whose history it is.
    const std::string& name() const { return maskName ? *maskName : fieldName; }
};

/// Base of the editors: finds the vertices under the brush, hands their fragments over one by one, keeps the previous
/// fragments as a step of the history, and serves undo and redo.
///
/// Parameters: the field (named by the editor), `undo`, `redo`, `undodepth` (steps that are kept), and the input
/// `brush`. Without a brush connected or set, every vertex is edited; with a brush that holds no stroke, none.
///
/// An edit that fails or is interrupted leaves data and history as they were: the new fragments take their places all
/// at once, at the end. A name that no field has is edited as a field without vertices.
class EditField : public FieldOperatorObject {
public:
    using ArrayPtr = Holdfast::StrongPtr<Fiber::CreativeArrayBase>;
    using FragmentPtr = Holdfast::StrongPtr<Fiber::FragmentID>;
    using FieldPtr = Holdfast::StrongPtr<Fiber::Field>;

    /// What an edit wrote. A vertex that was written several times counts once among the vertices.
    struct Changes {
        std::uint64_t writes = 0;
        std::uint64_t vertices = 0;
    };

    /// What became of a fragment: the array that takes its place (null: it stays as it is), and what was written.
    struct FragmentModification {
        ArrayPtr modified;
        Changes changes;
    };
    using Modificator = std::function<FragmentModification(const FragmentPtr& fragment, const ArrayPtr& array)>;

    /// What came of a whole edit.
    struct Outcome {
        Changes changes;
        std::string undoText; ///< put before the report; empty so far

        std::string report() const { return undoText + modificationReport(changes.writes); }
    };

    /// The integer is the expert level of the field parameter; `own` are the parameters of the editor.
    EditField(const std::string& name, int expertLevel, const Holdfast::StrongPtr<VCreationPreferences>& preferences,
              const std::string& fieldParameter, const ParameterTable& own = {});

    /// The parameters of this base.
    static ParameterTable parameters(const std::string& fieldParameter, int expertLevel = 0);

    /// The name under which step number `step` of a field's history is stored, to be put behind the field's name.
    static std::string UndoName(int step) { return Fiber::History::stepName(step); }

    /// Runs one complete edit of those vertices that are under the brush: of the field, or of its mask, which is made
    /// when it does not exist. Outside an update it takes a time of its own.
    Outcome edit(EditTarget target);

    /// Modifies the edited field and records what it was as a step of its history: both, or when something throws
    /// neither. Tells how far it has come, and throws when somebody wants it to stop.
    Outcome applyRecorded(const EditTarget& target, Fiber::Field& edited, const Modificator& modify);

    /// Takes one step back or forth when one of the stack's actions was pressed. Returns what was done, as a sentence;
    /// an empty text when nothing was pressed. Outside an update it takes a time of its own.
    std::string doUndoRedo(EditTarget target);

    /// Stores the previous fragments as the newest step of the history, which keeps as many steps as this editor's
    /// depth says; with none, nothing is stored and what is stays. An undo field without fragments leaves no step.
    /// Returns a text to be put before the report of the edit; it is empty.
    std::string storeUndoInformation(const EditTarget& target, const FieldPtr& undoField, std::uint64_t vertices);

    /// Drops all steps of the field's history.
    static void removeUndoInfo(Fiber::Representation& representation, const std::string& fieldName);

    /// An undo field that holds no fragments yet. Fragments are shared, never copied, so there is nothing to take over
    /// from earlier steps.
    static FieldPtr newUndoFieldFromPreviouslyModifiedFieldFragments(const Fiber::Field& field);

    /// Calls the function with each fragment that has data. Those that it reports as modified take their places in the
    /// field when all are done, and the previous ones go to the undo field. When the function throws, the field stays
    /// as it was.
    static Changes applyModificator(Fiber::Field& field, Fiber::Field& undoField, const Modificator& modify);

    /// The report of an edit with that many writes.
    static std::string modificationReport(std::uint64_t writes);

    /// Says what the editor did in this update; an empty text leaves nothing said. What was pressed of its histories is
    /// spent thereby: they act only where nothing else did.
    void acted(const VRequest& request, const std::string& text);

    int undoDepth(const VRequest& request) const { return undoDepth_.get(*request.pool); }

    /// The slot of the stroke that selects; a younger one asks for an edit.
    const VSlot& brushSlot() const { return *brush_; }

    const UndoStack& dataHistory() const { return dataHistory_; }

protected:
    /// What the base remembers for a value pool: up to when presses of its histories are served.
    struct State : Holdfast::Managed {
        std::map<const UndoStack*, Holdfast::Ageable::Age> served;
    };
    virtual Holdfast::StrongPtr<State> newState() const { return Holdfast::create<State>(); }

    /// Whether the edit has to run in this update. The field is null when there is none of the name.
    virtual bool wantsFieldOperation(const VRequest& request, Fiber::Representation& representation,
                                     const std::string& fieldName, const FieldPtr& field) = 0;

    /// The edit itself, once `wantsFieldOperation` asked for it; edits the data. Returns what to say.
    virtual std::string FieldOperation(VRequest& request, const FieldPtr& field, Fiber::Representation& representation);

    /// Edits the vertices of one fragment. `field` is the field in the state of this edit: its `getCreator` gives the
    /// array to be read, resident. `target` is the array to be written, this edit's own; `indices` are ascending. What
    /// was written is added to `changes`. Returns the target when it was modified, else null.
    virtual ArrayPtr modifyFragment(const VRequest& request, Fiber::Field& field, const FragmentPtr& fragment,
                                    std::span<const std::uint32_t> indices, Changes& changes,
                                    const ArrayPtr& target) = 0;

    bool unsychronized_update(VRequest& request, double precision) override;
    void operate(VRequest& request, Fiber::Representation& representation, const std::string& fieldName,
                 const FieldPtr& field) final;

    /// Serves the history of a mask too; `maskName` says of which.
    using MaskNameOf = std::function<std::string(const VRequest& request)>;
    void addHistory(const UndoStack& stack, MaskNameOf maskName);

    /// What its steps are said to be made by: the key of the module, or the name of an object without one.
    virtual std::string maker() const;

    /// What selects the vertices; none: every vertex is edited.
    std::optional<Brush> brushOf(const VRequest& request) const;

private:
    Outcome editUnderBrush(const EditTarget& target, Fiber::Field& edited);
    UndoStack::Press takePress(const UndoStack& stack, const ValuePool& pool);
    std::string parametersAsText(const ValuePool& pool) const;

    struct MaskHistory {
        const UndoStack* stack;
        MaskNameOf maskName;
    };

    UndoStack dataHistory_;
    std::optional<MaskHistory> maskHistory_;
    TypedSlot<int> undoDepth_;
    TypedSlot<Brush> brush_;
    std::map<std::uint64_t, Holdfast::StrongPtr<State>> states_; // by pool
};

} // namespace Kesh

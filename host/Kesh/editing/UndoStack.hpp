// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Representation.hpp"
#include "Kesh/objects/VObject.hpp"

#include <cstdint>
#include <map>
#include <string>

namespace Kesh {

/// What is known of one step of a history.
struct UndoStep {
    bool undone = false;    ///< on which side of the present it stands
    std::int64_t time = 0;  ///< when it was made, in seconds since 1970
    std::string module;     ///< key of the module that made it
    std::string parameters; ///< "name=value name=value …" as they were
    std::uint64_t vertices = 0;
};

/// The steps of one field's history, as they stand in a representation. The history outlives the editors: nothing of it
/// is kept here.
///
/// Rules: step i is the field named <field name><step name(i)>, i from 0 without gaps, the oldest first. It holds the
/// other side of the edit, of the fragments that the edit changed and no others; undo and redo exchange the two. Steps
/// that are done come first, those that were undone follow, the one undone last before the others.
class History {
public:
    History(Fiber::Representation& representation, std::string fieldName)
        : representation_(representation), fieldName_(std::move(fieldName)) {}

    /// The name under which step i of any field is stored, behind the field's name.
    static std::string stepName(int i) { return ".undo" + std::to_string(i); }

    /// All steps, and those of them that are done.
    int size() const;
    int position() const;

    UndoStep step(int i) const;

    /// Puts a step in at the present, and drops the undone ones. `other` holds the other side of the edit.
    void record(const Holdfast::StrongPtr<Fiber::Field>& other, const UndoStep& step);

    /// Leaves at most `depth` steps: drops the oldest that are done, then, if that is not enough, those undone first.
    void trim(int depth);

    /// Exchanges the step next to the present with the field; all of it or nothing. What comes into the field takes the
    /// given time. False: there is no such step, or the field is not as the step expects it.
    bool undo(Fiber::Field& field, Holdfast::Ageable::Age time) { return exchange(field, position() - 1, true, time); }
    bool redo(Fiber::Field& field, Holdfast::Ageable::Age time) { return exchange(field, position(), false, time); }

private:
    std::string nameOf(int i) const { return fieldName_ + stepName(i); }
    Holdfast::StrongPtr<Fiber::Field> fieldOf(int i) const { return representation_.findField(nameOf(i)); }
    bool exchange(Fiber::Field& field, int i, bool undone, Holdfast::Ageable::Age time);

    Fiber::Representation& representation_;
    std::string fieldName_;
};

/// The controls of a history that an editor owns: an undo and a redo action. A press acts once, whoever asks first.
class UndoStack {
public:
    enum class Press { None, Undo, Redo };

    struct Introduction {
        int order;         ///< the place of the history among those of the owner
        bool primary;      ///< it is the one of the edited data
        const char* title; ///< for shells that show one
        const char *undoIcon, *redoIcon;
        const char*
            suffix; ///< says what is undone, e.g. " mask", and makes the names of the actions: undoMask, redoMask
    };

    /// The two actions.
    static ParameterTable parameters(const Introduction& introduction);

    /// The owner has the actions.
    UndoStack(VObject& owner, const Introduction& introduction);

    /// What was pressed since the owner was last up to date and is not served yet; served herewith.
    Press take(const ValuePool& pool);

    const Holdfast::StrongPtr<VSlot>& undoSlot() const { return undo_.slot(); }
    const Holdfast::StrongPtr<VSlot>& redoSlot() const { return redo_.slot(); }
    const Holdfast::StrongPtr<VParameter>& undoParameter() const { return undo_->parameter(); }
    const Holdfast::StrongPtr<VParameter>& redoParameter() const { return redo_->parameter(); }

private:
    bool pressed(const TypedSlot<Action>& action, const ValuePool& pool) const;

    VObject& owner_;
    TypedSlot<Action> undo_;
    TypedSlot<Action> redo_;
    std::map<std::uint64_t, Holdfast::Ageable::Age> served_; // by pool: the age of the last press that was served
};

} // namespace Kesh

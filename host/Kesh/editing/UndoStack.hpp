// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VObject.hpp"

#include <string>

namespace Kesh {

/// The controls of a history that an editor owns: an undo and a redo action.
class UndoStack {
public:
    enum class Press { None, Undo, Redo };

    struct Introduction {
        int order;         ///< the place of the history among those of the owner
        bool primary;      ///< it is the one of the edited data
        const char* title; ///< for shells that show one
        const char *undoIcon, *redoIcon;
        const char* suffix; ///< what is undone, e.g. " mask"; makes the names of the actions: undoMask, redoMask
    };

    /// The two actions.
    static ParameterTable parameters(const Introduction& introduction);

    /// The owner has the actions.
    UndoStack(VObject& owner, const Introduction& introduction);

    /// What was pressed since the owner was last up to date, and after `served`, which is raised to the press: so a
    /// press acts once, whoever asks first. Pressed together, undo wins.
    Press take(const ValuePool& pool, Holdfast::Ageable::Age& served) const;

    const Holdfast::StrongPtr<VSlot>& undoSlot() const { return undo_.slot(); }
    const Holdfast::StrongPtr<VSlot>& redoSlot() const { return redo_.slot(); }
    const Holdfast::StrongPtr<VParameter>& undoParameter() const { return undo_->parameter(); }
    const Holdfast::StrongPtr<VParameter>& redoParameter() const { return redo_->parameter(); }

private:
    VObject& owner_;
    TypedSlot<Action> undo_;
    TypedSlot<Action> redo_;
};

} // namespace Kesh

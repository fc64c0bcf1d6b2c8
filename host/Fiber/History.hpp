// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Representation.hpp"

#include <cstdint>
#include <string>

namespace Fiber {

/// What is known of one step of a history.
struct UndoStep {
    std::int64_t time = 0;  ///< when it was made, in seconds since 1970
    std::string module;     ///< key of the module that made it
    std::string parameters; ///< "name=value name=value …" as they were
    std::uint64_t vertices = 0;
    bool undone = false; ///< on which side of the present it stands
};

/// The steps of one field's history in order, and a position among them: behind those that are done, before those that
/// were undone, the one undone last first. The steps are fields of the representation and nothing of them is kept here,
/// so a history outlives the editors. Only clearing touches more steps than come or go.
///
/// Rules: a step's field holds the other side of the edit, of the fragments that the edit changed and no others; undo
/// and redo exchange the two. What makes a field a step is its attributes, which tell its history and its place there.
/// Its name is the field's and a step name behind it, with a number below the depth of the history; numbers come round
/// again, and other fields keep such names where they have them.
class History {
public:
    History(Representation& representation, std::string fieldName)
        : representation_(representation), fieldName_(std::move(fieldName)) {}

    /// The name under which the step of that number is stored, behind the field's name.
    static std::string stepName(int number) { return StepMark + std::to_string(number); }

    /// Whether a name ends as those of steps do.
    static bool isStepName(const std::string& name) { return stepNumber(name) >= 0; }

    /// All steps, and those of them that are done.
    int size() const;
    int position() const;

    /// Step i, from 0 to below the size, the oldest first.
    UndoStep step(int i) const;

    /// Puts a step in at the present. Undone ones go, and the oldest beyond `depth`, which is at least 1. `other` holds
    /// the other side of the edit. When it throws, the history is as it was.
    void record(const Holdfast::StrongPtr<Field>& other, const UndoStep& step, int depth);

    /// Puts in a step that was kept elsewhere, behind all that are there. Behind one that is undone all are.
    void restore(const Holdfast::StrongPtr<Field>& other, const UndoStep& step);

    /// Exchanges the step next to the present with the field; all of it or nothing. What comes into the field takes the
    /// given time. False: there is no such step, or the field is not as the step expects it.
    bool undo(Field& field, Holdfast::Ageable::Age time) { return exchange(field, position() - 1, true, time); }
    bool redo(Field& field, Holdfast::Ageable::Age time) { return exchange(field, position(), false, time); }

    /// Removes all steps.
    void clear();

private:
    static const std::string StepMark;
    static int stepNumber(const std::string& name); // negative: it is none
    HistoryIndex::Steps* steps() const { return representation_.histories().find(fieldName_); }
    void describe(Field& other, const UndoStep& step, std::uint64_t sequence) const;
    std::string freeName(const HistoryIndex::Steps* steps, int depth, std::uint64_t firstToStay) const;
    bool exchange(Field& field, int i, bool undone, Holdfast::Ageable::Age time);

    Representation& representation_;
    std::string fieldName_;
};

} // namespace Fiber

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Representation.hpp"
#include "store/StoreRecords.hpp"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

using ArrayPtr = Holdfast::StrongPtr<Fiber::CreativeArrayBase>;
using ArraysByFragment = std::map<std::uint32_t, ArrayPtr>;

/// A step of a history as it was when it was stored.
struct KeptStep {
    StepId id;
    Holdfast::StrongPtr<Fiber::Field> field; ///< that the history has
    bool done;
    ArraysByFragment others; ///< the other side of the present
};

/// A field as it was when it was stored.
struct KeptField {
    bool stored = false; ///< the store knows it
    Origin origin = Origin::Survey;
    ArraysByFragment originals; ///< before any edit
    ArraysByFragment present;
    ArraysByFragment counted;    ///< whose counts the store has
    std::vector<KeptStep> steps; ///< in the order of the history
    Holdfast::Ageable::Age labelAge = Holdfast::Ageable::Ooooold;
};

/// What happened to a field since.
struct FieldChange {
    /// A step that is not stored yet.
    struct NewStep {
        Holdfast::StrongPtr<Fiber::Field> field;
        ArraysByFragment before, after;
    };

    std::string name;
    std::vector<StepId> undone, redone, gone; ///< as a Commit has them
    std::size_t first = 0, last = 0;          ///< the stored steps from one to before the other are not as they were
    std::vector<KeptStep> kept;               ///< those of them that are not gone, as they stand now
    std::vector<NewStep> made;                ///< behind all stored ones that are done
    std::map<std::uint32_t, std::pair<ArrayPtr, ArrayPtr>> amended; ///< before and after what no step explains
    ArraysByFragment present;

    bool nothing() const { return undone.empty() && redone.empty() && gone.empty() && made.empty() && amended.empty(); }
};

ArraysByFragment arraysOf(const Fiber::Field& field);

/// Reads it off the arrays that stand in the field and in its steps; no values are looked at. The field must exist.
FieldChange changeSince(const KeptField& kept, Fiber::Representation& points, const std::string& name);

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "survey/Survey.hpp"

#include <optional>
#include <set>
#include <string>

namespace corvane {

/// The flag of a label that a class has which may be edited.
inline const std::string EditableFlag = "editable";

/// Whether a class has a label without that flag.
bool isLockedClass(const Kesh::LabelSet& labels, int value);

/// Labels for editing a field of classes: those that the format names, over which go the survey's own and what was
/// stored. What nobody locked is editable.
Kesh::LabelSet labelsForEditing(const Survey& survey, Fiber::Field& field);

/// The labels with editable ones for those of the classes that have none; nothing when all have one.
std::optional<Kesh::LabelSet> withLabelsFor(const Survey& survey, const Kesh::LabelSet& labels,
                                            const std::set<int>& classes);

} // namespace corvane

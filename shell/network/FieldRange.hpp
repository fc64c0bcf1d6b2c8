// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VObject.hpp"
#include "survey/Survey.hpp"

namespace corvane {

/// The largest value that a field of the survey can hold, as it is stored in the points; 0 for one that no editor
/// takes.
std::uint32_t largestValueOf(const Survey& survey, const SurveyField& field);

/// Throws UsageError when the object is about to write a value that its field cannot hold: the label chosen under
/// "Assign", or its "newvalue". Modules cut such a value to the width of the field. What fits the width, but not the
/// bits that a point has for it, is refused at saving.
void checkWrittenValue(const Kesh::VObject& object, const Survey& survey, const Kesh::ValuePool& pool);

} // namespace corvane

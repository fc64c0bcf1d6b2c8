// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Field.hpp"
#include "Kesh/values/LabelSet.hpp"

#include <optional>

namespace Kesh {

// How a label set travels with a field: as attributes, each an array with one element per label, in ascending order of
// the values:
//
//     Labels.ID            int                    value
//     Labels.Names         std::string            name
//     Labels.Colors        Sextant::rgba_float_t  colour
//     Labels.flags.<flag>  bool                   that flag, false where the label lacks it; one attribute per flag
//
// Second texts and selections stay behind.

/// Writes the attributes, replacing those of the same names and no others: a flag that this set does not have keeps the
/// array that an earlier one left.
void storeLabelSet(const LabelSet& labels, Holdfast::Attributes& attributes);

/// The same with a field, whose attributes take the given age.
void storeLabelSet(const LabelSet& labels, Fiber::Field& field, Holdfast::Ageable::Age time);

/// Whether values, names and colours are all there, with elements of these types.
bool carriesLabelSet(const Holdfast::Attributes& attributes);

/// The set that the attributes carry, none also when values, names and colours differ in number. Flags that differ in
/// number from the labels are of another set and left out.
std::optional<LabelSet> readLabelSet(const Holdfast::Attributes& attributes);

} // namespace Kesh

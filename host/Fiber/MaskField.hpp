// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Representation.hpp"

#include <cstdint>
#include <string>

namespace Fiber {

/// A vertex in the mask holds 255, one outside 0; every other value is read as in.
inline constexpr std::uint8_t Masked = 255, Unmasked = 0;

/// A mask for the field, nothing in it: bytes, in the field's fragments that have data. Fragments that nobody selected
/// in take no memory.
Holdfast::StrongPtr<Field> makeMask(const Field& field);

/// Whether a field is a mask, and not one of the data.
bool isMask(Field& field);

/// The mask of that name beside the field; null when there is none. Throws std::runtime_error when the name cannot be a
/// mask's, a field of that name is something else, or its fragments are not among those of the field.
Holdfast::StrongPtr<Field> findMask(const Representation& representation, const std::string& name, const Field& field);

/// Adds the fragments that a mask has not, nothing in them.
void completeMask(Field& mask, const Field& field);

} // namespace Fiber

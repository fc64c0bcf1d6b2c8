// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Representation.hpp"

#include <cstdint>
#include <span>
#include <string>

namespace Kesh {

/// A vertex in the mask holds 255, one outside 0; every other value is read as in.
inline constexpr std::uint8_t Masked = 255, Unmasked = 0;

/// A mask for the field, nothing in it: bytes, in the field's fragments. Fragments that nobody selected in take no
/// memory.
Holdfast::StrongPtr<Fiber::Field> makeMask(const Fiber::Field& field);

/// The mask of that name beside the field; null when there is none. Throws when a field of that name is something else,
/// or its fragments are not those of the field.
Holdfast::StrongPtr<Fiber::Field> findMask(const Fiber::Representation& representation, const std::string& name,
                                           const Fiber::Field& field);

} // namespace Kesh

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Field.hpp"
#include "Sextant/Geometry.hpp"

#include <optional>
#include <span>
#include <string>

namespace Fiber {

/// The name of the field of positions of a grid's vertices, of type Sextant::PhysicalSpace::point.
extern const std::string PositionsName;

/// The box around a fragment's positions, kept as an attribute of their array, so that it is known without loading them
/// from the first time they were seen. Empty result: not known yet.
std::optional<Sextant::BoundingBox> knownFragmentBBox(const Field& positions,
                                                      const Holdfast::StrongPtr<FragmentID>& fragment);

/// The same, loading the positions when the box is not known yet. A fragment that does not exist has an empty box.
Sextant::BoundingBox getFragmentBBox(const Field& positions, const Holdfast::StrongPtr<FragmentID>& fragment);

/// Notes the box around a fragment's positions without having loaded them. From any thread.
void noteFragmentBBox(CreativeArrayBase& positions, const Sextant::BoundingBox& box);

/// The box around points. One that is not a number makes it infinite: nothing is known of where that point lies.
Sextant::BoundingBox boundingBox(std::span<const Sextant::PhysicalSpace::point> points);

} // namespace Fiber

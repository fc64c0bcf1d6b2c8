// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/VValue.hpp"
#include "Sextant/Geometry.hpp"

namespace Kesh {

/// A box that several may refer to; none is an empty pointer.
using BoxPtr = Holdfast::StrongPtr<Sextant::BoundingBox>;

/// The text form is "x0,y0,z0,x1,y1,z1", two opposite corners; empty for none.
KESH_VALUE_TYPE(BoxPtr)

} // namespace Kesh

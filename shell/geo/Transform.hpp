// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "geo/GeoInterface.hpp"

namespace corvane {

/// See GeoFunctions.
Transformation transformCoordinates(const StatedCrs& from, const StatedCrs& to, std::span<double> coordinates);

} // namespace corvane

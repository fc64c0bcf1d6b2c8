// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "geo/GeoInterface.hpp"

namespace corvane {

/// See GeoFunctions.
VectorLayer readVectors(const VectorQuery& query);

} // namespace corvane

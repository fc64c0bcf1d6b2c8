// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "geo/GeoInterface.hpp"

#include <string>

namespace corvane {

/// The library with PROJ and GDAL, loaded at the first call and for good. `purpose` completes "…, which is needed to".
/// Throws Failure when it is not installed.
const GeoFunctions& geoLibrary(const std::string& purpose);

} // namespace corvane

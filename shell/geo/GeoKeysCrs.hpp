// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "geo/GeoInterface.hpp"

#include <string>

namespace corvane {

/// The coordinate system that GeoTIFF records describe, as WKT; empty when they describe none.
std::string wktOfGeoKeys(const StatedCrs& records);

} // namespace corvane

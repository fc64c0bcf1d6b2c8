// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// The polygons of a GeoJSON text (geometry, Feature or FeatureCollection) as WKT, first two coordinates only. Throws
/// Failure, without the name of the file, for other geometries and for a stated coordinate reference system.
std::vector<std::string> wktOfGeoJson(std::string_view text);

} // namespace corvane

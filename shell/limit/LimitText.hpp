// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Limit.hpp"
#include "polygon/Polygons.hpp"
#include "json/Reader.hpp"

namespace corvane {

/// The limit that an object describes: {"polygon": WKT, file or GeoJSON, or a list of them, "box": [x0, y0, z0, x1, y1,
/// z1], "heights": [low, high], "where": expression}, of which all that stand there must be met; null bounds nothing.
/// Of several objects in a list, too. Throws json::Error, and Failure for polygons that cannot be used.
Kesh::LimitPtr readLimit(const json::Reader& text, const PolygonMaker& polygons);

} // namespace corvane

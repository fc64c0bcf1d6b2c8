// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Limit.hpp"
#include "polygon/Polygons.hpp"

#include <vector>

namespace corvane {

/// What lies inside the polygons, seen from above; of points on an edge that two polygons share, each is in one.
Kesh::LimitPtr insidePolygons(const PolygonSet& polygons);

/// What lies in the box, faces included. Faces at infinity bound nothing.
Kesh::LimitPtr inBox(const Sextant::BoundingBox& box);

/// What lies between two heights, both included; infinite ones are open ends.
Kesh::LimitPtr betweenHeights(double low, double high);

/// What meets all of them; none of them may be null.
Kesh::LimitPtr allOf(std::vector<Kesh::LimitPtr> limits);

} // namespace corvane

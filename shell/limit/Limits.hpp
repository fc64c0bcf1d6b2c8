// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Limit.hpp"
#include "polygon/Polygons.hpp"

#include <functional>
#include <string>
#include <vector>

namespace corvane {

/// What lies inside the polygons, seen from above; of points on an edge that two polygons share, each is in one.
Kesh::LimitPtr insidePolygons(const PolygonSet& polygons);

/// What lies in the box, faces included. Faces at infinity bound nothing.
Kesh::LimitPtr inBox(const Sextant::BoundingBox& box);

/// What lies between two heights, both included; infinite ones are open ends.
Kesh::LimitPtr betweenHeights(double low, double high);

/// What an expression says of the quantities of a point (limit/Expression.hpp); X, Y and Z are those of its position.
/// Throws ExpressionError.
Kesh::LimitPtr where(const std::string& expression);

/// What meets all of them; none of them may be null.
Kesh::LimitPtr allOf(std::vector<Kesh::LimitPtr> limits);

/// Gives the exact name of the field that somebody's name stands for, or throws.
using FieldNaming = std::function<std::string(const std::string& name)>;

/// A limit that may read fields under names that people gave them.
class NamesFields {
public:
    virtual ~NamesFields() = default;
    virtual Kesh::LimitPtr named(const FieldNaming& naming) const = 0;
};

/// The same limit, which reads the fields under their exact names. Null stays null.
Kesh::LimitPtr withFieldsNamed(const Kesh::LimitPtr& limit, const FieldNaming& naming);

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "json/Reader.hpp"

#include <compare>
#include <span>
#include <string>
#include <vector>

namespace corvane {

struct PlanePoint {
    double x = 0, y = 0;

    auto operator<=>(const PlanePoint&) const = default;
};

/// Closed implicitly: the last point is not the first again.
using Ring = std::vector<PlanePoint>;

/// The union of polygons, in an order that does not depend on how they were given. Inside is what the rings, shells and
/// holes alike, enclose by the even-odd rule.
struct PolygonSet {
    std::vector<Ring> rings;
    PlanePoint minimum, maximum; ///< bounds
    std::string wkt;             ///< of the union, for printing
};

/// Each argument is WKT (POLYGON or MULTIPOLYGON; "SRID=…;" before it is accepted and not used) or the name of a file
/// that holds WKT or GeoJSON. What begins like WKT is WKT. Z and M are ignored, rings may be left open, orientation is
/// free, and parts that overlap count once. Coordinates are those of the survey.
/// Throws UsageError for what is neither WKT nor a file, Failure for content that cannot be used.
PolygonSet readPolygons(std::span<const std::string> arguments);

/// The same of a text in JSON, or a list of texts.
PolygonSet readPolygons(const json::Reader& arguments);

/// Whether the polygons miss the survey's bounds because they are given in degrees and the survey is not.
bool lookLikeDegrees(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum);

/// A sentence when the bounds of the polygons and of the survey do not meet, empty when they do.
std::string describeMiss(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum);

} // namespace corvane

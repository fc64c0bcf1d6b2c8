// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "json/Reader.hpp"

#include <compare>
#include <functional>
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

/// Of one polygon, the shell before the holes.
using Rings = std::vector<Ring>;

/// The union of polygons, in an order that does not depend on how they were given. Inside is what the rings, shells and
/// holes alike, enclose by the even-odd rule.
struct PolygonSet {
    std::vector<Ring> rings;
    PlanePoint minimum, maximum; ///< bounds
    std::string wkt;             ///< of the union, for printing
};

/// The union of valid polygons. Throws Failure when there is none, or nothing is left of them.
PolygonSet unitePolygons(std::span<const Rings> polygons);

/// Each argument is WKT (POLYGON or MULTIPOLYGON), or the name of a file that holds WKT or GeoJSON, or "-" for standard
/// input with the same. What begins like WKT is WKT. Z and M are ignored, rings may be left open, orientation is free,
/// and parts that overlap count once. Coordinates are taken as they are, whatever coordinate system is stated with
/// them. Throws UsageError for what is neither WKT nor a file, Failure for content that cannot be used.
PolygonSet readPolygons(std::span<const std::string> arguments);

/// The same of a text in JSON, of an object of GeoJSON, or of a list of those.
PolygonSet readPolygons(const json::Reader& arguments);

/// Who makes polygons of what stands in a JSON, for a survey that it knows.
using PolygonMaker = std::function<PolygonSet(const json::Reader& arguments)>;

/// Takes coordinates as they are.
inline PolygonSet plainPolygons(const json::Reader& arguments) { return readPolygons(arguments); }

/// Whether bounds could be longitudes and latitudes.
bool couldBeDegrees(PlanePoint minimum, PlanePoint maximum);

/// Whether the bounds of polygons and of a survey do not meet.
bool miss(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum);

/// Whether the polygons miss the survey's bounds because they are given in degrees and the survey is not.
bool lookLikeDegrees(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum);

/// Whether the polygons miss the survey's bounds, and would not with x and y exchanged.
bool lookExchanged(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum);

/// A sentence when the bounds of the polygons and of the survey do not meet, empty when they do.
std::string describeMiss(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum);

} // namespace corvane

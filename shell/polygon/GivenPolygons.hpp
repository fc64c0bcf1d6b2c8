// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "polygon/Polygons.hpp"

#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// What was given as one: a WKT text, or a feature of a file. Its polygons are valid, and in the coordinates in which
/// they were given.
struct GivenFeature {
    std::string source;               ///< where it stands, for messages: a file, or the beginning of a text
    std::string name;                 ///< within the source, for messages: "feature 3"; empty: the source is all of it
    std::string crs;                  ///< the coordinate system as it is stated: "EPSG:25832", a URN, WKT; empty: none
    bool isGeoJson = false;           ///< of which the format says that they are degrees where nothing else is stated
    bool isSurveys = false;           ///< the survey's coordinates are expected where nothing else is stated
    std::optional<std::string> value; ///< of the attribute that was asked for
    std::vector<Rings> polygons;      ///< at least one
};

/// Polygons as they were given: read once, and placed on as many surveys as there are.
struct GivenPolygons {
    std::vector<GivenFeature> features; ///< in their order; at least one
    bool asSurvey = false;              ///< coordinates are the survey's, whatever is stated
    bool repair = false;                ///< what a transformation makes invalid is repaired and not refused
    std::vector<std::string> notices;   ///< finished sentences: what was repaired
};

} // namespace corvane

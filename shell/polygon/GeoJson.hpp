// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "json/Reader.hpp"

#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// A polygon or several of GeoJSON.
struct GeoJsonArea {
    std::string wkt;                  ///< first two coordinates only
    std::string crs;                  ///< of the old member "crs", e.g. "urn:ogc:def:crs:EPSG::25832"; empty: none
    std::size_t feature = 0;          ///< its number, from 1; 0 for what is no feature
    std::optional<std::string> value; ///< of the property that was asked for
};

/// The areas of a geometry, Feature or FeatureCollection. `property` is the one whose value each feature with an area
/// must have, a text or a number, matched without regard to case; empty asks for none. Throws json::Error, and Failure
/// without the name of the file for other geometries, missing values and systems that are stated in a way that is not
/// known.
std::vector<GeoJsonArea> areasOfGeoJson(const json::Reader& object, const std::string& property = "");

} // namespace corvane

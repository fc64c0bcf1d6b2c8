// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasFile.hpp"
#include "polygon/GivenPolygons.hpp"
#include "json/Reader.hpp"

#include <span>
#include <string>
#include <vector>

namespace corvane {

/// What a call says of its polygons.
struct PolygonOptions {
    std::string crs; ///< their coordinate system, whatever they state: "EPSG:25832", or "survey"; empty: as they state
    bool repair = false; ///< polygons that cross or touch themselves are repaired and not refused
};

/// Features of a file, each with the value of an attribute.
struct FeatureQuery {
    std::string file;      ///< or "-", or "FILE|layer"
    std::string attribute; ///< its name, without regard to case
    std::string where;     ///< a condition in OGR's syntax, such as "status = 'approved'"; empty: all
};

/// Polygons on a survey, in its coordinates.
struct PlacedPolygons {
    PolygonSet polygons;
    std::vector<std::string> notices; ///< finished sentences: what was repaired, transformed or assumed, and how well
};

/// A feature on a survey.
struct ClassFeature {
    PolygonSet polygons;
    std::string value; ///< of the attribute: a number or a name
    std::string name;  ///< for messages: "feature 3 of areas.gpkg"
};

struct PlacedFeatures {
    std::vector<ClassFeature> features; ///< in the order of the file
    std::vector<std::string> notices;
};

/// Reads polygons, before any survey is opened. Each argument is WKT (a POLYGON or MULTIPOLYGON, "SRID=number;" before
/// it or not), "-" for standard input, a pipe, a file of WKT or GeoJSON, or one of the files that GDAL reads for us: a
/// GeoPackage, an ESRI Shapefile, KML, FlatGeobuf, CSV with a column of WKT; "FILE|layer" names one of several layers.
/// Throws UsageError for calls that make no sense, Failure for content that
/// cannot be used.
GivenPolygons readGiven(std::span<const std::string> arguments, const PolygonOptions& options);

/// The same of a text in JSON, of an object of GeoJSON, or of a list of those. What stands there itself is expected to
/// be in the survey's coordinates.
GivenPolygons readGiven(const json::Reader& arguments, const PolygonOptions& options);

/// Reads features, of which each must have a value.
GivenPolygons readFeatures(const FeatureQuery& query, const PolygonOptions& options);

/// The polygons in the survey's coordinates. Where both state a coordinate system, they are transformed; GeoJSON that
/// states none and looks like degrees, while the survey does not, is in longitudes and latitudes of WGS 84; otherwise
/// they are taken as they are. Throws Failure when there is no good transformation.
PlacedPolygons placeOn(const LasFile& survey, const GivenPolygons& given);
PlacedFeatures placeFeaturesOn(const LasFile& survey, const GivenPolygons& given);

/// Both steps at once, for one survey.
PlacedPolygons polygonsFor(const LasFile& survey, std::span<const std::string> arguments,
                           const PolygonOptions& options = {});
PlacedPolygons polygonsFor(const LasFile& survey, const json::Reader& arguments, const PolygonOptions& options = {});

} // namespace corvane

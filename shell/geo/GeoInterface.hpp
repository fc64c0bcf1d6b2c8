// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace corvane {

/// A coordinate system as somebody states it: as text, or as the GeoTIFF records of a survey. The text goes first where
/// it is understood.
struct StatedCrs {
    std::string text;                            ///< "EPSG:25832", a URN, WKT
    std::vector<std::byte> keys, doubles, texts; ///< the payloads of the records
};

/// How coordinates were brought from one system into another, x always to the east.
struct Transformation {
    bool same = false;            ///< the systems are the same, and so are the coordinates
    std::string from, to;         ///< names, with codes
    std::string operation;        ///< its name
    std::optional<double> metres; ///< the accuracy, as it is stated; none: not known
    double metresPerUnit = 1;     ///< of the coordinates afterwards, roughly where these are degrees
};

/// Which features of a file of vectors are asked for.
struct VectorQuery {
    std::string path;      ///< of a file that exists, absolute
    std::string content;   ///< instead of the file's, of GeoJSON that came out of a pipe
    std::string driver;    ///< the one that reads it: a name of GDAL's, e.g. "GPKG"
    std::string layer;     ///< empty: the only one
    std::string attribute; ///< whose value each feature must have; empty: none
    std::string where;     ///< a condition in OGR's syntax; empty: all
};

struct VectorFeature {
    std::int64_t number = 0;          ///< as the file counts them
    std::string wkb;                  ///< a POLYGON or MULTIPOLYGON in two dimensions
    std::optional<std::string> value; ///< of the attribute; a whole number has no decimals
    bool curved = false;              ///< its arcs were replaced by chords
};

struct VectorLayer {
    std::string name;
    std::string crs; ///< as WKT; empty: not stated
    std::vector<VectorFeature> features;
    std::uint64_t without = 0; ///< features that have no geometry, or an empty one
};

/// PROJ and GDAL are in a library that is loaded only when somebody needs them, since what they bring takes longer to
/// load than the program takes to start. It exports one function under `GeoEntryName`, of the type `GeoEntry`. The name
/// changes with anything in this file. The operations throw Failure, and UsageError for what was asked for and is not
/// there: sentences without the source, nothing is printed.
struct GeoFunctions {
    /// Transforms pairs of x and y in place. Ballpark transformations are refused.
    Transformation (*transform)(const StatedCrs& from, const StatedCrs& to, std::span<double> coordinates);

    VectorLayer (*read)(const VectorQuery& query);
};

using GeoEntry = const GeoFunctions&();
inline constexpr char GeoEntryName[] = "corvaneGeo1";

} // namespace corvane

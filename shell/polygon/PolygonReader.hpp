// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "polygon/Geos.hpp"
#include "polygon/GivenPolygons.hpp"
#include "json/Reader.hpp"

#include <string>
#include <string_view>

namespace corvane {

/// What an argument that stands for polygons leads to.
struct PolygonArgument {
    std::string source;    ///< for messages
    std::string text;      ///< WKT or GeoJSON, or what came out of a pipe
    std::string file;      ///< empty, or a file that does not begin like such a text
    std::string beginning; ///< of that file: its first bytes
    std::string layer;     ///< of "FILE|layer" or "FILE|layername=layer"; empty: not named
};

/// What begins like WKT is WKT and "-" is standard input; everything else names a file or a pipe. Throws UsageError for
/// what is neither, Failure for what cannot be read or is too large.
PolygonArgument openPolygons(const std::string& argument);

/// Whether a text is documents of GeoJSON, each on a line of its own.
bool isGeoJsonLines(std::string_view text);

/// Says that a file of polygons begins like nothing that is known.
[[noreturn]] void refuseContent(const PolygonArgument& argument, const std::string& expected);

/// Collects polygons. What cannot be used throws Failure with the source in front, or UsageError where the call asks
/// for what is not there.
class PolygonReader {
public:
    /// `attribute`: of which all features must have a value; empty: none.
    explicit PolygonReader(bool repair = false, std::string attribute = "");

    /// WKT, one or several; GeoJSON; or documents of GeoJSON, each on a line of its own.
    void addText(std::string_view text, const std::string& source);

    /// A geometry, Feature or FeatureCollection. What is wrong with the JSON throws json::Error, which has the place.
    void addGeoJson(const json::Reader& object, const std::string& source);

    /// The facts of a feature, and its geometry as well-known binary: a POLYGON or MULTIPOLYGON.
    void addFeature(GivenFeature facts, const std::string& wkb);

    void addNotice(std::string sentence) { given_.notices.push_back(std::move(sentence)); }

    /// All that was added, and nothing is left.
    GivenPolygons take();

private:
    void add(GivenFeature feature, std::vector<Rings> polygons);
    void addWkt(std::string_view text, const std::string& source);
    void addLines(std::string_view text, const std::string& source);
    void requireMoreThan(std::size_t features) const;
    void collect(const json::Reader& object, const std::string& source);
    void addDocument(std::string_view text, const std::string& source, const std::string& name);

    Geos geos_;
    Repairs repairs_;
    std::string attribute_;
    GivenPolygons given_;
};

} // namespace corvane

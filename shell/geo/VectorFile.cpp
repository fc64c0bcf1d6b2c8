// SPDX-License-Identifier: Apache-2.0
#include "geo/VectorFile.hpp"

#include "base/Failure.hpp"
#include "geo/GeoLibrary.hpp"
#include "polygon/WktText.hpp"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fmt/format.h>

namespace corvane {
namespace {

using namespace std::string_view_literals;

struct Format {
    const char* driver;
    std::string_view beginning;
};
constexpr Format Formats[] = {
    {"GPKG", "SQLite format 3\0"sv}, {"ESRI Shapefile", "\0\0\x27\x0A"sv}, {"FlatGeobuf", "fgb\3fgb"sv}};
constexpr std::string_view Archive = "PK\3\4";

constexpr char Known[] =
    "WKT (POLYGON or MULTIPOLYGON), GeoJSON, a GeoPackage, a Shapefile (.shp), KML, FlatGeobuf, or CSV (.csv) with a "
    "column of WKT";

std::string endingOf(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension();
    std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending;
}

/// Going by the content, since names may be wrong; CSV begins like anything.
std::string driverFor(const PolygonArgument& argument) {
    for (const Format& format : Formats)
        if (argument.beginning.starts_with(format.beginning)) return format.driver;
    if (argument.beginning.starts_with(Archive)) {
        if (endingOf(argument.file) == ".kmz") return "KML";
        throw Failure(
            fmt::format("{}: is an archive; unpack it and name the file of polygons in it.", argument.source));
    }
    if (argument.beginning.find("<kml") != std::string::npos) return "KML";
    if (endingOf(argument.file) == ".csv" || endingOf(argument.file) == ".tsv") return "CSV";
    refuseContent(argument, Known);
}

VectorQuery queryFor(const PolygonArgument& argument, const std::string& attribute, const std::string& where) {
    VectorQuery query{
        .path = {}, .content = {}, .driver = {}, .layer = argument.layer, .attribute = attribute, .where = where};
    if (!argument.file.empty()) {
        query.path = std::filesystem::absolute(argument.file);
        if (query.path.starts_with("/vsi")) // what GDAL takes for files that are somewhere else
            throw Failure(
                fmt::format("{}: lies in a folder that GDAL cannot read; move it elsewhere.", argument.source));
        query.driver = driverFor(argument);
        return query;
    }
    if (beginsLikeWkt(argument.text))
        throw UsageError(fmt::format("{}: is WKT, which has no attributes to choose features by; give a file of "
                                     "features, such as GeoJSON.",
                                     argument.source));
    query.content = argument.text;
    query.driver = isGeoJsonLines(argument.text) ? "GeoJSONSeq" : "GeoJSON";
    return query;
}

/// What the library says gets the source in front.
VectorLayer read(const VectorQuery& query, const std::string& source) {
    const auto& library = geoLibrary("read " + source);
    try {
        return library.read(query);
    } catch (const UsageError& error) {
        throw UsageError(fmt::format("{}: {}", source, error.what()));
    } catch (const Failure& failure) {
        throw Failure(fmt::format("{}: {}", source, failure.what()));
    }
}

/// Of GeoJSON GDAL says WGS 84 where nothing is stated; that is decided where the survey is known.
std::string statedIn(const PolygonArgument& argument, const VectorLayer& layer) {
    const bool isJson = argument.file.empty();
    return isJson && argument.text.find("\"crs\"") == std::string::npos ? "" : layer.crs;
}

} // namespace

void addVectors(PolygonReader& reader, const PolygonArgument& argument, const std::string& attribute,
                const std::string& where) {
    const VectorLayer layer = read(queryFor(argument, attribute, where), argument.source);
    const std::string crs = statedIn(argument, layer);
    std::size_t curved = 0;
    for (const VectorFeature& feature : layer.features) {
        curved += feature.curved;
        reader.addFeature({.source = argument.source,
                           .name = fmt::format("feature {}", feature.number),
                           .crs = crs,
                           .isGeoJson = argument.file.empty(),
                           .value = feature.value,
                           .polygons = {}},
                          feature.wkb);
    }
    if (curved > 0)
        reader.addNotice(fmt::format("{}: {} features have arcs; they are taken as chords of half a degree.",
                                     argument.source, curved));
    if (layer.without > 0)
        reader.addNotice(
            fmt::format("{}: {} features have no geometry and are left out.", argument.source, layer.without));
    if (layer.features.empty())
        throw Failure(fmt::format("{}: {} has no polygon{}, expected at least one.", argument.source,
                                  layer.name.empty() ? "it" : fmt::format("its layer \"{}\"", layer.name),
                                  where.empty() ? "" : " that meets the condition"));
}

} // namespace corvane

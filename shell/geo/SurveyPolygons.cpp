// SPDX-License-Identifier: Apache-2.0
#include "geo/SurveyPolygons.hpp"

#include "base/Failure.hpp"
#include "geo/Placement.hpp"
#include "geo/VectorFile.hpp"
#include "polygon/WktText.hpp"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <iterator>
#include <regex>

namespace corvane {
namespace {

constexpr char AsSurvey[] = "survey";

void checkOptions(const PolygonOptions& options) {
    static const std::regex code("[A-Za-z]+:[A-Za-z0-9_]{1,20}");
    if (options.crs.empty() || options.crs == AsSurvey || std::regex_match(options.crs, code)) return;
    throw UsageError(fmt::format("--polygon-crs: \"{}\" was found where a code such as EPSG:25832 is expected, or "
                                 "\"survey\" for the coordinates of the survey.",
                                 excerpt(options.crs)));
}

GivenPolygons taken(PolygonReader& reader, const PolygonOptions& options) {
    GivenPolygons given = reader.take();
    given.asSurvey = options.crs == AsSurvey;
    std::string code = options.crs;
    std::ranges::transform(code, code.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (!given.asSurvey && !code.empty())
        for (GivenFeature& feature : given.features) feature.crs = code;
    return given;
}

void add(PolygonReader& reader, const std::string& given) {
    const PolygonArgument argument = openPolygons(given);
    if (argument.file.empty()) return reader.addText(argument.text, argument.source);
    addVectors(reader, argument, "", "");
}

void add(PolygonReader& reader, const json::Reader& given) {
    given.value().is_object() ? reader.addGeoJson(given, "the polygon") : add(reader, given.text());
}

GivenPolygons read(const json::Reader& given, const PolygonOptions& options) {
    PolygonReader reader(options.repair);
    add(reader, given);
    GivenPolygons read = taken(reader, options);
    const bool inFile = given.value().is_string() && !beginsLikeWkt(given.text());
    for (GivenFeature& feature : read.features) feature.isSurveys = !inFile;
    return read;
}

std::string nameOf(const GivenFeature& feature) {
    return feature.name.empty() ? feature.source : fmt::format("{} of {}", feature.name, feature.source);
}

} // namespace

GivenPolygons readGiven(std::span<const std::string> arguments, const PolygonOptions& options) {
    checkOptions(options);
    PolygonReader reader(options.repair);
    for (const std::string& argument : arguments) add(reader, argument);
    return taken(reader, options);
}

GivenPolygons readGiven(const json::Reader& arguments, const PolygonOptions& options) {
    checkOptions(options);
    GivenPolygons all;
    for (const json::Reader& one : arguments.oneOrMore()) {
        GivenPolygons some = read(one, options);
        std::ranges::move(some.features, std::back_inserter(all.features));
        std::ranges::move(some.notices, std::back_inserter(all.notices));
        all.asSurvey = some.asSurvey;
        all.repair = some.repair;
    }
    return all;
}

GivenPolygons readFeatures(const FeatureQuery& query, const PolygonOptions& options) {
    checkOptions(options);
    PolygonReader reader(options.repair, query.attribute);
    const PolygonArgument argument = openPolygons(query.file);
    if (argument.file.empty() && query.where.empty())
        reader.addText(argument.text, argument.source);
    else
        addVectors(reader, argument, query.attribute, query.where);
    return taken(reader, options);
}

PlacedPolygons placeOn(const LasFile& survey, const GivenPolygons& given) {
    Placement placement(survey, given);
    std::vector<Rings> polygons;
    for (GivenFeature& feature : placement.features) std::ranges::move(feature.polygons, std::back_inserter(polygons));
    return {unitePolygons(polygons), std::move(placement.notices)};
}

PlacedFeatures placeFeaturesOn(const LasFile& survey, const GivenPolygons& given) {
    Placement placement(survey, given);
    PlacedFeatures placed{{}, std::move(placement.notices)};
    for (const GivenFeature& feature : placement.features)
        placed.features.push_back({unitePolygons(feature.polygons), feature.value.value_or(""), nameOf(feature)});
    return placed;
}

PlacedPolygons polygonsFor(const LasFile& survey, std::span<const std::string> arguments,
                           const PolygonOptions& options) {
    return placeOn(survey, readGiven(arguments, options));
}

PlacedPolygons polygonsFor(const LasFile& survey, const json::Reader& arguments, const PolygonOptions& options) {
    return placeOn(survey, readGiven(arguments, options));
}

} // namespace corvane

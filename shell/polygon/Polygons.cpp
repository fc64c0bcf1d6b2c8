// SPDX-License-Identifier: Apache-2.0
#include "polygon/Polygons.hpp"

#include "base/Failure.hpp"
#include "polygon/Geos.hpp"
#include "polygon/PolygonReader.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace corvane {
namespace {

void setBounds(PolygonSet& polygons) {
    polygons.minimum = polygons.maximum = polygons.rings.front().front();
    for (const auto& ring : polygons.rings)
        for (const auto [x, y] : ring) {
            polygons.minimum = {std::min(polygons.minimum.x, x), std::min(polygons.minimum.y, y)};
            polygons.maximum = {std::max(polygons.maximum.x, x), std::max(polygons.maximum.y, y)};
        }
}

/// "(x y,…,x y)", with the first point again at the end.
std::string wktOf(const Ring& ring) {
    std::string text;
    for (const auto [x, y] : ring) text += fmt::format("{}{} {}", text.empty() ? "(" : ",", x, y);
    return text + fmt::format(",{} {})", ring.front().x, ring.front().y);
}

std::string wktOf(const Rings& rings) {
    std::string text;
    for (const Ring& ring : rings) text.append(text.empty() ? "(" : ",").append(wktOf(ring));
    return text + ")";
}

/// The polygons, each with its shell before its holes.
std::string wktOf(const std::vector<Rings>& polygons) {
    if (polygons.size() == 1) return "POLYGON " + wktOf(polygons.front());
    std::string text;
    for (const auto& rings : polygons) text.append(text.empty() ? "(" : ",").append(wktOf(rings));
    return "MULTIPOLYGON " + text + ")";
}

/// Rings begin at their least points, and stand in the order of these; the shell stays before the holes.
void putInOrder(std::vector<Rings>& polygons) {
    for (auto& rings : polygons) {
        for (Ring& ring : rings) std::rotate(ring.begin(), std::min_element(ring.begin(), ring.end()), ring.end());
        std::sort(rings.begin() + 1, rings.end());
    }
    std::sort(polygons.begin(), polygons.end());
}

PolygonSet united(PolygonReader& reader) {
    std::vector<Rings> polygons;
    for (GivenFeature& feature : reader.take().features)
        std::ranges::move(feature.polygons, std::back_inserter(polygons));
    return unitePolygons(polygons);
}

void add(PolygonReader& reader, const std::string& given) {
    const PolygonArgument argument = openPolygons(given);
    if (!argument.file.empty()) refuseContent(argument, "WKT (POLYGON or MULTIPOLYGON) or GeoJSON");
    reader.addText(argument.text, argument.source);
}

/// Whether two rectangles have no point in common.
bool disjoint(PlanePoint minimum, PlanePoint maximum, PlanePoint otherMinimum, PlanePoint otherMaximum) {
    return maximum.x < otherMinimum.x || minimum.x > otherMaximum.x || maximum.y < otherMinimum.y ||
           minimum.y > otherMaximum.y;
}

} // namespace

PolygonSet unitePolygons(std::span<const Rings> polygons) {
    if (polygons.empty()) throw UsageError("No polygon was given; expected WKT or the name of a file.");
    try {
        auto parts = Geos().unite(polygons);
        if (parts.empty()) throw Failure("nothing is left of them");
        putInOrder(parts);
        PolygonSet result{.rings = {}, .minimum = {}, .maximum = {}, .wkt = wktOf(parts)};
        for (auto& rings : parts) std::ranges::move(rings, std::back_inserter(result.rings));
        setBounds(result);
        return result;
    } catch (const Failure& failure) {
        throw Failure(fmt::format("The polygons cannot be united: {}; give them one by one.", failure.what()));
    }
}

PolygonSet readPolygons(std::span<const std::string> arguments) {
    PolygonReader reader;
    for (const auto& argument : arguments) add(reader, argument);
    return united(reader);
}

PolygonSet readPolygons(const json::Reader& json) {
    PolygonReader reader;
    for (const json::Reader& one : json.oneOrMore())
        one.value().is_object() ? reader.addGeoJson(one, "the polygon") : add(reader, one.text());
    return united(reader);
}

bool couldBeDegrees(PlanePoint minimum, PlanePoint maximum) {
    return minimum.x >= -180 && maximum.x <= 180 && minimum.y >= -90 && maximum.y <= 90;
}

bool miss(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum) {
    return disjoint(polygons.minimum, polygons.maximum, surveyMinimum, surveyMaximum);
}

bool lookLikeDegrees(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum) {
    return miss(polygons, surveyMinimum, surveyMaximum) && couldBeDegrees(polygons.minimum, polygons.maximum) &&
           !couldBeDegrees(surveyMinimum, surveyMaximum);
}

bool lookExchanged(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum) {
    const auto [low, high] = std::pair(polygons.minimum, polygons.maximum);
    return miss(polygons, surveyMinimum, surveyMaximum) &&
           !disjoint({low.y, low.x}, {high.y, high.x}, surveyMinimum, surveyMaximum);
}

std::string describeMiss(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum) {
    if (!miss(polygons, surveyMinimum, surveyMaximum)) return {};
    const auto &low = polygons.minimum, &high = polygons.maximum;
    const std::string advice =
        lookExchanged(polygons, surveyMinimum, surveyMaximum)
            ? "x and y look exchanged, since the other way round they meet"
        : lookLikeDegrees(polygons, surveyMinimum, surveyMaximum)
            ? "they look like degrees, so transform them to the coordinates of the survey, or say with "
              "--polygon-crs EPSG:4326 that they are longitudes and latitudes"
            : "check that both have the same coordinate reference system";
    return fmt::format(
        "The polygons miss the survey: they lie in x {} to {}, y {} to {}, the survey in x {} to {}, y {} to "
        "{}; {}.",
        low.x, high.x, low.y, high.y, surveyMinimum.x, surveyMaximum.x, surveyMinimum.y, surveyMaximum.y, advice);
}

} // namespace corvane

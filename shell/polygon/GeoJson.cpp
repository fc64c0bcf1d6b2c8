// SPDX-License-Identifier: Apache-2.0
#include "polygon/GeoJson.hpp"

#include "base/Failure.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace corvane {
namespace {

using Json = nlohmann::json;

/// Levels; polygons of a collection need nine. What walks the parsed text may then recurse.
constexpr int DeepestNesting = 64;

Json parse(std::string_view text) {
    const auto bounded = [](int depth, Json::parse_event_t, Json&) {
        if (depth > DeepestNesting)
            throw Failure(
                fmt::format("is nested more than {} levels deep; GeoJSON polygons need nine", DeepestNesting));
        return true;
    };
    return Json::parse(text, bounded);
}

/// "(a,b,c)" of what `item` makes of each element.
template <typename Item>
std::string list(const Json& array, Item item) {
    std::string text;
    for (const auto& element : array.get_ref<const Json::array_t&>()) {
        text += text.empty() ? '(' : ',';
        text += item(element);
    }
    return text.empty() ? "EMPTY" : text + ')';
}

std::string position(const Json& numbers) {
    return fmt::format("{} {}", numbers.at(0).get<double>(), numbers.at(1).get<double>());
}

std::string ring(const Json& positions) { return list(positions, position); }

std::string polygon(const Json& rings) { return list(rings, ring); }

void refuseCrs(const Json& object) {
    const auto crs = object.find("crs");
    if (crs == object.end() || crs->is_null()) return;
    const Json::json_pointer name("/properties/name");
    throw Failure(
        fmt::format("states a coordinate reference system of its own, {}, while the coordinates of polygons are "
                    "taken as the survey's; transform it to the survey's unless it is the same, and remove the "
                    "member \"crs\"",
                    crs->contains(name) ? (*crs)[name].dump() : crs->dump().substr(0, 200)));
}

void collect(const Json& object, std::vector<std::string>& wkts) {
    refuseCrs(object);
    const auto type = object.at("type").get<std::string>();
    if (type == "FeatureCollection") {
        for (const auto& feature : object.at("features")) collect(feature, wkts);
    } else if (type == "GeometryCollection") {
        for (const auto& geometry : object.at("geometries")) collect(geometry, wkts);
    } else if (type == "Feature") {
        const auto& geometry = object.at("geometry");
        if (!geometry.is_null()) collect(geometry, wkts);
    } else if (type == "Polygon") {
        wkts.push_back("POLYGON " + polygon(object.at("coordinates")));
    } else if (type == "MultiPolygon") {
        wkts.push_back("MULTIPOLYGON " + list(object.at("coordinates"), polygon));
    } else {
        throw Failure(
            fmt::format("holds a GeoJSON \"{}\", expected Polygon or MultiPolygon; leave out everything that is "
                        "not an area",
                        type));
    }
}

} // namespace

std::vector<std::string> wktOfGeoJson(std::string_view text) {
    std::vector<std::string> wkts;
    try {
        collect(parse(text), wkts);
    } catch (const Json::exception& error) {
        throw Failure(
            fmt::format("is not GeoJSON as it should be: {}; expected a geometry, Feature or FeatureCollection "
                        "with positions of at least two numbers",
                        error.what()));
    }
    return wkts;
}

} // namespace corvane

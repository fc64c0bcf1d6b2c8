// SPDX-License-Identifier: Apache-2.0
#include "polygon/GeoJson.hpp"

#include "base/Failure.hpp"

#include "json/Reader.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

/// "(a,b,c)" of what `item` makes of each element.
template <typename Item>
std::string list(const json::Reader& array, Item item) {
    std::string text;
    for (const json::Reader& element : array.elements()) {
        text += text.empty() ? '(' : ',';
        text += item(element);
    }
    return text.empty() ? "EMPTY" : text + ')';
}

std::string position(const json::Reader& numbers) {
    const auto n = numbers.elements();
    numbers.expect(n.size() >= 2, "a position of at least two numbers");
    return fmt::format("{} {}", n[0].number(), n[1].number());
}

std::string ring(const json::Reader& positions) { return list(positions, position); }

std::string polygon(const json::Reader& rings) { return list(rings, ring); }

void refuseCrs(const json::Reader& object) {
    if (!object.has("crs")) return;
    const json::Value& crs = object.member("crs").value();
    if (crs.is_null()) return;
    const json::Value::json_pointer name("/properties/name");
    throw Failure(
        fmt::format("states a coordinate reference system of its own, {}, while the coordinates of polygons are "
                    "taken as the survey's; transform it to the survey's unless it is the same, and remove the "
                    "member \"crs\"",
                    crs.contains(name) ? crs[name].dump() : crs.dump().substr(0, 200)));
}

void collect(const json::Reader& object, std::vector<std::string>& wkts) {
    const std::string& type = object.member("type").text();
    refuseCrs(object);
    if (type == "FeatureCollection") {
        for (const auto& feature : object.member("features").elements()) collect(feature, wkts);
    } else if (type == "GeometryCollection") {
        for (const auto& geometry : object.member("geometries").elements()) collect(geometry, wkts);
    } else if (type == "Feature") {
        const auto geometry = object.member("geometry");
        if (!geometry.value().is_null()) collect(geometry, wkts);
    } else if (type == "Polygon") {
        wkts.push_back("POLYGON " + polygon(object.member("coordinates")));
    } else if (type == "MultiPolygon") {
        wkts.push_back("MULTIPOLYGON " + list(object.member("coordinates"), polygon));
    } else {
        throw Failure(fmt::format(
            "holds a GeoJSON {}, expected Polygon or MultiPolygon; leave out everything that is not an area",
            json::excerpt(object.member("type").value())));
    }
}

} // namespace

std::vector<std::string> wktOfGeoJson(std::string_view text) {
    std::vector<std::string> wkts;
    try {
        const json::Document document(text);
        collect(json::Reader(document), wkts);
    } catch (const json::Error& error) {
        throw Failure(
            fmt::format("is not GeoJSON as it should be: {}; expected a geometry, Feature or FeatureCollection "
                        "with positions of at least two numbers",
                        error.what()));
    }
    return wkts;
}

} // namespace corvane

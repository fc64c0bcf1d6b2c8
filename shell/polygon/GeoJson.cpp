// SPDX-License-Identifier: Apache-2.0
#include "polygon/GeoJson.hpp"

#include "base/Failure.hpp"
#include "base/NearestName.hpp"

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

/// A link is not followed.
std::string crsOf(const json::Reader& stated) {
    const json::Value& crs = stated.value();
    const auto text = [&](const char* place) {
        const json::Value::json_pointer pointer(place);
        return crs.contains(pointer) ? crs[pointer] : json::Value();
    };
    if (const auto name = text("/properties/name"); name.is_string() && !name.get<std::string>().empty())
        return name.get<std::string>();
    if (const auto code = text("/properties/code"); code.is_number_unsigned() && text("/type") == "EPSG")
        return "EPSG:" + code.dump();
    throw Failure(fmt::format("states its coordinate reference system as {}, expected a name, such as {}; change the "
                              "member \"crs\", or overrule it with --polygon-crs",
                              json::excerpt(crs),
                              R"({"type": "name", "properties": {"name": "urn:ogc:def:crs:EPSG::25832"}})"));
}

class Collector {
public:
    explicit Collector(const std::string& property) : property_(property) {}

    std::vector<GeoJsonArea> areas;

    /// `inherited` is what holds unless the object states something of its own.
    void collect(const json::Reader& object, GeoJsonArea inherited) {
        const std::string& type = object.member("type").text();
        if (object.has("crs"))
            inherited.crs = object.member("crs").value().is_null() ? "" : crsOf(object.member("crs"));
        if (type == "FeatureCollection") {
            for (const auto& feature : object.member("features").elements()) collect(feature, inherited);
        } else if (type == "GeometryCollection") {
            for (const auto& geometry : object.member("geometries").elements()) collect(geometry, inherited);
        } else if (type == "Feature") {
            inherited.feature = ++features_;
            const auto geometry = object.member("geometry");
            if (geometry.value().is_null()) return;
            if (!property_.empty()) inherited.value = valueOf(object);
            collect(geometry, inherited);
        } else if (type == "Polygon") {
            add(inherited, "POLYGON " + polygon(object.member("coordinates")));
        } else if (type == "MultiPolygon") {
            add(inherited, "MULTIPOLYGON " + list(object.member("coordinates"), polygon));
        } else {
            throw Failure(fmt::format(
                "holds a GeoJSON {}, expected Polygon or MultiPolygon; leave out everything that is not an area",
                json::excerpt(object.member("type").value())));
        }
    }

private:
    void add(const GeoJsonArea& facts, std::string wkt) {
        if (!property_.empty() && !facts.value)
            throw UsageError(fmt::format("holds a geometry that is no feature, and so has no property \"{}\"; make it "
                                         "a Feature with properties.",
                                         property_));
        areas.push_back(facts);
        areas.back().wkt = std::move(wkt);
    }

    std::string valueOf(const json::Reader& feature) const {
        std::vector<std::string> known;
        if (feature.has("properties") && !feature.member("properties").value().is_null())
            for (const auto& [key, value] : feature.member("properties").members()) {
                if (sameName(key, property_)) return textOf(value.value());
                known.push_back(key);
            }
        throw UsageError(
            fmt::format("feature {} has no property \"{}\". {}", features_, property_, suggestNames(property_, known)));
    }

    std::string textOf(const json::Value& value) const {
        if (value.is_string()) return value.get<std::string>();
        if (value.is_number()) return value.dump();
        throw Failure(fmt::format("the property \"{}\" of feature {} is {}, expected a number or a text; give it one, "
                                  "or leave the feature out",
                                  property_, features_, json::excerpt(value)));
    }

    const std::string& property_;
    std::size_t features_ = 0;
};

} // namespace

std::vector<GeoJsonArea> areasOfGeoJson(const json::Reader& object, const std::string& property) {
    Collector collector(property);
    collector.collect(object, {});
    return std::move(collector.areas);
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "network/StrokeText.hpp"

#include "limit/LimitText.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <glm/trigonometric.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace corvane {
namespace {

using json::Reader;
using json::Value;

const std::vector<std::string> Kinds{"polygon", "lasso", "rectangle", "circle", "path", "above", "below"};

Sextant::PhysicalSpace::point readPoint(const Reader& json) {
    const auto n = json.numbers(3);
    return {n[0], n[1], n[2]};
}

glm::dvec2 readPlace(const Reader& json) {
    const auto n = json.numbers(2);
    return {n[0], n[1]};
}

Stroke::Profile readProfile(const Reader& json) {
    json.expectKeys({"from", "to", "width"});
    return {readPlace(json.member("from")), readPlace(json.member("to")), json.member("width").number()};
}

Sextant::Camera readPerspective(const Reader& json) {
    json.expectKeys({"eye", "target", "up", "fov", "aspect", "near", "far"});
    Sextant::Camera camera{.eye = readPoint(json.member("eye")), .target = readPoint(json.member("target"))};
    if (json.has("up")) camera.up = readPoint(json.member("up"));
    if (json.has("aspect")) camera.aspect = json.member("aspect").number();
    camera.verticalAngle = glm::radians(json.member("fov").number());
    camera.near = json.member("near").number();
    camera.far = json.member("far").number();
    return camera;
}

Stroke::View readView(const Reader& stroke) {
    if (!stroke.has("view")) return Stroke::FromAbove();
    const Reader view = stroke.member("view");
    if (view.value() == "above") return Stroke::FromAbove();
    if (view.value().is_object() && view.value().size() == 1) {
        if (view.has("profile")) return readProfile(view.member("profile"));
        if (view.has("perspective")) return readPerspective(view.member("perspective"));
    }
    view.fail("a view is \"above\", {\"profile\": {…}} or {\"perspective\": {…}}");
}

/// "x y, x y, …"
Stroke::Places readPlaces(const Reader& json) {
    const std::string& text = json.text();
    Stroke::Places places;
    const char *next = text.data(), *end = next + text.size();
    const auto skipBlanks = [&] { next = std::find_if(next, end, [](char c) { return c != ' '; }); };
    const auto number = [&] {
        double value = 0;
        skipBlanks();
        const auto [stop, error] = std::from_chars(next, end, value);
        if (error != std::errc() || !std::isfinite(value))
            json.fail(
                fmt::format("after {} characters a number is expected; write \"x y, x y, …\"", next - text.data()));
        next = stop;
        return value;
    };
    do {
        const double x = number();
        places.emplace_back(x, number());
        skipBlanks();
    } while (next != end && *next++ == ',');
    if (next != end)
        json.fail(
            fmt::format("after {} characters a comma is expected; write \"x y, x y, …\"", next - text.data() - 1));
    return places;
}

Stroke::Outline readOutline(const Reader& stroke, const std::string& kind, const PolygonMaker& polygons) {
    if (kind.empty()) return Stroke::Nothing();
    const Reader json = stroke.member(kind);
    if (kind == "polygon") return polygons(json);
    if (kind == "rectangle") {
        const auto n = json.numbers(4);
        return Stroke::Rectangle{{n[0], n[1]}, {n[2], n[3]}};
    }
    if (kind == "circle") {
        const auto n = json.numbers(3);
        return Stroke::Circle{{n[0], n[1]}, n[2]};
    }
    Stroke::Places places = readPlaces(json);
    if (kind == "lasso") return Stroke::Lasso{std::move(places)};
    if (kind == "path") return Stroke::Path{std::move(places), stroke.member("radius").number()};
    if (kind == "above") return Stroke::Above{std::move(places)};
    return Stroke::Below{std::move(places)};
}

/// Empty for a limit without an outline.
std::string onlyKindOf(const Reader& stroke) {
    std::vector<std::string> given;
    std::ranges::copy_if(Kinds, std::back_inserter(given), [&](const auto& kind) { return stroke.has(kind); });
    const bool onlyLimit = given.empty() && stroke.has("limit");
    if (given.size() != 1 && !onlyLimit)
        stroke.fail(fmt::format("a stroke is one of \"{}\", or a \"limit\"; {} of them stand here",
                                fmt::join(Kinds, "\", \""), given.size()));
    const std::string kind = onlyLimit ? "" : given.front();
    if (stroke.has("radius") && kind != "path") stroke.member("radius").fail("only a \"path\" has a radius");
    for (const char* ofOutline : {"view", "depth"})
        if (onlyLimit && stroke.has(ofOutline))
            stroke.member(ofOutline).fail("only an outline is drawn in a view; a limit has \"heights\"");
    return kind;
}

Value asJson(const glm::dvec2& place) { return {place.x, place.y}; }
Value asJson(const glm::dvec3& point) { return {point.x, point.y, point.z}; }

std::string asText(const Stroke::Places& places) {
    std::string text;
    for (const glm::dvec2& p : places) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", p.x, p.y);
    return text;
}

/// Those that are the same angle to the bit when they are read again, where there are any.
double degreesOf(double radians) {
    constexpr int Nearby = 4;
    double degrees = glm::degrees(radians);
    for (int i = 0; i < Nearby; ++i) degrees = std::nextafter(degrees, 0);
    for (int i = 0; i < 2 * Nearby && glm::radians(degrees) != radians; ++i)
        degrees = std::nextafter(degrees, HUGE_VAL);
    return glm::radians(degrees) == radians ? degrees : glm::degrees(radians);
}

struct ViewAsJson {
    Value operator()(const Stroke::FromAbove&) const { return "above"; }
    Value operator()(const Stroke::Profile& p) const {
        return {{"profile", {{"from", asJson(p.from)}, {"to", asJson(p.to)}, {"width", p.width}}}};
    }
    Value operator()(const Sextant::Camera& camera) const {
        return {{"perspective",
                 {{"eye", asJson(camera.eye)},
                  {"target", asJson(camera.target)},
                  {"up", asJson(camera.up)},
                  {"fov", degreesOf(camera.verticalAngle)},
                  {"aspect", camera.aspect},
                  {"near", camera.near},
                  {"far", camera.far}}}};
    }
};

struct OutlineAsJson {
    Value operator()(const PolygonSet& polygons) const { return polygons.wkt; }
    Value operator()(const Stroke::Lasso& lasso) const { return asText(lasso.places); }
    Value operator()(const Stroke::Rectangle& r) const { return {r.corner.x, r.corner.y, r.opposite.x, r.opposite.y}; }
    Value operator()(const Stroke::Circle& c) const { return {c.middle.x, c.middle.y, c.radius}; }
    Value operator()(const Stroke::Path& path) const { return asText(path.places); }
    Value operator()(const Stroke::Above& above) const { return asText(above.line); }
    Value operator()(const Stroke::Below& below) const { return asText(below.line); }
    Value operator()(const Stroke::Nothing&) const { return nullptr; }
};

} // namespace

Stroke readStroke(const Reader& stroke, const PolygonMaker& polygons) {
    std::vector<std::string> known = Kinds;
    known.insert(known.end(), {"radius", "view", "depth", "limit"});
    stroke.expectKeys(known);
    Stroke read{readView(stroke), Stroke::Nothing(), std::nullopt};
    const bool fromAbove = std::holds_alternative<Stroke::FromAbove>(read.view);
    read.outline = readOutline(stroke, onlyKindOf(stroke), fromAbove ? polygons : plainPolygons);
    if (stroke.has("depth")) {
        const auto n = stroke.member("depth").numbers(2);
        read.depth = {n[0], n[1]};
    }
    if (stroke.has("limit")) read.limit = readLimit(stroke.member("limit"), polygons);
    return read;
}

Stroke asRecorded(Stroke stroke) {
    if (auto* camera = std::get_if<Sextant::Camera>(&stroke.view))
        camera->verticalAngle = glm::radians(degreesOf(camera->verticalAngle));
    return stroke;
}

Value strokeAsJson(const Stroke& stroke) {
    Value json = Value::object();
    if (!std::holds_alternative<Stroke::Nothing>(stroke.outline)) {
        json["view"] = std::visit(ViewAsJson(), stroke.view);
        json[kindOf(stroke.outline)] = std::visit(OutlineAsJson(), stroke.outline);
    }
    if (const auto* path = std::get_if<Stroke::Path>(&stroke.outline)) json["radius"] = path->radius;
    if (stroke.depth) json["depth"] = {(*stroke.depth)[0], (*stroke.depth)[1]};
    if (stroke.limit) json["limit"] = Value::parse(stroke.limit->text());
    return json;
}

} // namespace corvane

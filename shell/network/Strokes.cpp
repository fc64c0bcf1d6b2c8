// SPDX-License-Identifier: Apache-2.0
#include "network/Strokes.hpp"

#include "Sextant/Strokes.hpp"
#include "base/Failure.hpp"
#include "polygon/Polygons.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <glm/geometric.hpp>
#include <glm/trigonometric.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>

namespace corvane {
namespace {

using Point = Sextant::PhysicalSpace::point;
using Points = std::vector<glm::dvec2>;
using Sextant::Outline;
using Sextant::View;

/// What a stroke is drawn on: a view, and how people give places and depths in it.
struct Canvas {
    View view;
    std::function<glm::dvec2(const glm::dvec2&)> toScreen;
    std::function<double(double)> depthOf; ///< on the screen
    double bottom, top;                    ///< as far as strokes above and below a line reach
};

const std::vector<std::string> Kinds{"polygon", "lasso", "rectangle", "circle", "path", "above", "below"};

Point readPoint(const json::Reader& json) {
    const auto n = json.numbers(3);
    return {n[0], n[1], n[2]};
}

glm::dvec2 readPlace(const json::Reader& json) {
    const auto n = json.numbers(2);
    return {n[0], n[1]};
}

Canvas fromAbove(const Survey& survey) {
    const Sextant::BoundingBox box = survey.expressibleBox();
    const View view = View::fromAbove(box);
    return {view,
            [view](const glm::dvec2& p) {
                return glm::dvec2(view.project({p, 0}));
            },
            [view](double height) {
                return view.project({0, 0, height}).z;
            },
            box.minimum.y - 1, box.maximum.y + 1};
}

Canvas profile(const json::Reader& json, const Survey& survey) {
    json.expectKeys({"from", "to", "width"});
    const glm::dvec2 from = readPlace(json.member("from")), to = readPlace(json.member("to"));
    const double width = json.member("width").number();
    const Sextant::BoundingBox box = survey.expressibleBox();
    return {json.at([&] { return View::profile(from, to, width); }), [](const glm::dvec2& p) { return p; },
            [width](double across) { return across * 2 / width; }, box.minimum.z - 1, box.maximum.z + 1};
}

Canvas perspective(const json::Reader& json) {
    json.expectKeys({"eye", "target", "up", "fov", "aspect", "near", "far"});
    Sextant::Camera camera{.eye = readPoint(json.member("eye")), .target = readPoint(json.member("target"))};
    if (json.has("up")) camera.up = readPoint(json.member("up"));
    if (json.has("aspect")) camera.aspect = json.member("aspect").number();
    camera.verticalAngle = glm::radians(json.member("fov").number());
    camera.near = json.member("near").number();
    camera.far = json.member("far").number();
    const View view = json.at([&] { return View::perspective(camera); });
    const Point sight = glm::normalize(camera.target - camera.eye);
    return {view, [](const glm::dvec2& p) { return p; },
            [view, sight, eye = camera.eye](double distance) { return view.project(eye + distance * sight).z; }, -1, 1};
}

Canvas readCanvas(const json::Reader& stroke, const Survey& survey) {
    if (!stroke.has("view")) return fromAbove(survey);
    const json::Reader view = stroke.member("view");
    if (view.value() == "above") return fromAbove(survey);
    if (view.value().is_object() && view.value().size() == 1) {
        if (view.has("profile")) return profile(view.member("profile"), survey);
        if (view.has("perspective")) return perspective(view.member("perspective"));
    }
    view.fail("a view is \"above\", {\"profile\": {…}} or {\"perspective\": {…}}");
}

/// "x y, x y, …"
Points readPoints(const json::Reader& json) {
    const std::string text = json.text();
    Points points;
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
        points.emplace_back(x, number());
        skipBlanks();
    } while (next != end && *next++ == ',');
    if (next != end)
        json.fail(
            fmt::format("after {} characters a comma is expected; write \"x y, x y, …\"", next - text.data() - 1));
    return points;
}

Outline polygonOutline(const json::Reader& json) {
    std::vector<std::string> arguments;
    for (const json::Reader& one : json.oneOrMore()) arguments.push_back(one.text());
    try {
        std::vector<Points> rings;
        for (const Ring& ring : readPolygons(arguments).rings) {
            auto& points = rings.emplace_back();
            for (const PlanePoint& p : ring) points.emplace_back(p.x, p.y);
        }
        return Outline::ofRings(rings);
    } catch (const UsageError& error) {
        throw UsageError(json.place() + error.what());
    }
}

Outline lassoOutline(const json::Reader& json) {
    Points points = readPoints(json);
    if (points.size() < 3) json.fail("a lasso has three points or more");
    return Outline(std::move(points));
}

/// As it is drawn, not yet on the screen.
Outline readOutline(const json::Reader& stroke, const std::string& kind, const Canvas& canvas) {
    const json::Reader json = stroke.member(kind);
    if (kind == "polygon") return polygonOutline(json);
    if (kind == "lasso") return lassoOutline(json);
    if (kind == "rectangle") {
        const auto n = json.numbers(4);
        return Sextant::rectangleStroke({n[0], n[1]}, {n[2], n[3]});
    }
    if (kind == "circle") {
        const auto n = json.numbers(3);
        return Sextant::circleStroke({n[0], n[1]}, n[2]);
    }
    const Points points = readPoints(json);
    if (kind == "path") return Sextant::pathStroke(points, stroke.member("radius").number());
    return kind == "above" ? Sextant::aboveStroke(points, canvas.top) : Sextant::belowStroke(points, canvas.bottom);
}

std::string onlyKindOf(const json::Reader& stroke) {
    std::vector<std::string> given;
    std::ranges::copy_if(Kinds, std::back_inserter(given), [&](const auto& kind) { return stroke.has(kind); });
    if (given.size() != 1)
        stroke.fail(
            fmt::format("a stroke is one of \"{}\"; {} of them stand here", fmt::join(Kinds, "\", \""), given.size()));
    if (stroke.has("radius") && given.front() != "path") stroke.member("radius").fail("only a \"path\" has a radius");
    return given.front();
}

View limitedInDepth(const json::Reader& range, const Canvas& canvas) {
    const auto n = range.numbers(2);
    const auto [near, far] = std::minmax({canvas.depthOf(n[0]), canvas.depthOf(n[1])});
    if (!(near < far) || !std::isfinite(near) || !std::isfinite(far))
        range.fail("two different depths are expected, in front of the eye");
    return canvas.view.between(near, far);
}

} // namespace

Kesh::Brush readStroke(const json::Reader& stroke, const Survey& survey) {
    std::vector<std::string> known = Kinds;
    known.insert(known.end(), {"radius", "view", "depth"});
    stroke.expectKeys(known);
    const std::string kind = onlyKindOf(stroke);
    const Canvas canvas = readCanvas(stroke, survey);
    const Outline drawn = stroke.member(kind).at([&] { return readOutline(stroke, kind, canvas); });
    const View view = stroke.has("depth") ? limitedInDepth(stroke.member("depth"), canvas) : canvas.view;
    return {view, Sextant::mapped(drawn, canvas.toScreen)};
}

} // namespace corvane

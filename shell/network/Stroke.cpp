// SPDX-License-Identifier: Apache-2.0
#include "network/Stroke.hpp"

#include "Sextant/Strokes.hpp"
#include "base/Failure.hpp"
#include "limit/Limits.hpp"

#include <fmt/format.h>
#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <functional>

namespace corvane {
namespace {

using Sextant::Outline;
using Sextant::View;

/// What a stroke is drawn on: a view, and how people give places and depths in it.
struct Canvas {
    View view;
    std::function<glm::dvec2(const glm::dvec2&)> toScreen;
    std::function<double(double)> depthOf; ///< on the screen
    double bottom, top;                    ///< as far as strokes above and below a line reach
};

/// What the host finds unsuitable belongs to that part.
template <class Function>
auto partOfStroke(const std::string& part, Function function) {
    try {
        return function();
    } catch (const std::invalid_argument& problem) {
        throw StrokeProblem(part, problem.what());
    }
}

Canvas canvasOn(const Stroke::FromAbove&, const Sextant::BoundingBox& box) {
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

Canvas canvasOn(const Stroke::Profile& profile, const Sextant::BoundingBox& box) {
    return {View::profile(profile.from, profile.to, profile.width), [](const glm::dvec2& p) { return p; },
            [width = profile.width](double across) { return across * 2 / width; }, box.minimum.z - 1,
            box.maximum.z + 1};
}

Canvas canvasOn(const Sextant::Camera& camera, const Sextant::BoundingBox&) {
    const View view = View::perspective(camera);
    const auto sight = glm::normalize(camera.target - camera.eye);
    return {view, [](const glm::dvec2& p) { return p; },
            [view, sight, eye = camera.eye](double distance) { return view.project(eye + distance * sight).z; }, -1, 1};
}

/// As it is drawn, not yet on the screen.
struct Drawing {
    const Canvas& canvas;

    Outline operator()(const PolygonSet& polygons) const {
        Stroke::Places places, line;
        for (const Ring& ring : polygons.rings) {
            line.clear();
            for (const PlanePoint& p : ring) line.emplace_back(p.x, p.y);
            Outline::addRing(places, line);
        }
        return Outline(std::move(places));
    }
    Outline operator()(const Stroke::Lasso& lasso) const {
        if (lasso.places.size() < 3) throw std::invalid_argument("a lasso has three points or more");
        return Outline(lasso.places);
    }
    Outline operator()(const Stroke::Rectangle& r) const { return Sextant::rectangleStroke(r.corner, r.opposite); }
    Outline operator()(const Stroke::Circle& c) const { return Sextant::circleStroke(c.middle, c.radius); }
    Outline operator()(const Stroke::Path& p) const { return Sextant::pathStroke(p.places, p.radius); }
    Outline operator()(const Stroke::Above& a) const { return Sextant::aboveStroke(a.line, canvas.top); }
    Outline operator()(const Stroke::Below& b) const { return Sextant::belowStroke(b.line, canvas.bottom); }
    Outline operator()(const Stroke::Nothing&) const { return {}; }
};

View limitedInDepth(const std::array<double, 2>& depth, const Canvas& canvas) {
    const auto [near, far] = std::minmax({canvas.depthOf(depth[0]), canvas.depthOf(depth[1])});
    if (!(near < far) || !std::isfinite(near) || !std::isfinite(far))
        throw StrokeProblem("depth", "two different depths are expected, in front of the eye");
    return canvas.view.between(near, far);
}

} // namespace

std::string kindOf(const Stroke::Outline& outline) {
    static constexpr const char* Kinds[] = {"polygon", "lasso", "rectangle", "circle",
                                            "path",    "above", "below",     "limit"};
    static_assert(std::size(Kinds) == std::variant_size_v<Stroke::Outline>);
    return Kinds[outline.index()];
}

Kesh::LimitPtr limitOn(const Survey& survey, const Kesh::LimitPtr& limit) {
    return withFieldsNamed(limit, [&](const std::string& name) {
        const SurveyField& field = survey.findField(name);
        if (field.dimension != SurveyField::None) return field.name;
        throw UsageError(fmt::format("\"{}\" has no single number for a point; write X, Y or Z.", field.name));
    });
}

Kesh::Brush brushOf(const Stroke& stroke, const Survey& survey) {
    const Canvas canvas = partOfStroke("view", [&] {
        return std::visit([&](const auto& view) { return canvasOn(view, survey.expressibleBox()); }, stroke.view);
    });
    Outline drawn = partOfStroke(kindOf(stroke.outline), [&] { return std::visit(Drawing{canvas}, stroke.outline); });
    const View view = stroke.depth ? limitedInDepth(*stroke.depth, canvas) : canvas.view;
    return {view, Sextant::mapped(std::move(drawn), canvas.toScreen), limitOn(survey, stroke.limit)};
}

} // namespace corvane

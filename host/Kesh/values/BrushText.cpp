// SPDX-License-Identifier: Apache-2.0
// The text form of a brush: JSON, with the numbers as they are:
//   {"view": {"origin": [x, y, z], "matrix": [16 numbers, column by column]}, "rule": "even-odd" or "winding",
//    "outline": [[x, y], …]}
#include "Kesh/values/VValue.hpp"

#include <fmt/format.h>
#include <glm/gtc/type_ptr.hpp>
#include <glm/matrix.hpp>
#include <nlohmann/json.hpp>

#include <cmath>
#include <span>
#include <stdexcept>

namespace Kesh {
namespace {

using Json = nlohmann::ordered_json;
using Sextant::Outline;

constexpr char NoStroke[] = "no stroke";
constexpr char EvenOdd[] = "even-odd", Winding[] = "winding";

Json numbers(const double* first, std::size_t count) { return std::vector<double>(first, first + count); }

[[noreturn]] void refuse(const std::string& expected) {
    throw std::invalid_argument(fmt::format("a brush is \"{}\" or JSON: {}", NoStroke, expected));
}

void require(bool holds, const char* expected) {
    if (!holds) refuse(expected);
}

const Json& member(const Json& json, const char* key) {
    if (!json.is_object() || !json.contains(key)) refuse(fmt::format("\"{}\" is expected", key));
    return json[key];
}

void readNumbers(const Json& json, std::span<double> numbers) {
    if (!json.is_array() || json.size() != numbers.size())
        refuse(fmt::format("a list of {} numbers is expected", numbers.size()));
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        require(json[i].is_number(), "a number is expected in each list");
        numbers[i] = json[i].get<double>();
    }
}

Sextant::View readView(const Json& json) {
    require(json.is_object() && json.size() == 2, "a view is \"origin\" and \"matrix\"");
    glm::dvec3 origin;
    glm::dmat4 matrix;
    readNumbers(member(json, "origin"), {glm::value_ptr(origin), 3});
    readNumbers(member(json, "matrix"), {glm::value_ptr(matrix), 16});
    const double determinant = glm::determinant(matrix);
    require(determinant != 0 && std::isfinite(determinant), "the matrix of a view can be inverted");
    return {origin, matrix};
}

Outline::Rule readRule(const Json& json) {
    require(json == EvenOdd || json == Winding, "the rule is \"even-odd\" or \"winding\"");
    return json == EvenOdd ? Outline::Rule::EvenOdd : Outline::Rule::Winding;
}

Brush readBrush(const Json& json) {
    require(json.is_object() && json.size() == 3, "a stroke is \"view\", \"rule\" and \"outline\"");
    const Json& list = member(json, "outline");
    require(list.is_array() && !list.empty(), "the outline is a list of points");
    std::vector<glm::dvec2> points(list.size());
    for (std::size_t i = 0; i < points.size(); ++i) readNumbers(list[i], {glm::value_ptr(points[i]), 2});
    return {readView(member(json, "view")), Outline(std::move(points), readRule(member(json, "rule")))};
}

} // namespace

std::string VValueTrait<Brush>::Text(const Brush& value) {
    if (!value) return NoStroke;
    Json outline = Json::array();
    for (const glm::dvec2& p : value.outline().points()) outline.push_back({p.x, p.y});
    const Json view{{"origin", numbers(glm::value_ptr(value.view().origin()), 3)},
                    {"matrix", numbers(glm::value_ptr(value.view().matrix()), 16)}};
    const bool evenOdd = value.outline().rule() == Outline::Rule::EvenOdd;
    return Json{{"view", view}, {"rule", evenOdd ? EvenOdd : Winding}, {"outline", outline}}.dump();
}

void VValueTrait<Brush>::setValueFromText(Brush& value, const std::string& text) {
    if (text == NoStroke) {
        value = Brush();
        return;
    }
    try {
        value = readBrush(Json::parse(text));
    } catch (const Json::exception& error) { // also for numbers that are too large
        refuse(fmt::format("{}", error.what()));
    }
}

} // namespace Kesh

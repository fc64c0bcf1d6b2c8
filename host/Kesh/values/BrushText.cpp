// SPDX-License-Identifier: Apache-2.0
// The text form of a brush: JSON, with the numbers as they are:
//   {"view": {"origin": [x, y, z], "matrix": [16 numbers, column by column]}, "rule": "even-odd" or "winding",
//    "outline": [[x, y], …]}
#include "Kesh/values/VValue.hpp"
#include "json/Reader.hpp"

#include <fmt/format.h>
#include <glm/gtc/type_ptr.hpp>
#include <glm/matrix.hpp>

#include <algorithm>
#include <cmath>
#include <span>

namespace Kesh {
namespace {

using json::Value;
using Sextant::Outline;

constexpr char NoStroke[] = "no stroke";
constexpr char EvenOdd[] = "even-odd", Winding[] = "winding";

Value numbers(const double* first, std::size_t count) { return std::vector<double>(first, first + count); }

void readNumbers(const json::Reader& json, std::span<double> numbers) {
    std::ranges::copy(json.numbers(numbers.size()), numbers.begin());
}

Sextant::View readView(const json::Reader& json) {
    json.expectKeys({"origin", "matrix"});
    glm::dvec3 origin;
    glm::dmat4 matrix;
    readNumbers(json.member("origin"), {glm::value_ptr(origin), 3});
    readNumbers(json.member("matrix"), {glm::value_ptr(matrix), 16});
    const double determinant = glm::determinant(matrix);
    json.member("matrix").expect(determinant != 0 && std::isfinite(determinant), "a matrix that can be inverted");
    return {origin, matrix};
}

Outline::Rule readRule(const json::Reader& json) {
    json.expect(json.value() == EvenOdd || json.value() == Winding, "\"even-odd\" or \"winding\"");
    return json.value() == EvenOdd ? Outline::Rule::EvenOdd : Outline::Rule::Winding;
}

Brush readBrush(const json::Reader& json) {
    json.expectKeys({"view", "rule", "outline"});
    std::vector<glm::dvec2> points;
    for (const json::Reader& point : json.member("outline").elements())
        readNumbers(point, {glm::value_ptr(points.emplace_back()), 2});
    json.member("outline").expect(!points.empty(), "a list of points");
    return {readView(json.member("view")), Outline(std::move(points), readRule(json.member("rule")))};
}

} // namespace

std::string VValueTrait<Brush>::Text(const Brush& value) {
    if (!value) return NoStroke;
    Value outline = Value::array();
    for (const glm::dvec2& p : value.outline().points()) outline.push_back({p.x, p.y});
    const Value view{{"origin", numbers(glm::value_ptr(value.view().origin()), 3)},
                     {"matrix", numbers(glm::value_ptr(value.view().matrix()), 16)}};
    const bool evenOdd = value.outline().rule() == Outline::Rule::EvenOdd;
    return Value{{"view", view}, {"rule", evenOdd ? EvenOdd : Winding}, {"outline", outline}}.dump();
}

void VValueTrait<Brush>::setValueFromText(Brush& value, const std::string& text) {
    if (text == NoStroke) {
        value = Brush();
        return;
    }
    try {
        const json::Document document(text);
        value = readBrush(json::Reader(document));
    } catch (const json::Error& error) {
        throw std::invalid_argument(fmt::format("a brush is \"{}\" or JSON: {}", NoStroke, error.what()));
    }
}

} // namespace Kesh

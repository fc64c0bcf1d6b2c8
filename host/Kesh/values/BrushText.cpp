// SPDX-License-Identifier: Apache-2.0
// The text form of a brush: JSON, with the numbers as they are:
//   {"view": {"origin": [x, y, z], "matrix": [16 numbers, column by column]}, "rule": "even-odd" or "winding",
//    "outline": [[x, y], …], "limit": …}
// of which the stroke or the limit may be missing. It is written as it goes, since outlines may have millions of
// points.
#include "Kesh/values/VValue.hpp"
#include "json/Reader.hpp"

#include <fmt/format.h>
#include <glm/gtc/type_ptr.hpp>
#include <glm/matrix.hpp>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>

namespace Kesh {
namespace {

using Sextant::Outline;

constexpr char NoStroke[] = "no stroke";
constexpr char EvenOdd[] = "even-odd", Winding[] = "winding";

/// "[1.0,2.0]". A point tells JSON's readers that a number is none of the whole ones, which have no negative zero.
void writeNumbers(std::string& text, std::span<const double> numbers) {
    char separator = '[';
    for (const double number : numbers) {
        const bool looksWhole = number == std::floor(number) && std::abs(number) < 1e16;
        fmt::format_to(std::back_inserter(text), "{}{}{}", separator, number, looksWhole ? ".0" : "");
        separator = ',';
    }
    text += ']';
}

std::string strokeText(const Sextant::View& view, const Outline& outline) {
    std::string text = "\"view\":{\"origin\":";
    writeNumbers(text, {glm::value_ptr(view.origin()), 3});
    text += ",\"matrix\":";
    writeNumbers(text, {glm::value_ptr(view.matrix()), 16});
    text +=
        fmt::format("}},\"rule\":\"{}\",\"outline\":", outline.rule() == Outline::Rule::EvenOdd ? EvenOdd : Winding);
    char separator = '[';
    for (const glm::dvec2& p : outline.points()) {
        text += separator;
        writeNumbers(text, {glm::value_ptr(p), 2});
        separator = ',';
    }
    return text + "]";
}

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

Outline readOutline(const json::Reader& json) {
    std::vector<glm::dvec2> points;
    for (const json::Reader& point : json.member("outline").elements())
        readNumbers(point, {glm::value_ptr(points.emplace_back()), 2});
    json.member("outline").expect(!points.empty(), "a list of points");
    return Outline(std::move(points), readRule(json.member("rule")));
}

Brush readBrush(const json::Reader& json) {
    json.expectKeys({"view", "rule", "outline", "limit"});
    const LimitPtr limit = json.has("limit") ? Limit::read(json.member("limit")) : nullptr;
    if (limit && json.value().size() == 1) return Brush(limit);
    return {readView(json.member("view")), readOutline(json), limit};
}

} // namespace

std::string VValueTrait<Brush>::Text(const Brush& value) {
    if (!value) return NoStroke;
    std::string text = "{";
    if (value.hasStroke()) text += strokeText(value.view(), value.outline());
    if (value.limit()) text += (value.hasStroke() ? ",\"limit\":" : "\"limit\":") + value.limit()->text();
    return text + "}";
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

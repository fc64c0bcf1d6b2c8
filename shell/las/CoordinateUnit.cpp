// SPDX-License-Identifier: Apache-2.0
#include "las/CoordinateUnit.hpp"

#include "las/CrsText.hpp"

#include <algorithm>
#include <initializer_list>
#include <vector>

namespace corvane {
namespace {

/// A node of a WKT: KEYWORD["name", ...].
struct Node {
    std::string_view keyword, name, content; ///< content: what is between the brackets
};

std::string_view firstQuoted(std::string_view text) {
    const std::size_t first = text.find('"');
    const std::size_t last = first == text.npos ? first : text.find('"', first + 1);
    return last == text.npos ? std::string_view() : text.substr(first + 1, last - first - 1);
}

/// The nodes that stand side by side in a text. One that does not close is left out.
std::vector<Node> nodesIn(std::string_view text) {
    std::vector<Node> nodes;
    std::size_t depth = 0, word = 0, open = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') quoted = !quoted;
        if (quoted) continue;
        if ((c == '[' || c == '(') && depth++ == 0) open = i;
        if (c == ',' && depth == 0) word = i + 1;
        if ((c != ']' && c != ')') || depth == 0 || --depth > 0) continue;
        word = std::min(text.find_first_not_of(" \t\r\n", word), open);
        const auto content = text.substr(open + 1, i - open - 1);
        nodes.push_back({text.substr(word, open - word), firstQuoted(content), content});
    }
    return nodes;
}

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
    return std::ranges::find(words, word) != words.end();
}

/// The unit stands behind the axes, or in each of them.
std::string_view unitIn(std::string_view content) {
    std::string_view unit;
    for (const Node& node : nodesIn(content)) {
        if (isOneOf(node.keyword, {"UNIT", "LENGTHUNIT", "ANGLEUNIT"})) unit = node.name;
        if (node.keyword == "AXIS" && unit.empty()) unit = unitIn(node.content);
    }
    return unit;
}

/// Words that people and programs write for the same unit.
std::string usualUnit(std::string_view unit) {
    std::string word;
    for (const char c : unit)
        if (std::string_view(" _-()").find(c) == std::string_view::npos)
            word += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    if (isOneOf(word, {"metre", "meter", "m", "metres", "meters"})) return "metre";
    if (isOneOf(word, {"foot", "feet", "ft", "internationalfoot", "footinternational"})) return "foot";
    if (isOneOf(word, {"ussurveyfoot", "footus", "usfoot", "ussurveyfeet", "usft", "ftus", "footussurvey"}))
        return "US survey foot";
    return word == "degree" ? word : std::string(unit);
}

/// Of the text "GeoTIFF key=value …".
std::string unitOfKeys(std::string_view keys) {
    const auto holds = [&](std::string_view part) { return keys.find(part) != keys.npos; };
    if (holds(" 3076=9001")) return "metre";
    if (holds(" 3076=9002")) return "foot";
    if (holds(" 3076=9003")) return "US survey foot";
    return holds(" 2048=") && !holds(" 3072=") ? "degree" : "";
}

} // namespace

std::string coordinateUnit(std::string_view crs) {
    if (crs.starts_with("GeoTIFF ")) return unitOfKeys(crs);
    const auto system = nodesIn(horizontalPart(crs));
    return system.empty() ? "" : usualUnit(unitIn(system.front().content));
}

} // namespace corvane

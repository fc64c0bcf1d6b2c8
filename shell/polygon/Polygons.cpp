// SPDX-License-Identifier: Apache-2.0
#include "polygon/Polygons.hpp"

#include "base/Failure.hpp"
#include "base/InputFile.hpp"
#include "polygon/GeoJson.hpp"
#include "polygon/Geos.hpp"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <fmt/format.h>
#include <functional>
#include <iterator>
#include <optional>
#include <regex>
#include <string_view>

namespace corvane {
namespace {

constexpr std::uint64_t LargestFile = 64 << 20; // bytes
constexpr const char* Blanks = " \t\r\n\v\f";

std::string_view withoutLeadingBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(Blanks);
    return first == text.npos ? std::string_view() : text.substr(first);
}

/// The beginning of a text, on one line, for messages.
std::string excerpt(std::string_view text) {
    std::string begin(text.substr(0, 40));
    std::replace_if(
        begin.begin(), begin.end(), [](unsigned char c) { return c < ' ' || c > '~'; }, ' ');
    return text.size() > begin.size() ? begin + "..." : begin;
}

struct WktBeginning {
    std::string type;          ///< "POLYGON", "LINESTRING", …
    std::size_t geometryStart; ///< characters before it, "SRID=…;", are not part of the geometry
};

/// Only the first characters are looked at, which keeps the pattern matching cheap and shallow.
std::optional<WktBeginning> wktBeginning(std::string_view text) {
    static const std::regex pattern(
        R"(\s*(?:SRID\s*=\s*\d+\s*;\s*)?)"
        R"(((?:MULTI)?(?:POLYGON|POINT|LINESTRING|CURVE|SURFACE)|GEOMETRYCOLLECTION|LINEARRING|)"
        R"(CURVEPOLYGON|CIRCULARSTRING|COMPOUNDCURVE|POLYHEDRALSURFACE|TRIANGLE|TIN))"
        R"(\s*(?:ZM|Z|M)?\s*(?:\(|EMPTY))",
        std::regex::icase);
    std::cmatch match;
    const auto begin = text.substr(0, 200);
    if (!std::regex_search(begin.data(), begin.data() + begin.size(), match, pattern,
                           std::regex_constants::match_continuous))
        return std::nullopt;
    std::string type = match[1];
    std::ranges::transform(type, type.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return WktBeginning{type, static_cast<std::size_t>(match.position(1))};
}

/// Behind the parenthesis that closes the first one; the whole length when there is none.
std::size_t endOfGeometry(std::string_view text) {
    std::size_t depth = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '(') ++depth;
        if (text[i] == ')' && (depth == 0 || --depth == 0)) return i + 1;
    }
    return text.size();
}

/// Numbers have no n and neither has EMPTY, but nan and inf have.
void refuseNonFinite(std::string_view wkt) {
    const auto found = wkt.find_first_of("nN", std::min(wkt.find('('), wkt.size()));
    if (found == wkt.npos) return;
    const auto start = wkt.find_last_of("(, ", found) + 1;
    throw Failure(fmt::format("after {} characters of it found \"{}\", expected a finite number", start,
                              excerpt(wkt.substr(start))));
}

/// The geometries that stand in a text one behind the other, each without its "SRID=…;".
std::vector<std::string> splitWkt(std::string_view text) {
    std::vector<std::string> wkts;
    for (auto rest = withoutLeadingBlanks(text); !rest.empty(); rest = withoutLeadingBlanks(rest)) {
        const auto beginning = wktBeginning(rest);
        if (!beginning)
            throw Failure(fmt::format("after {} characters expected the next POLYGON or MULTIPOLYGON, found \"{}\"; "
                                      "remove what is not WKT",
                                      text.size() - rest.size(), excerpt(rest)));
        if (beginning->type != "POLYGON" && beginning->type != "MULTIPOLYGON")
            throw Failure(fmt::format("found a {}, expected POLYGON or MULTIPOLYGON; leave out what is not an area",
                                      beginning->type));
        const auto end = endOfGeometry(rest);
        refuseNonFinite(rest.substr(0, end));
        wkts.emplace_back(rest.substr(beginning->geometryStart, end - beginning->geometryStart));
        rest.remove_prefix(end);
    }
    return wkts;
}

std::string contentOf(const std::string& path) {
    const InputFile file(path);
    if (file.size() > LargestFile)
        throw Failure(
            fmt::format("{}: has {} bytes, a file of polygons may have {}; simplify its outlines or give several.",
                        path, file.size(), LargestFile));
    std::string text(file.size(), '\0');
    file.read(0, std::as_writable_bytes(std::span(text)));
    return text.starts_with("\xEF\xBB\xBF") ? text.substr(3) : text; // a byte order mark
}

std::vector<std::string> wktOfFile(std::string_view content) {
    const auto text = withoutLeadingBlanks(content);
    if (text.starts_with('{')) return wktOfGeoJson(text);
    if (wktBeginning(text)) return splitWkt(text);
    throw Failure(fmt::format("begins with \"{}\", expected WKT (POLYGON or MULTIPOLYGON) or GeoJSON", excerpt(text)));
}

bool isMissing(const std::string& path) {
    std::error_code error;
    const auto type = std::filesystem::status(path, error).type();
    return type == std::filesystem::file_type::not_found || error == std::errc::filename_too_long;
}

std::vector<Geometry> polygonsOf(Geos& geos, const std::string& argument) {
    const bool isWkt = wktBeginning(withoutLeadingBlanks(argument)).has_value();
    if (!isWkt && isMissing(argument))
        throw UsageError(
            fmt::format("\"{}\" is neither WKT nor the name of a file that exists; expected a text such as "
                        "\"POLYGON((0 0, 9 0, 9 9))\" or a file with WKT or GeoJSON.",
                        excerpt(argument)));
    const auto content = isWkt ? argument : contentOf(argument);
    std::vector<Geometry> polygons;
    try {
        for (const auto& wkt : isWkt ? splitWkt(content) : wktOfFile(content))
            std::ranges::move(geos.readPolygons(wkt), std::back_inserter(polygons));
        if (polygons.empty()) throw Failure("holds no polygon with an area, expected at least one");
    } catch (const Failure& failure) {
        throw Failure(fmt::format("{}: {}.", isWkt ? excerpt(argument) : argument, failure.what()));
    }
    return polygons;
}

void setBounds(PolygonSet& polygons) {
    polygons.minimum = polygons.maximum = polygons.rings.front().front();
    for (const auto& ring : polygons.rings)
        for (const auto [x, y] : ring) {
            polygons.minimum = {std::min(polygons.minimum.x, x), std::min(polygons.minimum.y, y)};
            polygons.maximum = {std::max(polygons.maximum.x, x), std::max(polygons.maximum.y, y)};
        }
}

/// "(x y,…,x y)", with the first point again at the end.
std::string wktOf(const Ring& ring) {
    std::string text;
    for (const auto [x, y] : ring) text += fmt::format("{}{} {}", text.empty() ? "(" : ",", x, y);
    return text + fmt::format(",{} {})", ring.front().x, ring.front().y);
}

std::string wktOf(const std::vector<Ring>& rings) {
    std::string text;
    for (const Ring& ring : rings) text.append(text.empty() ? "(" : ",").append(wktOf(ring));
    return text + ")";
}

/// The polygons, each with its shell before its holes.
std::string wktOf(const std::vector<std::vector<Ring>>& polygons) {
    if (polygons.size() == 1) return "POLYGON " + wktOf(polygons.front());
    std::string text;
    for (const auto& rings : polygons) text.append(text.empty() ? "(" : ",").append(wktOf(rings));
    return "MULTIPOLYGON " + text + ")";
}

/// Rings begin at their least points, and stand in the order of these; the shell stays before the holes.
void putInOrder(std::vector<std::vector<Ring>>& polygons) {
    for (auto& rings : polygons) {
        for (Ring& ring : rings) std::ranges::rotate(ring, std::ranges::min_element(ring, std::less<>()));
        std::sort(rings.begin() + 1, rings.end());
    }
    std::sort(polygons.begin(), polygons.end());
}

bool couldBeDegrees(PlanePoint minimum, PlanePoint maximum) {
    return minimum.x >= -180 && maximum.x <= 180 && minimum.y >= -90 && maximum.y <= 90;
}

bool misses(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum) {
    return polygons.maximum.x < surveyMinimum.x || polygons.minimum.x > surveyMaximum.x ||
           polygons.maximum.y < surveyMinimum.y || polygons.minimum.y > surveyMaximum.y;
}

} // namespace

PolygonSet readPolygons(std::span<const std::string> arguments) {
    if (arguments.empty()) throw UsageError("No polygon was given; expected WKT or the name of a file.");
    Geos geos;
    std::vector<Geometry> polygons;
    for (const auto& argument : arguments) std::ranges::move(polygonsOf(geos, argument), std::back_inserter(polygons));
    try {
        const Geometry all = geos.unite(std::move(polygons));
        auto parts = geos.ringsOf(all);
        if (parts.empty()) throw Failure("nothing is left of them");
        putInOrder(parts);
        PolygonSet result{.rings = {}, .minimum = {}, .maximum = {}, .wkt = wktOf(parts)};
        for (auto& rings : parts) std::ranges::move(rings, std::back_inserter(result.rings));
        setBounds(result);
        return result;
    } catch (const Failure& failure) {
        throw Failure(fmt::format("The polygons cannot be united: {}; give them one by one.", failure.what()));
    }
}

PolygonSet readPolygons(const json::Reader& json) {
    std::vector<std::string> arguments;
    for (const json::Reader& one : json.oneOrMore()) arguments.push_back(one.text());
    return readPolygons(arguments);
}

bool lookLikeDegrees(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum) {
    return misses(polygons, surveyMinimum, surveyMaximum) && couldBeDegrees(polygons.minimum, polygons.maximum) &&
           !couldBeDegrees(surveyMinimum, surveyMaximum);
}

std::string describeMiss(const PolygonSet& polygons, PlanePoint surveyMinimum, PlanePoint surveyMaximum) {
    if (!misses(polygons, surveyMinimum, surveyMaximum)) return {};
    const auto &low = polygons.minimum, &high = polygons.maximum;
    const bool degrees = lookLikeDegrees(polygons, surveyMinimum, surveyMaximum);
    return fmt::format(
        "The polygons miss the survey: they lie in x {} to {}, y {} to {}, the survey in x {} to {}, y {} to "
        "{}; {}.",
        low.x, high.x, low.y, high.y, surveyMinimum.x, surveyMaximum.x, surveyMinimum.y, surveyMaximum.y,
        degrees ? "they look like degrees, so transform them to the coordinates of the survey"
                : "check that both have the same coordinate reference system");
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "polygon/WktText.hpp"

#include "base/Failure.hpp"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <optional>
#include <regex>

namespace corvane {
namespace {

constexpr const char* Blanks = " \t\r\n\v\f";

struct WktBeginning {
    std::string type;          ///< "POLYGON", "LINESTRING", …
    std::string srid;          ///< the number's digits, if there is one
    std::size_t geometryStart; ///< characters before it, "SRID=…;", are not part of the geometry
};

/// Only the first characters are looked at, which keeps the pattern matching cheap and shallow.
std::optional<WktBeginning> wktBeginning(std::string_view text) {
    static const std::regex pattern(
        R"(\s*(?:SRID\s*=\s*(\d+)\s*;\s*)?)"
        R"(((?:MULTI)?(?:POLYGON|POINT|LINESTRING|CURVE|SURFACE)|GEOMETRYCOLLECTION|LINEARRING|)"
        R"(CURVEPOLYGON|CIRCULARSTRING|COMPOUNDCURVE|POLYHEDRALSURFACE|TRIANGLE|TIN))"
        R"(\s*(?:ZM|Z|M)?\s*(?:\(|EMPTY))",
        std::regex::icase);
    std::cmatch match;
    const auto begin = text.substr(0, 200);
    if (!std::regex_search(begin.data(), begin.data() + begin.size(), match, pattern,
                           std::regex_constants::match_continuous))
        return std::nullopt;
    std::string type = match[2];
    std::ranges::transform(type, type.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    std::string srid = match[1];
    srid.erase(0, std::min(srid.find_first_not_of('0'), srid.size()));
    return WktBeginning{type, srid, static_cast<std::size_t>(match.position(2))};
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

} // namespace

std::string_view withoutLeadingBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(Blanks);
    return first == text.npos ? std::string_view() : text.substr(first);
}

std::string excerpt(std::string_view text) {
    std::string begin(text.substr(0, 40));
    std::replace_if(
        begin.begin(), begin.end(), [](unsigned char c) { return c < ' ' || c > '~'; }, ' ');
    return text.size() > begin.size() ? begin + "..." : begin;
}

bool beginsLikeWkt(std::string_view text) { return wktBeginning(withoutLeadingBlanks(text)).has_value(); }

std::vector<WktGeometry> splitWkt(std::string_view text) {
    std::vector<WktGeometry> wkts;
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
        wkts.push_back(
            {std::string(rest.substr(beginning->geometryStart, end - beginning->geometryStart)), beginning->srid});
        rest.remove_prefix(end);
    }
    return wkts;
}

} // namespace corvane

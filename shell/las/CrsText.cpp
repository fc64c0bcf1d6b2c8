// SPDX-License-Identifier: Apache-2.0
#include "las/CrsText.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <fmt/format.h>
#include <optional>

namespace corvane {
namespace {

/// A keyword of WKT that stands at `at`, without regard to case, and is not the end of a longer one.
bool keywordAt(std::string_view wkt, std::size_t at, std::string_view keyword) {
    if (at > 0 && std::isalnum(static_cast<unsigned char>(wkt[at - 1]))) return false;
    const auto found = wkt.substr(at, keyword.size());
    return std::ranges::equal(found, keyword, [](unsigned char a, unsigned char b) { return std::toupper(a) == b; });
}

/// Calls the function with the place and depth of every character outside quotes. It returns whether to go on.
template <class Function>
void walk(std::string_view wkt, Function function) {
    bool quoted = false;
    int depth = 0;
    for (std::size_t i = 0; i < wkt.size(); ++i) {
        if (wkt[i] == '"') quoted = !quoted;
        if (quoted) continue;
        if (wkt[i] == ']' || wkt[i] == ')') --depth;
        if (!function(i, depth)) return;
        if (wkt[i] == '[' || wkt[i] == '(') ++depth;
    }
}

/// Behind the bracket that closes the node which begins the text; 0 when there is none.
std::size_t endOfNode(std::string_view wkt) {
    std::size_t end = 0;
    walk(wkt, [&](std::size_t i, int depth) {
        if (wkt[i] == ']' || wkt[i] == ')') end = depth <= 0 ? i + 1 : 0;
        return end == 0;
    });
    return end;
}

std::string_view firstQuoted(std::string_view text) {
    const auto begin = text.find('"');
    if (begin == text.npos) return {};
    const auto end = text.find('"', begin + 1);
    return end == text.npos ? std::string_view() : text.substr(begin + 1, end - begin - 1);
}

/// The digits of AUTHORITY["EPSG","25832"] or ID["EPSG",25832], with which the text begins.
std::string epsgOf(std::string_view node) {
    node = node.substr(0, endOfNode(node));
    if (firstQuoted(node) != "EPSG") return {};
    std::string digits;
    for (const char c : node.substr(std::min(node.find(','), node.size())))
        if (c >= '0' && c <= '9') digits += c;
    return digits;
}

CrsLabel labelOfWkt(std::string_view wkt) {
    const auto node = horizontalPart(wkt);
    CrsLabel label{std::string(firstQuoted(node)), ""};
    walk(node, [&](std::size_t i, int depth) {
        if (depth != 1 || !(keywordAt(node, i, "AUTHORITY[") || keywordAt(node, i, "ID["))) return true;
        if (const auto code = epsgOf(node.substr(i)); !code.empty()) label.code = "EPSG:" + code;
        return true;
    });
    return label;
}

/// The value of a key of the text "GeoTIFF 1024=1 1026="a name" …"; keys stand outside quotes.
std::optional<std::string_view> valueOfKey(std::string_view keys, std::string_view key) {
    const std::string wanted = fmt::format(" {}=", key);
    std::optional<std::string_view> value;
    walk(keys, [&](std::size_t i, int) {
        if (!keys.substr(i).starts_with(wanted)) return true;
        value = keys.substr(i + wanted.size());
        return false;
    });
    if (!value) return value;
    return value->starts_with('"') ? firstQuoted(*value) : value->substr(0, value->find(' '));
}

/// A code of EPSG; none for keys that are not there and for what users define themselves.
std::string codeOfKey(std::string_view keys, std::string_view key) {
    constexpr int OwnSystem = 32767;
    const auto text = valueOfKey(keys, key).value_or("");
    int code = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), code);
    return error == std::errc() && code > 0 && code != OwnSystem ? fmt::format("EPSG:{}", code) : "";
}

/// A projected system is as its code says only when no other unit is given with it than metres.
CrsLabel labelOfKeys(std::string_view keys) {
    constexpr std::string_view Geographic = "2048", GeographicName = "2049", Projected = "3072", ProjectedName = "3073",
                               Name = "1026", LinearUnit = "3076", Metre = "9001";
    const bool projected = valueOfKey(keys, Projected).has_value();
    CrsLabel label;
    for (const auto key : {projected ? ProjectedName : GeographicName, Name})
        if (label.name.empty()) label.name = valueOfKey(keys, key).value_or("");
    if (!projected || valueOfKey(keys, LinearUnit).value_or(Metre) == Metre)
        label.code = codeOfKey(keys, projected ? Projected : Geographic);
    return label;
}

} // namespace

std::string CrsLabel::text() const {
    if (name.empty() || code.empty()) return name + code;
    return fmt::format("{} ({})", name, code);
}

std::string_view horizontalPart(std::string_view wkt) {
    static constexpr std::array Systems{"PROJCS[", "PROJCRS[", "PROJECTEDCRS[", "GEOGCS[", "GEOGCRS[", "GEODCRS["};
    std::string_view part;
    walk(wkt, [&](std::size_t i, int) {
        if (std::ranges::any_of(Systems, [&](const char* system) { return keywordAt(wkt, i, system); }))
            part = wkt.substr(i, endOfNode(wkt.substr(i)));
        return part.empty();
    });
    return part;
}

CrsLabel crsLabel(std::string_view crs) { return crs.starts_with("GeoTIFF ") ? labelOfKeys(crs) : labelOfWkt(crs); }

} // namespace corvane

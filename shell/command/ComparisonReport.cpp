// SPDX-License-Identifier: Apache-2.0
#include "command/ComparisonReport.hpp"

#include "base/Text.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace corvane {
namespace {

using Row = std::vector<std::string>;

/// Columns as wide as their longest text; those with an 'r' in `alignment` right-aligned. Nothing without a row below
/// the headings.
void printTable(const std::vector<Row>& rows, const std::string& alignment) {
    if (rows.size() < 2) return;
    fmt::print("\n");
    std::vector<std::size_t> widths(alignment.size());
    for (const Row& row : rows)
        for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < widths.size(); ++i)
            line += alignment[i] == 'r' ? fmt::format("{:>{}}  ", row[i], widths[i])
                                        : fmt::format("{:<{}}  ", row[i], widths[i]);
        fmt::print("{}\n", line.substr(0, line.find_last_not_of(' ') + 1));
    }
}

void printSurvey(const char* which, const LasFile& las) {
    fmt::print("{:<7} {}: {} points, LAS {}, point format {}\n", which, escaped(las.file->path()),
               las.header.pointCount, las.header.version(), las.header.pointFormat);
}

void printTransitions(const std::string& field, const Transitions& transitions) {
    const std::uint64_t unchanged = transitions.unchanged(), points = transitions.points();
    fmt::print("{}: {} points unchanged, {} changed\n", field, unchanged, points - unchanged);
    if (unchanged == points) return;
    fmt::print("{:>7} {:>7} {:>13}\n", "from", "to", "points");
    for (const auto& [values, count] : transitions.counts)
        if (values.first != values.second) fmt::print("{:>7} {:>7} {:>13}\n", values.first, values.second, count);
    if (transitions.uncounted > 0) fmt::print("{:>7} {:>7} {:>13}\n", "others", "", transitions.uncounted);
}

/// What is known of points that stand in different orders, or that are not the same.
void printIdentity(const SurveyComparison& comparison) {
    const IdentityMatch& match = *comparison.identity;
    const auto without = [](std::uint64_t points, const char* what) {
        if (points > 0) fmt::print(", {} {}", points, what);
    };
    fmt::print("{} points found in both by position and time", match.matched);
    without(match.alike, "not told apart");
    without(match.onlyBefore, "only in BEFORE");
    without(match.onlyAfter, "only in AFTER");
    fmt::print("\n");
    printTransitions(comparison.field, match.transitions);
    std::map<std::uint16_t, std::array<std::uint64_t, 2>> totals;
    for (const auto& [value, count] : match.before) totals[value][0] = count;
    for (const auto& [value, count] : match.after) totals[value][1] = count;
    std::vector<Row> rows{{comparison.field, "before", "after"}};
    for (const auto& [value, counts] : totals)
        rows.push_back({std::to_string(value), std::to_string(counts[0]), std::to_string(counts[1])});
    printTable(rows, "rrr");
}

void printHeader(const std::vector<HeaderDifference>& differences) {
    std::vector<Row> rows{{"header", "before", "after"}};
    for (const HeaderDifference& field : differences)
        rows.push_back({field.name, field.before.value_or("(none)"), field.after.value_or("(none)")});
    printTable(rows, "lll");
}

void printParts(const std::vector<PartDifference>& differences) {
    std::vector<Row> rows{{"kind", "record", "difference"}};
    for (const PartDifference& part : differences) rows.push_back({part.kind, part.name, part.what});
    printTable(rows, "lll");
}

void printDimensions(const SurveyComparison& comparison) {
    std::vector<Row> rows{{"dimension", "points", "first", "before", "after"}};
    for (const DimensionDifference& dimension : comparison.dimensions)
        rows.push_back({dimension.name, std::to_string(dimension.points), std::to_string(dimension.first),
                        dimension.before, dimension.after});
    printTable(rows, "lrrrr");
    if (!comparison.onlyBefore.empty())
        fmt::print("\ndimensions only in BEFORE: {}\n", fmt::join(comparison.onlyBefore, ", "));
    if (!comparison.onlyAfter.empty())
        fmt::print("\ndimensions only in AFTER: {}\n", fmt::join(comparison.onlyAfter, ", "));
}

/// A number as such, unless JSON has none like it (nan, inf).
Json valueOf(const std::string& text) {
    Json number = Json::parse(text, nullptr, false);
    return number.is_number() ? number : Json(text);
}

Json textOrNull(const std::optional<std::string>& text) { return text ? Json(*text) : Json(); }

const char* nameOf(PointMatching::Kind kind) {
    switch (kind) {
    case PointMatching::Kind::ByIndex:
        return "byIndex";
    case PointMatching::Kind::Dropped:
        return "dropped";
    case PointMatching::Kind::Added:
        return "added";
    case PointMatching::Kind::Reordered:
        return "reordered";
    case PointMatching::Kind::Unknown:
        break;
    }
    return "unknown";
}

Json describe(const LasFile& las) {
    return {{"file", escaped(las.file->path())},
            {"points", las.header.pointCount},
            {"version", las.header.version()},
            {"pointFormat", las.header.pointFormat}};
}

Json describe(const PointMatching& matching) {
    Json json{{"kind", nameOf(matching.kind)}, {"missing", matching.missing}};
    if (matching.kind == PointMatching::Kind::Dropped || matching.kind == PointMatching::Kind::Added)
        json["first"] = matching.firstMissing;
    return json;
}

void addTransitions(Json& json, const Transitions& transitions) {
    json["transitions"] = Json::array();
    for (const auto& [values, count] : transitions.counts)
        json["transitions"].push_back({{"from", values.first}, {"to", values.second}, {"points", count}});
    json["unchanged"] = transitions.unchanged();
    json["uncounted"] = transitions.uncounted;
}

/// What is known when they cannot be compared in their order.
void addIdentity(Json& json, const IdentityMatch& match) {
    addTransitions(json, match.transitions);
    json["matched"] = match.matched;
    json["notToldApart"] = match.alike;
    json["pointsOnlyBefore"] = match.onlyBefore;
    json["pointsOnlyAfter"] = match.onlyAfter;
    for (const auto& [name, counts] :
         {std::pair("countsBefore", &match.before), std::pair("countsAfter", &match.after)}) {
        json[name] = Json::object();
        for (const auto& [value, count] : *counts) json[name][std::to_string(value)] = count;
    }
}

/// What is known when the points can be compared one by one.
void addPoints(Json& json, const SurveyComparison& comparison) {
    addTransitions(json, comparison.transitions);
    json["dimensions"] = Json::array();
    for (const DimensionDifference& dimension : comparison.dimensions)
        json["dimensions"].push_back({{"name", dimension.name},
                                      {"points", dimension.points},
                                      {"first", dimension.first},
                                      {"before", valueOf(dimension.before)},
                                      {"after", valueOf(dimension.after)}});
}

} // namespace

Json describe(const SurveyComparison& comparison, const LasFile& before, const LasFile& after) {
    Json header = Json::array(), records = Json::array();
    for (const HeaderDifference& field : comparison.header)
        header.push_back(
            {{"name", field.name}, {"before", textOrNull(field.before)}, {"after", textOrNull(field.after)}});
    for (const PartDifference& part : comparison.parts)
        records.push_back({{"kind", part.kind}, {"name", part.name}, {"difference", part.what}});
    Json json{{"before", describe(before)},
              {"after", describe(after)},
              {"differing", comparison.differing()},
              {"field", comparison.field},
              {"header", header},
              {"records", records},
              {"onlyBefore", comparison.onlyBefore},
              {"onlyAfter", comparison.onlyAfter},
              {"points", describe(comparison.matching)},
              {"culprits", culprits(comparison)}};
    if (comparison.matching.comparable()) addPoints(json, comparison);
    if (comparison.identity) addIdentity(json, *comparison.identity);
    return json;
}

void print(const SurveyComparison& comparison, const LasFile& before, const LasFile& after) {
    printSurvey("before", before);
    printSurvey("after", after);
    if (comparison.differing().empty()) return fmt::print("They are the same.\n");
    if (comparison.matching.comparable()) printTransitions(comparison.field, comparison.transitions);
    if (comparison.identity) printIdentity(comparison);
    printDimensions(comparison);
    printHeader(comparison.header);
    printParts(comparison.parts);
    for (const std::string& sentence : culprits(comparison)) fmt::print("\n{}\n", sentence);
}

Json describe(const std::string& field, const Transitions& transitions, std::size_t pairs, std::size_t same,
              const std::vector<std::string>& alone) {
    Json json{{"files", pairs}, {"same", same}, {"field", field}, {"alone", alone}};
    addTransitions(json, transitions);
    return json;
}

void printSums(const std::string& field, const Transitions& transitions, std::size_t pairs, std::size_t same) {
    fmt::print("{} pairs of files, {} the same\n", pairs, same);
    printTransitions(field, transitions);
}

} // namespace corvane

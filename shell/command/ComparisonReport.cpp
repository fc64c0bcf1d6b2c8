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

void printTransitions(const SurveyComparison& comparison, std::uint64_t points) {
    const Transitions& transitions = comparison.transitions;
    const std::uint64_t unchanged = transitions.unchanged();
    fmt::print("{}: {} points unchanged, {} changed\n", comparison.field, unchanged, points - unchanged);
    if (unchanged == points) return;
    fmt::print("{:>7} {:>7} {:>13}\n", "from", "to", "points");
    for (const auto& [values, count] : transitions.counts)
        if (values.first != values.second) fmt::print("{:>7} {:>7} {:>13}\n", values.first, values.second, count);
    if (transitions.uncounted > 0) fmt::print("{:>7} {:>7} {:>13}\n", "others", "", transitions.uncounted);
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

/// What is known when the points can be compared one by one.
void addPoints(Json& json, const SurveyComparison& comparison) {
    json["transitions"] = Json::array();
    for (const auto& [values, count] : comparison.transitions.counts)
        json["transitions"].push_back({{"from", values.first}, {"to", values.second}, {"points", count}});
    json["unchanged"] = comparison.transitions.unchanged();
    json["uncounted"] = comparison.transitions.uncounted;
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
    return json;
}

void print(const SurveyComparison& comparison, const LasFile& before, const LasFile& after) {
    printSurvey("before", before);
    printSurvey("after", after);
    if (comparison.differing().empty()) return fmt::print("They are the same.\n");
    if (comparison.matching.comparable())
        printTransitions(comparison, std::min(before.header.pointCount, after.header.pointCount));
    printDimensions(comparison);
    printHeader(comparison.header);
    printParts(comparison.parts);
    for (const std::string& sentence : culprits(comparison)) fmt::print("\n{}\n", sentence);
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
#include "check/SurveyComparison.hpp"

#include "check/PointIdentity.hpp"

#include <algorithm>

namespace corvane {
namespace {

constexpr char PointsName[] = "Points"; // that were dropped or added while the others can be compared

std::string nameOf(PointMatching::Kind kind) {
    switch (kind) {
    case PointMatching::Kind::ByIndex:
        return "";
    case PointMatching::Kind::Reordered:
        return "PointOrder";
    case PointMatching::Kind::Unknown:
        return "UnmatchedPoints";
    default:
        return PointsName;
    }
}

bool identityDiffers(const std::vector<DimensionDifference>& differences) {
    return std::ranges::any_of(differences, &PointIdentity::uses, &DimensionDifference::name);
}

void addOnce(std::vector<std::string>& names, const std::string& name) {
    if (std::ranges::find(names, name) == names.end()) names.push_back(name);
}

} // namespace

SurveyComparison compareSurveys(const LasFile& before, const LasFile& after, const std::string& field,
                                const Watch& watch) {
    SurveyComparison result;
    PointComparison points(before, after, field);
    result.field = points.field();
    result.onlyBefore = points.onlyBefore();
    result.onlyAfter = points.onlyAfter();
    result.header = compareHeaders(before, after);
    result.parts = compareParts(before, after, watch);
    result.matching = matchPoints(before, after, watch, [&](const RecordPairs& pairs) { points.compare(pairs); });
    std::vector<DimensionDifference> differences = points.differences();
    if (result.matching.kind == PointMatching::Kind::ByIndex && identityDiffers(differences) &&
        samePoints(before, after, watch))
        result.matching.kind = PointMatching::Kind::Reordered;
    if (!result.matching.comparable()) return result;
    result.dimensions = std::move(differences);
    result.transitions = points.transitions();
    result.clearedFlags = points.clearedFlags();
    return result;
}

std::vector<std::string> SurveyComparison::differing() const {
    std::vector<std::string> names;
    if (matching.kind != PointMatching::Kind::ByIndex) names.push_back(nameOf(matching.kind));
    for (const DimensionDifference& dimension : dimensions) addOnce(names, dimension.name);
    for (const auto* only : {&onlyBefore, &onlyAfter})
        for (const std::string& name : *only) addOnce(names, name);
    for (const HeaderDifference& difference : header) addOnce(names, difference.name);
    for (const PartDifference& part : parts) addOnce(names, part.name);
    return names;
}

std::vector<std::string> permissibleNames(const LasFile& before, const LasFile& after) {
    std::vector<std::string> names{PointsName};
    for (const LasFile* las : {&before, &after})
        for (const Dimension& dimension : allDimensions(*las)) names.push_back(dimension.name);
    for (const std::string& name : partNames(before, after)) names.push_back(name);
    std::ranges::sort(names);
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

} // namespace corvane

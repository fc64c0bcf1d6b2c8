// SPDX-License-Identifier: Apache-2.0
#include "check/SurveyComparison.hpp"

#include "base/Failure.hpp"
#include "check/PointIdentity.hpp"
#include "check/RecordColumns.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <fmt/format.h>

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

/// Where the field changed.
class ChangeFinder {
public:
    ChangeFinder(const LasFile& before, const PointComparison& points, ChangeClusters& clusters)
        : header_(before.header), before_(points.fieldBefore()), after_(points.fieldAfter()), clusters_(clusters) {}

    void look(const RecordPairs& pairs) {
        was_.resize(pairs.count), is_.resize(pairs.count);
        decodeNumbers(pairs.before, pairs.strideBefore, before_, std::span(was_));
        decodeNumbers(pairs.after, pairs.strideAfter, after_, std::span(is_));
        for (std::size_t i = 0; i < pairs.count; ++i) {
            if (was_[i] == is_[i]) continue;
            std::array<double, 3> position{};
            for (std::size_t axis = 0; axis < 3; ++axis)
                position[axis] =
                    codec::integerAt(pairs.before.data() + i * pairs.strideBefore + 4 * axis) * header_.scale[axis] +
                    header_.offset[axis];
            clusters_.add(position, {static_cast<std::uint16_t>(was_[i]), static_cast<std::uint16_t>(is_[i])});
        }
    }

private:
    const LasHeader& header_;
    Dimension before_, after_;
    ChangeClusters& clusters_;
    std::vector<double> was_, is_;
};

RecordPairs partOf(const RecordPairs& pairs, std::size_t first, std::size_t count) {
    return {pairs.before.subspan(first * pairs.strideBefore, count * pairs.strideBefore),
            pairs.after.subspan(first * pairs.strideAfter, count * pairs.strideAfter),
            pairs.strideBefore,
            pairs.strideAfter,
            count,
            pairs.first + first};
}

void addOnce(std::vector<std::string>& names, const std::string& name) {
    if (std::ranges::find(names, name) == names.end()) names.push_back(name);
}

} // namespace

SurveyComparison compareSurveys(const LasFile& before, const LasFile& after, const std::string& field,
                                const Watch& watch, const ComparisonOptions& options) {
    SurveyComparison result;
    PointComparison points(before, after, field);
    result.field = points.field();
    result.onlyBefore = points.onlyBefore();
    result.onlyAfter = points.onlyAfter();
    result.header = compareHeaders(before, after);
    result.parts = compareParts(before, after, watch);
    ChangeClusters clusters(before, options.clusterSide);
    ChangeFinder changes(before, points, clusters);
    const auto compare = [&](const RecordPairs& pairs) {
        points.compare(pairs);
        if (options.clusters) changes.look(pairs);
    };
    RecordColumns columns(before, options.limit, {});
    result.matching = matchPoints(before, after, watch, [&](const RecordPairs& pairs) {
        if (!options.limit) return compare(pairs);
        columns.take(pairs.before);
        columns.forRuns([&](std::size_t first, std::size_t count) { compare(partOf(pairs, first, count)); });
    });
    std::vector<DimensionDifference> differences = points.differences();
    if (result.matching.kind == PointMatching::Kind::ByIndex && identityDiffers(differences) &&
        samePoints(before, after, watch))
        result.matching.kind = PointMatching::Kind::Reordered;
    if (result.matching.comparable()) {
        result.dimensions = std::move(differences);
        result.transitions = points.transitions();
        result.clearedFlags = points.clearedFlags();
    } else if (options.limit) {
        throw Failure(fmt::format("{}: its points do not stand in the order of {}, so limits cannot choose among them; "
                                  "compare all of them.",
                                  after.file->path(), before.file->path()));
    } else {
        clusters = ChangeClusters(before, options.clusterSide);
        result.identity = matchByIdentity(before, points.fieldBefore(), after, points.fieldAfter(), options.memory,
                                          watch, options.clusters ? &clusters : nullptr);
    }
    result.clusters = clusters.clusters();
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

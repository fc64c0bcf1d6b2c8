// SPDX-License-Identifier: Apache-2.0
// The table of the rules, and what they look at.
#include "check/Lint.hpp"

#include "base/Text.hpp"
#include "check/LintRules.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace corvane::rule {

Example exampleAt(const LasFile& las, std::uint64_t index) {
    std::vector<std::byte> record(las.points->recordLength());
    las.points->read(index, record);
    Sextant::PhysicalSpace::point position;
    decodePositions(record, record.size(), las.header, std::span(&position, 1));
    std::uint8_t value = 0;
    decodeBits(record, record.size(), *las.find(ClassificationName), std::span(&value, 1));
    return {index, {position.x, position.y, position.z}, value};
}

void report(Findings& findings, const Evidence& evidence, const Occurrence& points, const std::string& text,
            PointTest test) {
    if (points.count > 0)
        findings.push_back({"", text, points.count, exampleAt(evidence.las, points.first), std::move(test)});
}

} // namespace corvane::rule

namespace corvane {
namespace {

struct Rule {
    RuleName name;
    rule::Findings (*check)(const rule::Evidence&);
    bool ofAllPoints = false; ///< compares them with the header
};

using rule::Evidence;

constexpr Rule Rules[] = {
    {{"squeezed-class", "a class above 31 may have been squeezed into the five bits of point formats 0 to 5"},
     rule::squeezed},
    {{"keypoint-class", "class 8 where the key-point flag is meant (point formats 6 to 10)"}, rule::keyPointClass},
    {{"overlap-class", "class 12 where the overlap flag is meant (point formats 6 to 10)"}, rule::overlapClass},
    {{"reserved-class", "a class that the table of the point format reserves"}, rule::reservedClasses},
    {{"withheld-ground", "ground with the withheld flag"}, rule::withheldGround},
    {{"noise-in-ground", "noise at the heights of ground, whose lowest and highest 1 % are left aside"},
     rule::noiseInGround},
    {{"header-counts", "points by return are not as the header says"}, rule::headerCounts, true},
    {{"return-number", "points with the return number 0"}, rule::returnNumbers},
    {{"legacy-counts", "the older counts of a header from 1.4 on are neither zero nor right"},
     rule::legacyCounts,
     true},
    {{"header-bounds", "the points' bounds are not as the header says, by more than a unit of the scale"},
     rule::headerBounds,
     true},
    {{"wkt-bit-missing", "a WKT record, or a point format that asks for one, without the bit that says so"},
     rule::wktBitMissing},
    {{"chunk-table", "the table of the chunks of a compressed file is missing or wrong"}, rule::chunkTable},
    {{"copc-records", "records of a COPC that do not fit the chunks"}, rule::copcRecords},
    {{"copc-nodes", "points of a COPC outside their node"}, rule::copcNodes},
    {{"wkt-record-missing", "the bit for WKT without a WKT record"}, rule::wktRecordMissing}};

std::vector<std::string> notesOn(const Evidence& evidence) {
    Occurrence topoBathymetric;
    for (int value = 0; value <= rule::LargestClass; ++value)
        if (rule::isTopoBathymetric(value)) topoBathymetric += evidence.points.of(value);
    if (topoBathymetric.count == 0) return {};
    return {
        fmt::format("{} with a class from 40 to 45: taken as that of the topo-bathymetric profile, not as reserved.",
                    pointsText(topoBathymetric.count))};
}

Evidence gather(const LasFile& las, const std::optional<Kesh::LabelSet>& names, const LintOptions& options,
                const Watch& watch) {
    const Kesh::LimitPtr& limit = options.limit;
    Evidence evidence{las, names, options.contract, tallyPoints(las, watch, limit), {}, {}, {}};
    evidence.ground = evidence.points.ground.middle();
    const std::vector<int> noise = rule::noiseClasses(las);
    const bool noisy = std::ranges::any_of(noise, [&](int value) { return evidence.points.of(value).count > 0; });
    if (evidence.ground && noisy) evidence.noiseInGround = countInRange(las, noise, *evidence.ground, watch, limit);
    if (las.copc) evidence.outsideNodes = countOutsideNodes(las, watch, limit);
    return evidence;
}

} // namespace

std::vector<RuleName> lintRules() {
    std::vector<RuleName> names;
    for (const Rule& rule : Rules) names.push_back(rule.name);
    for (const RuleName& name : contractRules()) names.push_back(name);
    return names;
}

LintReport lint(const LasFile& las, const std::optional<Kesh::LabelSet>& names, const Watch& watch,
                const LintOptions& options) {
    const Evidence evidence = gather(las, names, options, watch);
    LintReport report{{}, notesOn(evidence), 0};
    for (const Occurrence& kind : evidence.points.kinds) report.points += kind.count;
    for (const Rule& rule : Rules) {
        if (rule.ofAllPoints && options.limit) continue;
        for (Finding& finding : rule.check(evidence)) {
            finding.name = rule.name.name;
            report.findings.push_back(std::move(finding));
        }
    }
    for (Breach& breach : breachesOf(options.contract, las, evidence.points, options.limit, watch)) {
        report.findings.push_back({breach.rule, breach.text, breach.points.count, {}, std::move(breach.test)});
        if (breach.points.count > 0) report.findings.back().example = rule::exampleAt(las, breach.points.first);
    }
    std::erase_if(report.findings, [&](const Finding& finding) { return options.ignored.contains(finding.name); });
    return report;
}

} // namespace corvane

// SPDX-License-Identifier: Apache-2.0
// The rules. Each is a function that looks at the evidence and returns what it found; the table at the end names them.
#include "check/Lint.hpp"

#include "base/Text.hpp"
#include "las/HeaderPlaces.hpp"
#include "las/LittleEndian.hpp"
#include "las/PointCodec.hpp"
#include "las/StandardClasses.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>

namespace corvane {
namespace {

constexpr std::uint8_t ExtendedFormat = 6; // stands for 6 to 10, which share a table of classes
constexpr std::uint8_t LegacyFormat = 0;   // stands for 0 to 5
constexpr int UnclassifiedClass = 1, LowNoiseClass = 7, KeyPointClass = 8, OverlapClass = 12, HighNoiseClass = 18;
constexpr int LargestClass = 255;
constexpr unsigned WktBit = 1 << 4;
constexpr char ReservedName[] = "Reserved"; // some writers list the whole table

struct Evidence {
    const LasFile& las;
    const std::optional<Kesh::LabelSet>& names;
    const Contract& contract;
    PointTally points;
    std::optional<HeightRange> ground;
    Occurrence noiseInGround;
    Occurrence outsideNodes;

    const LasHeader& header() const { return las.header; }
    bool legacy() const { return isLegacyFormat(header().pointFormat); }
    bool reserves(int value) const {
        return isReservedClass(value, header().pointFormat) && !isNamed(value) && !contract.allowsByName(value);
    }

    /// Whether the file says what it means by a class.
    bool isNamed(int value) const {
        const Kesh::Label* label = names ? names->find(value) : nullptr;
        return label && !label->name.empty() && label->name != ReservedName;
    }
    const char* formats() const { return legacy() ? "0 to 5" : "6 to 10"; }
};

using Findings = std::vector<Finding>;

/// In use by a profile of the format for water depths, though the format's own table reserves them.
constexpr bool isTopoBathymetric(int value) { return value >= 40 && value <= 45; }

std::vector<int> noiseClasses(const LasFile& las) {
    std::vector<int> classes{LowNoiseClass};
    if (!isReservedClass(HighNoiseClass, las.header.pointFormat)) classes.push_back(HighNoiseClass);
    return classes;
}

Example exampleAt(const LasFile& las, std::uint64_t index) {
    std::vector<std::byte> record(las.points->recordLength());
    las.points->read(index, record);
    Sextant::PhysicalSpace::point position;
    decodePositions(record, record.size(), las.header, std::span(&position, 1));
    std::uint8_t value = 0;
    decodeBits(record, record.size(), *las.find(ClassificationName), std::span(&value, 1));
    return {index, {position.x, position.y, position.z}, value};
}

/// Adds a finding about these points; nothing when there are none.
void report(Findings& findings, const Evidence& evidence, const Occurrence& points, const std::string& text,
            PointTest test) {
    if (points.count > 0)
        findings.push_back({"", text, points.count, exampleAt(evidence.las, points.first), std::move(test)});
}

/// The points of a class that have at least these flags.
PointTest ofClass(int value, unsigned flags = 0) {
    return [value = static_cast<unsigned>(value), flags](const PointFacts& point) {
        return point.value == value && (point.flags & flags) == flags;
    };
}

/// A class above 31 that was written as a whole byte has its upper bits in the flags. Flags alone are ordinary; they
/// are taken for that only where they make no sense: key-points among what is not classified or has a reserved class,
/// and reserved classes that together with the synthetic flag are known ones.
bool looksWrittenOverFlags(int value, unsigned flags, const Evidence& evidence) {
    if ((flags & PointTally::KeyPoint) != 0) return value <= UnclassifiedClass || evidence.reserves(value);
    return flags == PointTally::Synthetic && evidence.reserves(value) &&
           isTopoBathymetric(value + LargestLegacyClass + 1);
}

void findOverFlags(const Evidence& evidence, Findings& findings) {
    for (unsigned flags = 1; flags < PointTally::FlagSets; ++flags)
        for (int value = 0; value <= LargestLegacyClass; ++value)
            if (looksWrittenOverFlags(value, flags, evidence))
                report(findings, evidence, evidence.points.exactly(value, flags),
                       fmt::format("Points of class {} carry flags that make no sense there; they may have had class "
                                   "{}, written over the flags in a format with five bits for the class.",
                                   value, value + static_cast<int>(flags) * (LargestLegacyClass + 1)),
                       [value = static_cast<unsigned>(value), flags](const PointFacts& point) {
                           return point.value == value && point.flags == flags;
                       });
}

/// Points whose class is what five bits keep of this dimension.
PointTest squeezedFrom(const Dimension& dimension) {
    return [dimension](const PointFacts& point) {
        double wide = 0;
        decodeNumbers(point.record, point.record.size(), dimension, std::span(&wide, 1));
        return wide > LargestLegacyClass && (static_cast<unsigned>(wide) & LargestLegacyClass) == point.value;
    };
}

void findInExtraBytes(const Evidence& evidence, Findings& findings) {
    for (const WideClasses& wide : evidence.points.wideClasses)
        if (wide.squeezed.count > wide.other)
            report(findings, evidence, wide.squeezed,
                   fmt::format("The extra dimension \"{}\" holds classes above {}, and Classification what five bits "
                               "keep of them.",
                               wide.dimension.name, LargestLegacyClass),
                   squeezedFrom(wide.dimension));
}

void findInLookup(const Evidence& evidence, Findings& findings) {
    if (!evidence.names) return;
    for (const auto& [value, label] : *evidence.names) {
        // Some writers list the whole table, the names that name nothing included.
        if (value <= LargestLegacyClass || label.name == standardClassName(value, LegacyFormat) ||
            label.name == standardClassName(value, ExtendedFormat))
            continue;
        const int kept = value & LargestLegacyClass;
        report(findings, evidence, evidence.points.of(kept),
               fmt::format("The Classification Lookup names class {} (\"{}\"), for which a class has no room in point "
                           "format {}; points of class {} may have had it.",
                           value, escaped(label.name), evidence.header().pointFormat, kept),
               ofClass(kept));
    }
}

Findings squeezed(const Evidence& evidence) {
    Findings findings;
    if (!evidence.legacy()) return findings;
    findOverFlags(evidence, findings);
    findInExtraBytes(evidence, findings);
    findInLookup(evidence, findings);
    return findings;
}

/// A class of formats 0 to 5 that became a flag in formats 6 to 10.
Findings classForFlag(const Evidence& evidence, int value, const char* flag) {
    Findings findings;
    if (evidence.reserves(value))
        report(findings, evidence, evidence.points.of(value),
               fmt::format("Class {} ({}) belongs to point formats 0 to 5; in {} it is reserved, and the {} flag says "
                           "that.",
                           value, standardClassName(value, LegacyFormat), evidence.formats(), flag),
               ofClass(value));
    return findings;
}

Findings keyPointClass(const Evidence& evidence) { return classForFlag(evidence, KeyPointClass, "KeyPoint"); }
Findings overlapClass(const Evidence& evidence) { return classForFlag(evidence, OverlapClass, "Overlap"); }

/// Points of these classes whose stored height is in the range.
PointTest atHeights(std::vector<int> classes, const HeightRange& range) {
    return [classes = std::move(classes), range](const PointFacts& point) {
        return std::ranges::find(classes, static_cast<int>(point.value)) != classes.end() &&
               point.stored[2] >= range.low && point.stored[2] <= range.high;
    };
}

/// What else the class may be; empty when there is no guess.
std::string guessFor(int value, const Evidence& evidence) {
    if (!evidence.legacy()) return "";
    std::string guess;
    if (!isReservedClass(value, ExtendedFormat))
        guess = fmt::format(" It may be {}, as in formats 6 to 10.", standardClassName(value, ExtendedFormat));
    const int wide = value + LargestLegacyClass + 1;
    if (isTopoBathymetric(wide)) guess += fmt::format(" It may also be what five bits keep of class {}.", wide);
    return guess;
}

Findings reservedClasses(const Evidence& evidence) {
    Findings findings;
    for (int value = 0; value <= LargestClass; ++value) {
        const bool ofFlag = value == KeyPointClass || value == OverlapClass; // has a rule of its own
        if (evidence.reserves(value) && !ofFlag && !isTopoBathymetric(value))
            report(findings, evidence, evidence.points.of(value),
                   fmt::format("Class {} is reserved in point formats {}.{}", value, evidence.formats(),
                               guessFor(value, evidence)),
                   ofClass(value));
    }
    return findings;
}

Findings withheldGround(const Evidence& evidence) {
    Findings findings;
    report(findings, evidence, evidence.points.of(GroundClass, PointTally::Withheld),
           "Points of class 2 (Ground) are withheld: what honours the flag leaves them out of the ground.",
           ofClass(GroundClass, PointTally::Withheld));
    return findings;
}

Findings noiseInGround(const Evidence& evidence) {
    Findings findings;
    if (evidence.noiseInGround.count == 0) return findings;
    const auto height = [&](std::int32_t stored) {
        const LasHeader& header = evidence.header();
        return coordinateText(header, 2, stored * header.scale[2] + header.offset[2]);
    };
    report(findings, evidence, evidence.noiseInGround,
           fmt::format(
               "Noise (class {}) lies at the heights of ground, {} to {} without the lowest and the highest 1 % of its "
               "points; it may be ground, unless the terrain is steep.",
               fmt::join(noiseClasses(evidence.las), " or "), height(evidence.ground->low),
               height(evidence.ground->high)),
           atHeights(noiseClasses(evidence.las), *evidence.ground));
    return findings;
}

/// The number of all points, then of those of each return, as the header states them, and where.
struct StatedCounts {
    std::size_t place, size; ///< size: bytes of one
    std::vector<std::uint64_t> counts;
};

template <class T>
StatedCounts statedCounts(const LasFile& las, std::size_t place, std::size_t count) {
    std::vector<std::byte> bytes(count * sizeof(T));
    las.file->read(place, bytes);
    StatedCounts stated{place, sizeof(T), {}};
    for (std::size_t i = 0; i < count; ++i) stated.counts.push_back(load<T>(bytes, i * sizeof(T)));
    return stated;
}

void compareCounts(const Evidence& evidence, const StatedCounts& header, Findings& findings) {
    const std::vector<std::uint64_t>& stated = header.counts;
    const std::uint64_t points = evidence.header().pointCount;
    std::vector<std::string> differences;
    std::size_t place = 0;                 // of the first that is wrong
    std::uint64_t tooMany = 0, tooFew = 0; // a point that is counted with a wrong return is in both
    for (std::size_t i = 0; i < stated.size(); ++i) {
        const std::uint64_t actual = i == 0 ? points : evidence.points.byReturn[i].count;
        if (stated[i] == actual) continue;
        if (differences.empty()) place = header.place + i * header.size;
        differences.push_back(
            fmt::format("{}: {} stated, {} found", i == 0 ? "all" : fmt::format("return {}", i), stated[i], actual));
        if (i == 0) continue;
        (stated[i] > actual ? tooMany : tooFew) += stated[i] > actual ? stated[i] - actual : actual - stated[i];
    }
    if (differences.empty()) return;
    findings.push_back({"",
                        fmt::format("The counts of points stated at offset {} are not those of the points ({}).", place,
                                    fmt::join(differences, "; ")),
                        std::min(points, std::max(tooMany, tooFew)), // a header may state more than there are
                        {}});
}

constexpr std::size_t LegacyCounts = 6, WideCounts = 16; // all points, and 5 or 15 returns

Findings headerCounts(const Evidence& evidence) {
    Findings findings;
    if (const auto& form = evidence.las.compatibility)
        compareCounts(evidence, statedCounts<std::uint64_t>(evidence.las, form->countsOffset(), WideCounts), findings);
    else if (evidence.header().versionMinor < 4)
        compareCounts(evidence, statedCounts<std::uint32_t>(evidence.las, place::LegacyCount, LegacyCounts), findings);
    else
        compareCounts(evidence, statedCounts<std::uint64_t>(evidence.las, place::PointCount, WideCounts), findings);
    return findings;
}

Findings returnNumbers(const Evidence& evidence) {
    Findings findings;
    report(findings, evidence, evidence.points.byReturn[0],
           "The return number is 0, which no return has: they count from 1.",
           [](const PointFacts& point) { return point.returnNumber == 0; });
    return findings;
}

/// From version 1.4 on the older counts may all be zero.
Findings legacyCounts(const Evidence& evidence) {
    Findings findings;
    if (evidence.header().versionMinor < 4) return findings;
    const auto stated = statedCounts<std::uint32_t>(evidence.las, place::LegacyCount, LegacyCounts);
    if (std::ranges::any_of(stated.counts, [](std::uint64_t count) { return count != 0; }))
        compareCounts(evidence, stated, findings);
    return findings;
}

/// False when the bound is no number.
bool agrees(std::int32_t stored, double stated) { return std::abs(stored - stated) <= BoundsTolerance; }

PointTest outsideBounds(const LasHeader& header) {
    std::array<std::array<double, 2>, 3> bounds;
    for (std::size_t axis = 0; axis < bounds.size(); ++axis) bounds[axis] = storedBounds(header, axis);
    return [bounds](const PointFacts& point) {
        bool inside = true;
        for (std::size_t axis = 0; axis < bounds.size(); ++axis)
            inside = inside && point.stored[axis] >= bounds[axis][0] - BoundsTolerance &&
                     point.stored[axis] <= bounds[axis][1] + BoundsTolerance;
        return !inside;
    };
}

Findings headerBounds(const Evidence& evidence) {
    Findings findings;
    const LasHeader& header = evidence.header();
    if (header.pointCount == 0) return findings;
    std::vector<std::string> differences;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::int32_t low = evidence.points.box.low[axis], high = evidence.points.box.high[axis];
        const auto stated = storedBounds(header, axis);
        if (agrees(low, stated[0]) && agrees(high, stated[1])) continue;
        const auto text = [&](std::int32_t stored) {
            return coordinateText(header, axis, stored * header.scale[axis] + header.offset[axis]);
        };
        const auto [first, last] = header.scale[axis] < 0 ? std::pair(high, low) : std::pair(low, high);
        differences.push_back(fmt::format("{}: {} to {} stated, {} to {} found", "XYZ"[axis], header.minimum[axis],
                                          header.maximum[axis], text(first), text(last)));
    }
    if (differences.empty()) return findings;
    const Occurrence& outside = evidence.points.outside;
    const std::string text = fmt::format("The bounds in the header at offset {} are not those of the points ({}).",
                                         place::Bounds, fmt::join(differences, "; "));
    findings.push_back({"", text, outside.count, {}});
    if (outside.count == 0) return findings;
    findings.back().example = exampleAt(evidence.las, outside.first);
    findings.back().test = outsideBounds(header);
    return findings;
}

Findings wktBitMissing(const Evidence& evidence) {
    if (evidence.las.compatibility) return {}; // programs that the form is for do not know the bit
    const LasHeader& header = evidence.header();
    const bool wkt = evidence.las.holdsWkt();
    if ((header.globalEncoding & WktBit) != 0 || (evidence.legacy() && !wkt)) return {};
    const std::string reason = wkt ? "the file has a WKT record (LASF_Projection/2112)"
                                   : fmt::format("point format {} asks for WKT", header.pointFormat);
    return {{"",
             fmt::format("The global encoding at offset {} is {}, without bit 4 (WKT), but {}.", place::GlobalEncoding,
                         header.globalEncoding, reason),
             0,
             {}}};
}

Findings wktRecordMissing(const Evidence& evidence) {
    const std::uint16_t encoding = evidence.header().globalEncoding;
    if ((encoding & WktBit) == 0 || evidence.las.holdsWkt()) return {};
    return {{"",
             fmt::format("The global encoding at offset {} is {}, with bit 4 (WKT), but no WKT record "
                         "(LASF_Projection/2112) holds anything.",
                         place::GlobalEncoding, encoding),
             0,
             {}}};
}

Findings chunkTable(const Evidence& evidence) {
    const LazBlock* block = evidence.las.compression();
    if (!block || !block->layout.chunked() || block->chunks.empty() || block->tableOffset > 0) return {};
    return {{"",
             fmt::format("The table of the chunks, whose place stands at offset {}, is missing or wrong; most programs "
                         "cannot read the file. corvane convert writes one.",
                         evidence.header().offsetToPoints),
             0,
             {}}};
}

Findings copcRecords(const Evidence& evidence) {
    const LasFile& las = evidence.las;
    const bool there = std::ranges::any_of(las.vlrs, isCopcRecord) || std::ranges::any_of(las.evlrs, isCopcRecord);
    if (!there || las.copc || !las.losses.empty()) return {};
    return {{"",
             "The file carries records of a COPC that do not fit it: programs that believe them find no points.",
             0,
             {}}};
}

Findings copcNodes(const Evidence& evidence) {
    Findings findings;
    report(
        findings, evidence, evidence.outsideNodes,
        "Points lie outside the cube of their node, by more than a unit of the scale: programs that look for points by "
        "place do not find them.",
        evidence.las.copc ? outsideItsNode(evidence.las) : nullptr);
    return findings;
}

struct Rule {
    RuleName name;
    Findings (*check)(const Evidence&);
    bool ofAllPoints = false; ///< compares them with the header
};

constexpr Rule Rules[] = {
    {{"squeezed-class", "a class above 31 may have been squeezed into the five bits of point formats 0 to 5"},
     squeezed},
    {{"keypoint-class", "class 8 where the key-point flag is meant (point formats 6 to 10)"}, keyPointClass},
    {{"overlap-class", "class 12 where the overlap flag is meant (point formats 6 to 10)"}, overlapClass},
    {{"reserved-class", "a class that the table of the point format reserves"}, reservedClasses},
    {{"withheld-ground", "ground with the withheld flag"}, withheldGround},
    {{"noise-in-ground", "noise at the heights of ground, whose lowest and highest 1 % are left aside"}, noiseInGround},
    {{"header-counts", "points by return are not as the header says"}, headerCounts, true},
    {{"return-number", "points with the return number 0"}, returnNumbers},
    {{"legacy-counts", "the older counts of a header from 1.4 on are neither zero nor right"}, legacyCounts, true},
    {{"header-bounds", "the points' bounds are not as the header says, by more than a unit of the scale"},
     headerBounds,
     true},
    {{"wkt-bit-missing", "a WKT record, or a point format that asks for one, without the bit that says so"},
     wktBitMissing},
    {{"chunk-table", "the table of the chunks of a compressed file is missing or wrong"}, chunkTable},
    {{"copc-records", "records of a COPC that do not fit the chunks"}, copcRecords},
    {{"copc-nodes", "points of a COPC outside their node"}, copcNodes},
    {{"wkt-record-missing", "the bit for WKT without a WKT record"}, wktRecordMissing}};

std::vector<std::string> notesOn(const Evidence& evidence) {
    Occurrence topoBathymetric;
    for (int value = 0; value <= LargestClass; ++value)
        if (isTopoBathymetric(value)) topoBathymetric += evidence.points.of(value);
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
    const std::vector<int> noise = noiseClasses(las);
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
        if (breach.points.count > 0) report.findings.back().example = exampleAt(las, breach.points.first);
    }
    std::erase_if(report.findings, [&](const Finding& finding) { return options.ignored.contains(finding.name); });
    return report;
}

} // namespace corvane

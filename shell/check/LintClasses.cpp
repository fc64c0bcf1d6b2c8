// SPDX-License-Identifier: Apache-2.0
// The rules about classes.
#include "base/Text.hpp"
#include "check/LintRules.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace corvane::rule {

namespace {

constexpr std::uint8_t ExtendedFormat = 6; // stands for 6 to 10, which share a table of classes
constexpr std::uint8_t LegacyFormat = 0;   // stands for 0 to 5
constexpr int UnclassifiedClass = 1, LowNoiseClass = 7, KeyPointClass = 8, OverlapClass = 12, HighNoiseClass = 18;

} // namespace

std::vector<int> noiseClasses(const LasFile& las) {
    std::vector<int> classes{LowNoiseClass};
    if (!isReservedClass(HighNoiseClass, las.header.pointFormat)) classes.push_back(HighNoiseClass);
    return classes;
}

namespace {

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

} // namespace

Findings squeezed(const Evidence& evidence) {
    Findings findings;
    if (!evidence.legacy()) return findings;
    findOverFlags(evidence, findings);
    findInExtraBytes(evidence, findings);
    findInLookup(evidence, findings);
    return findings;
}

namespace {

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

} // namespace

Findings keyPointClass(const Evidence& evidence) { return classForFlag(evidence, KeyPointClass, "KeyPoint"); }

Findings overlapClass(const Evidence& evidence) { return classForFlag(evidence, OverlapClass, "Overlap"); }

namespace {

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

} // namespace

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

} // namespace corvane::rule

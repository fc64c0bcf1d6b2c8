// SPDX-License-Identifier: Apache-2.0
// The rules about what the header and the other records say of the points.
#include "check/LintRules.hpp"
#include "las/HeaderPlaces.hpp"
#include "las/LittleEndian.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>

namespace corvane::rule {
namespace {

constexpr unsigned WktBit = 1 << 4;

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

} // namespace

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

namespace {

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

} // namespace

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

} // namespace corvane::rule
